// The commands that a monitor understands: what is sent, piece by piece, and how long to pause after each.
//
// A monitor command has no frame, length or checksum. It is the command byte of the device, three-letter
// words and raw bytes, each sent by itself, and the pauses between them are part of the protocol.
// `MonitorCommands` walks this table to send, the simulated monitor to understand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "control/settings_block.h"

namespace corvane {

/// In place of a pause: the monitor acknowledges the piece before the next one is sent.
inline constexpr int kAcknowledged = -1;

inline constexpr std::size_t kWordLength = 3;

struct Piece {
    enum class Kind : std::uint8_t {
        CommandByte,  ///< that of the device
        Word,
        StartWord,  ///< that of the monitor's model; its letters come with the call
        FixedByte,
        Argument,  ///< one byte that comes with the call
        Pause,     ///< nothing is sent
    };
    Kind kind = Kind::Pause;
    int pause = 0;                               ///< ms after the piece, or kAcknowledged
    std::string_view word = {};                  ///< of a Word: `kWordLength` upper-case letters
    std::uint8_t byte = 0;                       ///< of a FixedByte
    std::optional<MonitorSetting> setting = {};  ///< what an argument sets
    bool highByte = false;  ///< the argument is the higher half of the setting's two bytes
};

namespace piece {

constexpr Piece Command(int pause) {
    return {.kind = Piece::Kind::CommandByte, .pause = pause};
}
constexpr Piece Word(std::string_view word, int pause = 0) {
    return {.kind = Piece::Kind::Word, .pause = pause, .word = word};
}
constexpr Piece StartWord(int pause) {
    return {.kind = Piece::Kind::StartWord, .pause = pause};
}
constexpr Piece Fixed(std::uint8_t byte, int pause = 0) {
    return {.kind = Piece::Kind::FixedByte, .pause = pause, .byte = byte};
}
constexpr Piece Argument(int pause = 0, std::optional<MonitorSetting> setting = {}) {
    return {.kind = Piece::Kind::Argument, .pause = pause, .setting = setting};
}
constexpr Piece HighByte(int pause, MonitorSetting setting) {
    return {.kind = Piece::Kind::Argument, .pause = pause, .setting = setting, .highByte = true};
}
constexpr Piece Pause(int pause) {
    return {.kind = Piece::Kind::Pause, .pause = pause};
}

}  // namespace piece

struct Sequence {
    static constexpr std::size_t kMostPieces = 10;

    std::string_view name;
    std::array<Piece, kMostPieces> pieces{};
    std::size_t count = 0;  ///< of pieces that are in use

    constexpr Sequence(std::string_view itsName, std::initializer_list<Piece> itsPieces)
        : name(itsName), count(itsPieces.size()) {
        std::size_t i = 0;
        for (const Piece& each : itsPieces)
            pieces[i++] = each;
    }

    [[nodiscard]] constexpr const Piece* begin() const { return pieces.data(); }
    [[nodiscard]] constexpr const Piece* end() const { return pieces.data() + count; }

    /// How many of its pieces are sent.
    [[nodiscard]] constexpr int SentPieces() const {
        int sent = 0;
        for (const Piece& each : *this)
            sent += each.kind == Piece::Kind::Pause ? 0 : 1;
        return sent;
    }
};

enum class Operation : std::uint8_t {
    StartRealtime,
    StopRealtime,
    OnePacket,
    PassThrough,
    PassThroughOnRequest,
    Restart,
    ResetKwh,
    ResetKwhOfEach,
    StorageInterval,
    EraseLogger,
    SendFrequency,
    TriggerThreshold,
    AuxConstant,
    AuxTrim1,
    AuxTrim2,
    AuxTrim3,
    AuxTrim4,
    AuxTrim5,
    OptionsByte,
    Pt,
    Ng1,
    Ng2,
    TwoChannelIdentity,
    Ct1,
    Ct2,
    ReadSettings,
    LoggerDownload,
    LoggerSize,
    MemoryWrite,
    MemoryRead,
};

namespace piece {

constexpr Sequence Trim(std::string_view name, std::string_view word, MonitorSetting setting) {
    return {name, {Command(1600), Word("SET", 840), Word(word, 840), Argument(32, setting)}};
}
constexpr Sequence NoArgument(std::string_view name, std::string_view word) {
    return {name, {Command(1600), Word("SET", 840), Word(word, 120)}};
}
constexpr Sequence Ct(std::string_view name, std::string_view word, MonitorSetting type,
                      MonitorSetting range) {
    return {name,
            {Command(kAcknowledged), Word("SET", kAcknowledged), Word(word, kAcknowledged),
             Word("TYP", kAcknowledged), Argument(kAcknowledged, type), Word("RNG", kAcknowledged),
             Argument(kAcknowledged, range)}};
}

/// In the order of `Operation`.
inline constexpr auto kTable = std::to_array<Sequence>({
    {"Start realtime", {Command(1600), Word("TOG", 840), StartWord(840)}},
    {"Stop realtime", {Command(1600), Word("TOG", 840), Word("OFF", 840)}},
    {"One packet", {Command(1600), Word("SPK")}},
    {"Pass-through mode", {Command(140), Word("BT1", 20), Fixed(0x05)}},
    {"Pass-through mode", {Command(1600), Word("BT1", 20), Fixed(0x05)}},
    {"Restart", {Command(1600), Word("RQS", 840), Word("RLP", 20)}},
    {"Reset kWh counters", {Command(1600), Word("RQS", 840), Word("RKW", 120)}},
    {"Reset kWh counters", {Command(840), Word("RQS", 840), Word("RKW", 840), Pause(4000)}},
    {"Storage interval",
     {Command(220), Word("SET", 40), Word("IVL", 40), Argument(140, MonitorSetting::StorageInterval)}},
    {"Erase data logger", {Command(620), Word("RQS", 40), Word("REE", 140)}},
    {"Packet send frequency",
     {Command(1600), Word("SET", 840), Word("IV2", 40), Argument(0, MonitorSetting::SendFrequency)}},
    {"Packet trigger threshold",
     {Command(1600), Word("SET", 840), Word("IV3", 840), Argument(840, MonitorSetting::TriggerThreshold),
      HighByte(0, MonitorSetting::TriggerThreshold)}},
    {"Aux constant",
     {Command(1600), Word("SET", 840), Word("AUX", 840), Argument(20, MonitorSetting::AuxConstant)}},
    Trim("Aux trim 1", "TR1", MonitorSetting::AuxTrim1),
    Trim("Aux trim 2", "TR2", MonitorSetting::AuxTrim2),
    Trim("Aux trim 3", "TR3", MonitorSetting::AuxTrim3),
    Trim("Aux trim 4", "TR4", MonitorSetting::AuxTrim4),
    Trim("Aux trim 5", "TR5", MonitorSetting::AuxTrim5),
    {"Options byte",
     {Command(1600), Word("SET", 840), Word("OPT", 840), Argument(20, MonitorSetting::Option)}},
    {"PT type and range",
     {Command(1600), Word("SET", 840), Word("PTT", 840), Argument(840, MonitorSetting::PtType),
      Word("PTR", 840), Argument(1000, MonitorSetting::PtRange), Pause(1000)}},
    NoArgument("NG1", "NG1"),
    NoArgument("NG2", "NG2"),
    {"Two-channel identity",
     {Command(1600), Word("SET", 840), Word("SID", 840), Argument(840, MonitorSetting::SerialNumber),
      HighByte(40, MonitorSetting::SerialNumber), Pause(2000), Command(1600), Word("SET", 840),
      Word("UID", 840), Argument(1400, MonitorSetting::UnitId)}},
    Ct("CT1 type and range", "CT1", MonitorSetting::Ct1Type, MonitorSetting::Ct1Range),
    Ct("CT2 type and range", "CT2", MonitorSetting::Ct2Type, MonitorSetting::Ct2Range),
    {"Read settings", {Command(1600), Word("SET", 840), Word("RCV")}},
    {"Data-logger download",
     {Command(1600), Word("DNL", 840), Word("DN2", 840), Argument(840), Argument(840), Argument(60),
      Argument(60), Argument(60)}},
    {"Memory size", {Command(1600), Word("DNL", 840), Word("DNM", 60)}},
    {"Memory write",
     {Command(1600), Word("CAL", 840), Word("MEM", 840), Word("WRI", 840), Argument(840), Argument(840),
      Word("WRI", 17)}},
    {"Memory read",
     {Command(1600), Word("CAL", 840), Word("MEM", 840), Word("RED", 840), Argument(840), Word("RED")}},
});

}  // namespace piece

inline constexpr const auto& kSequences = piece::kTable;

static_assert(kSequences.size() == static_cast<std::size_t>(Operation::MemoryRead) + 1);

[[nodiscard]] constexpr const Sequence& SequenceOf(Operation operation) {
    return kSequences[static_cast<std::size_t>(operation)];
}

/// Whether the monitor's counters begin at 0 after the last piece.
[[nodiscard]] constexpr bool ZeroesCounters(Operation operation) {
    return operation == Operation::Restart || operation == Operation::ResetKwh ||
           operation == Operation::ResetKwhOfEach;
}

}  // namespace corvane
