// The six device slots, and which monitor each of them answers to.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "base/outcome.h"
#include "base/setting.h"
#include "link/framer.h"
#include "link/packet.h"
#include "store/device_serial.h"

namespace corvane {

class CaptureDatabase;
class Operator;
class SettingsStore;

inline constexpr int kSlots = 6;
inline constexpr int kNoSlot = 7;

inline constexpr Setting kDeviceQuantity{.key = "DeviceQTY",
                                         .kind = SettingKind::Number,
                                         .fallback = "1",
                                         .least = 1,
                                         .most = kSlots,
                                         .help = "How many devices are in use at least, 1 to 6."};
inline constexpr Setting kDeviceLink{
    .key = "BindDevice#",
    .members = "A-F",
    .kind = SettingKind::Number,
    .fallback = "0",
    .least = 0,
    .most = kStreams - 1,
    .effect = SettingEffect::NextTarget,
    .help =
        "The link that the device is on: 0 TCP Server A, 1 Serial Connection A, 2 TCP Server B, 3 and 4 "
        "Serial Connection B and C."};
inline constexpr Setting kSingleTwoChannel{
    .key = "VRQ5806",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .help = "Whether every VRQ-5806 packet is taken for one of serial number 999998."};
inline constexpr std::array kDeviceSlotsSettings = {kDeviceQuantity, kDeviceLink, kDeviceSerial,
                                                    kSingleTwoChannel};

/// "A".."F" for slot 1..6.
[[nodiscard]] QString SlotLetter(int slot);

/// 1..6 for "A".."F", in either case; nothing for any other text.
[[nodiscard]] std::optional<int> SlotOfLetter(const QString& letter);

class DeviceSlots : public QObject {
    Q_OBJECT

public:
    DeviceSlots(SettingsStore& settings, const CaptureDatabase& database);

    /// The serial text by which a packet is routed: its own, or while `kSingleTwoChannel` is on (a single
    /// two-channel monitor, whatever its serial number) the one that its model has for that.
    [[nodiscard]] std::string RoutingText(const RealtimePacket& packet) const;

    /// The slot 1..6 that is bound to `serialText`, or `kNoSlot`. Where two are, the last one wins, on
    /// purpose.
    [[nodiscard]] int Choose(std::string_view serialText) const;

    /// The text that slot 1..6 answers to; empty where nothing is bound.
    [[nodiscard]] QString Bound(int slot) const;

    /// The text whose packets slot 1..6 gets: what it is bound to, unless a later slot is, too.
    [[nodiscard]] std::string Answered(int slot) const;

    /// How many devices are in use: those that `kDeviceQuantity` says, and up to the last that is
    /// bound.
    [[nodiscard]] int InUse() const;

    /// The link that slot 1..6 is attached to: its receive stream 0..4 (`kDeviceLink`); -1 where that
    /// cannot be read.
    [[nodiscard]] int LinkIndex(int slot) const;

    /// Binds slot 1..6 to the serial text that its monitor told, after asking; a text that another of the
    /// first three slots has is transferred.
    QCoro::Task<Outcome> Bind(int slot, QString serialText, Operator& op);

    /// Says so where another slot gets the packets of the text that slot 1..6 is bound to, or none can.
    void TellWhoAnswers(int slot, Operator& op) const;

    /// Keeps the text that slot 1..6 answers to in the settings and in the slot's database row. Empty
    /// unbinds.
    Outcome SaveSerial(int slot, const QString& text);

    /// Asks for the serial number of a slot and keeps it in the settings and in the slot's database row. A
    /// blank clears it, an empty line changes nothing.
    QCoro::Task<Outcome> EnterSerial(int slot, Operator& op);

Q_SIGNALS:
    /// A slot answers to another serial text than before, or to none.
    void BindingsChanged();

private:
    void Load();

    SettingsStore& settings_;
    const CaptureDatabase& database_;
    std::array<std::string, kSlots> bound_;
    bool singleTwoChannel_ = false;
};

}  // namespace corvane
