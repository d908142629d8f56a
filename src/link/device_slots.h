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
#include "link/packet.h"

namespace corvane {

class CaptureDatabase;
class Operator;
class SettingsStore;

inline constexpr int kSlots = 6;
inline constexpr int kNoSlot = 7;

/// "A".."F" for slot 1..6.
[[nodiscard]] QString SlotLetter(int slot);

/// 1..6 for "A".."F", in either case; nothing for any other text.
[[nodiscard]] std::optional<int> SlotOfLetter(const QString& letter);

class DeviceSlots : public QObject {
    Q_OBJECT

public:
    DeviceSlots(SettingsStore& settings, const CaptureDatabase& database);

    /// The serial text by which a packet is routed: its own, or while the setting `VRQ5806` is 1 (a single
    /// two-channel monitor, whatever its serial number) the one that its model has for that.
    [[nodiscard]] std::string RoutingText(const RealtimePacket& packet) const;

    /// The slot 1..6 that is bound to `serialText`, or `kNoSlot`. Where two are, the last one wins, on
    /// purpose.
    [[nodiscard]] int Choose(std::string_view serialText) const;

    /// The text that slot 1..6 answers to; empty where nothing is bound.
    [[nodiscard]] QString Bound(int slot) const;

    /// How many devices are in use: those that the setting `DeviceQTY` says, and up to the last that is
    /// bound.
    [[nodiscard]] int InUse() const;

    /// The link that slot 1..6 is attached to: its receive stream 0..4 (setting `BindDeviceA` and so on).
    [[nodiscard]] int LinkIndex(int slot) const;

    /// Binds slot 1..6 to the serial text that its monitor told, after asking; a text that another of the
    /// first three slots has is transferred.
    QCoro::Task<Outcome> Bind(int slot, QString serialText, Operator& op);

    /// Keeps the text that slot 1..6 answers to in the settings and in the slot's database row. Empty
    /// unbinds.
    Outcome SaveSerial(int slot, const QString& text);

    /// Asks for the serial number of a slot and keeps it in the settings and in the slot's database row. A
    /// blank clears it, an empty line changes nothing.
    QCoro::Task<Outcome> EnterSerial(int slot, Operator& op);

private:
    void Load();

    SettingsStore& settings_;
    const CaptureDatabase& database_;
    std::array<std::string, kSlots> bound_;
    bool singleTwoChannel_ = false;
};

}  // namespace corvane
