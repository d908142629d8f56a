// Monitor commands, which is what goes over the line: which device they go to, and how they are said. (What
// people give to the program are commands, see remote/command.h.)
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include "base/outcome.h"
#include "base/setting.h"
#include "control/command_sequences.h"
#include "link/device_slots.h"
#include "link/framer.h"

namespace corvane {

class Clock;
class ErrorLog;
class HeardMonitors;
class MonitorLink;
class Operator;
class SettingsStore;
class StatusBoard;

inline constexpr Setting kCommandIndex{.key = "CmdIndex",
                                       .kind = SettingKind::Number,
                                       .fallback = "0",
                                       .least = 0,
                                       .most = kSlots - 1,
                                       .by = SettingBy::Command,
                                       .help = "The device of the command target, 0 to 5."};
inline constexpr Setting kCommandLink{
    .key = "CmdDevice",
    .kind = SettingKind::Number,
    .fallback = "0",
    .least = std::numeric_limits<std::int16_t>::min(),
    .most = std::numeric_limits<std::int16_t>::max(),
    .by = SettingBy::Command,
    .help = "The link of the command target; one that is none sends nothing."};
inline constexpr Setting kDeviceCommandByte{.key = "Cmd#",
                                            .members = "A-F",
                                            .kind = SettingKind::Number,
                                            .fallback = "252",
                                            .least = 0,
                                            .most = 255,
                                            .by = SettingBy::Command,
                                            .help = "The command byte of the device."};
inline constexpr Setting kAskAboutCommandByte{
    .key = "ShowOnceA",
    .kind = SettingKind::Switch,
    .fallback = "True",
    .by = SettingBy::Command,
    .help = "Whether another command byte than 252 is still to be agreed to."};
inline constexpr std::array kMonitorCommandsSettings = {kCommandIndex, kCommandLink, kDeviceCommandByte,
                                                        kAskAboutCommandByte};

/// What a monitor answered to a command; the outcome fails where the command could not be sent, or where no
/// whole answer came in time: "timeout error", and in a second line what was sent to whom.
struct MonitorReply {
    Outcome outcome = Outcome::Success();
    QByteArray bytes = {};
    qsizetype heard = 0;  ///< bytes that came while the command held the link, also before the answer
};

/// Whom a command goes to.
struct CommandTarget {
    static constexpr int kNoLink = -1;

    int slot = 1;        ///< 1..6
    int link = kNoLink;  ///< 0..4, in the order of the framer's streams; any other number names none
    int commandByte = 252;
};

/// Sends to the command target: the device `kCommandIndex` on the link `kCommandLink`, or the one that a
/// `HeldTarget` holds. One command runs at a time; while it does, nothing of its link is framed. Commands
/// that fail say how far they came.
class MonitorCommands : public QObject {
    Q_OBJECT

public:
    /// A monitor is still busy with the last piece of a command when the next command follows at once.
    static constexpr std::int64_t kBetweenCommands = 100;  ///< ms

    /// The bytes that a device may be told to listen to, by their position in the list.
    static constexpr std::array<int, 4> kCommandBytes = {0xFC, 0xFD, 0xFE, 0xFF};

    /// By link index: TCP server A, serial A, TCP server B, serial B, serial C, as the framer's streams.
    using Links = std::array<MonitorLink*, kStreams>;

    MonitorCommands(const Links& links, Framer& framer, const DeviceSlots& slots, const HeardMonitors& heard,
                    SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    /// Sends a word or a byte to the link of the target. False where it is not open or not connected; the
    /// first time that is said for a serial link, and never for a TCP link.
    bool SendByte(QByteArrayView text, Operator& op);

    /// Waits until the reply holds the acknowledgement byte, for two to three seconds. The links deliver
    /// meanwhile.
    QCoro::Task<bool> GetAck();

    // The operator must outlive each of these.
    QCoro::Task<Outcome> StartRealtime(Operator& op);
    QCoro::Task<Outcome> StopRealtime(Operator& op);
    QCoro::Task<Outcome> SendOnePacket(Operator& op);
    QCoro::Task<Outcome> ReBoot5810(Operator& op);

    QCoro::Task<Outcome> ThruMode(Operator& op);

    // Kept for callers of old; nothing here calls them.
    void XmitMessage(QByteArrayView text);  ///< on the link that connects out, if one does and is connected
    void BootLoadCmd() {}                   ///< sends nothing, on purpose

    /// Says one command; `arguments` are the bytes of its argument pieces, in order.
    QCoro::Task<Outcome> Send(Operation operation, QByteArray arguments, Operator& op);

    /// The same, then waits up to three seconds for an answer that `isWhole`.
    QCoro::Task<MonitorReply> Exchange(Operation operation, QByteArray arguments,
                                       std::function<bool(const QByteArray&)> isWhole, Operator& op);

    /// Makes the device at `position` (0 for Device A) the command target, or the last one that is in use
    /// where that is beyond it. Fails while an operation holds its target.
    Outcome BindTarget(int position);

    /// Sets the command byte of slot 1..6 to that of the list, after asking once where it is not the first.
    QCoro::Task<Outcome> ChooseCommandByte(int slot, int position, Operator& op);

    [[nodiscard]] int CommandByte(int slot) const;

    /// That of the operation that runs, else the one that is chosen.
    [[nodiscard]] CommandTarget Target() const { return held_.has_value() ? *held_ : Chosen(); }

    /// That of slot 1..6 on the link that the slot is attached to.
    [[nodiscard]] CommandTarget TargetOf(int slot) const;

    /// The name of its link; empty where it has none.
    [[nodiscard]] QString TargetLinkName() const;
    [[nodiscard]] QString TargetLinkText() const;  ///< the same, or "no link"

    /// "Device A (301234) on TCP Server A, command byte 252"
    [[nodiscard]] QString TargetText() const;

Q_SIGNALS:
    /// A monitor on the link of receive stream 0..4 was told to begin its counters at 0, or may have been.
    void CountersZeroed(int stream);

private:
    friend class HeldTarget;
    class Hold;

    /// A value that says which monitor is meant; nothing where it cannot be read, which is told. No command
    /// may go to another monitor, where it might erase what that one keeps.
    [[nodiscard]] std::optional<int> Certain(const Setting& setting, const SettingPlace& place = {}) const;
    [[nodiscard]] CommandTarget Chosen() const;
    [[nodiscard]] CommandTarget TargetOn(int slot, int link) const;
    [[nodiscard]] MonitorLink* TargetLink() const;
    /// Fails where the target has no link, or its monitor was heard on another one.
    [[nodiscard]] Outcome CheckLink() const;
    void Follow(int slot, int stream);
    QCoro::Task<Outcome> Walk(Operation operation, QByteArray arguments, Operator& op);

    /// Of the model whose packets come on the target's link, else of the one that the settings tell of.
    /// Empty where nobody says which.
    QCoro::Task<QByteArray> StartWord(Operator& op);
    [[nodiscard]] QString Unanswered(const QString& error, const QString& sent) const;
    QByteArray BytesOf(const Piece& piece, QByteArray& arguments) const;
    QString LogBroken(const QString& what, const Sequence& sequence, int sent);

    Links links_;
    Framer& framer_;
    const DeviceSlots& slots_;
    const HeardMonitors& heard_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    QByteArray reply_;
    qsizetype heardBytes_ = 0;
    std::optional<CommandTarget> held_;  ///< of the operation that runs
    std::int64_t lastSent_;              ///< monotonic ms of the last piece
    bool serialNotOpen_ = false;         ///< said already
};

/// An operation, of one command or of many, takes the command target when it begins and has it to its end,
/// whatever is heard meanwhile; none can be chosen. One within another has the target of the outer one.
class HeldTarget {
public:
    explicit HeldTarget(MonitorCommands& commands) : HeldTarget(commands, commands.Target()) {}
    HeldTarget(MonitorCommands& commands, const CommandTarget& target)
        : commands_(commands), outer_(std::exchange(commands.held_, target)) {}
    ~HeldTarget() { commands_.held_ = outer_; }
    HeldTarget(const HeldTarget&) = delete;
    HeldTarget& operator=(const HeldTarget&) = delete;

private:
    MonitorCommands& commands_;
    std::optional<CommandTarget> outer_;
};

}  // namespace corvane
