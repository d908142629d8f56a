// The half of a simulated monitor that listens: it takes commands in piece by piece, and answers.
#pragma once

#include <QCoroTask>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "control/command_sequences.h"
#include "control/settings_block.h"

namespace corvane {

class Clock;
class Line;
class SimulatedMonitor;

/// What a monitor can be told to do wrong.
struct MonitorFaults {
    int loseAcknowledgement = 0;  ///< which one of each command, from 1; 0: none
    bool shortBlock = false;      ///< answers 33 bytes for the settings block
    bool late = false;            ///< gives the settings or a byte of its memory after four seconds
    bool garbled = false;         ///< gives them with every bit of them inverted
    bool halves = false;          ///< gives them in two halves, a second apart
    bool mute = false;            ///< does what it is told, and answers nothing
    bool busy = false;            ///< goes on sending packets when told to stop, and before the block
};

/// Understands every command of the table. As the real ones do it needs a moment after each piece, and longer
/// after the command byte; what comes too fast is lost. It then acknowledges the piece. A command that is not
/// gone on with for five seconds is forgotten. Monitor, line and clock must outlive it.
class CommandListener {
public:
    static constexpr std::int64_t kReadyAfterCommandByte = 100;  ///< ms
    static constexpr std::int64_t kReadyAfterPiece = 10;
    static constexpr std::int64_t kLate = 4000;
    static constexpr std::int64_t kBetweenHalves = 1000;
    static constexpr std::int64_t kForgets = 5000;

    CommandListener(SimulatedMonitor& monitor, Line& line, Clock& clock, MonitorFaults faults = {});

    /// What was set by commands, or was there from the start.
    [[nodiscard]] const SettingsBlock& Settings() const { return settings_; }

    /// The commands that were carried out, oldest first.
    [[nodiscard]] const std::vector<Operation>& CarriedOut() const { return carriedOut_; }

    /// Bytes that came before the monitor was ready for them.
    [[nodiscard]] int LostBytes() const { return lostBytes_; }

private:
    void Take(std::span<const std::uint8_t> bytes);
    void TakeByte(std::uint8_t byte);
    void Forget();
    QCoro::Task<> EndPiece(std::int64_t readyAfter);
    void SendBlock();
    QCoro::Task<> Give(std::vector<std::uint8_t> bytes);
    void CarryOut(Operation operation);
    void Apply(const Sequence& sequence);
    void Answer(std::span<const std::uint8_t> bytes);

    SimulatedMonitor& monitor_;
    Line& line_;
    Clock& clock_;
    MonitorFaults faults_;
    SettingsBlock settings_;
    std::array<std::uint8_t, 256> memory_{};
    std::vector<Operation> carriedOut_;

    std::vector<Operation> candidates_;  ///< commands that what has come so far may become
    std::size_t pieces_ = 0;             ///< taken of the command
    std::string piece_;                  ///< the bytes of the one that is coming in
    std::vector<std::uint8_t> arguments_;
    std::int64_t lastByteAt_ = 0;
    bool ready_ = true;           ///< for the next piece
    bool passesThrough_ = false;  ///< until it is restarted, it understands nothing
    int lostBytes_ = 0;
};

}  // namespace corvane
