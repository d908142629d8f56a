#include "sim/command_listener.h"

#include <algorithm>
#include <array>

#include "base/clock.h"
#include "sim/line.h"
#include "sim/simulated_monitor.h"

namespace corvane {
namespace {

/// A monitor as it comes out of its box, but for who it is.
constexpr struct {
    MonitorSetting setting;
    int raw;
} kFactorySettings[] = {
    {MonitorSetting::Ct1Type, 163},
    {MonitorSetting::Ct1Range, 4},
    {MonitorSetting::Ct2Type, 163},
    {MonitorSetting::Ct2Range, 4},
    {MonitorSetting::PtType, 184},
    {MonitorSetting::PtRange, 3},
    {MonitorSetting::StorageInterval, 15},
    {MonitorSetting::Firmware, 1020},
    {MonitorSetting::AuxConstant, 100},
    {MonitorSetting::AuxTrim1, 1},
    {MonitorSetting::AuxTrim2, 1},
    {MonitorSetting::AuxTrim3, 1},
    {MonitorSetting::AuxTrim4, 1},
    {MonitorSetting::AuxTrim5, 1},
    {MonitorSetting::K1H, 21},
    {MonitorSetting::K1L, 22},
    {MonitorSetting::K2H, 23},
    {MonitorSetting::K2L, 24},
    {MonitorSetting::KV0, 25},
    {MonitorSetting::Option, 0},
    {MonitorSetting::AuxVersion, 2},
    {MonitorSetting::TriggerThreshold, 60},
};

/// The piece at `index` of those that are sent; null where there are fewer.
const Piece* SentPiece(const Sequence& sequence, std::size_t index) {
    for (const Piece& piece : sequence) {
        if (piece.kind == Piece::Kind::Pause) continue;
        if (index == 0) return &piece;
        --index;
    }
    return nullptr;
}

std::size_t Length(const Piece& piece) {
    return piece.kind == Piece::Kind::Word || piece.kind == Piece::Kind::StartWord ? kWordLength : 1;
}

bool Matches(const Piece& piece, const std::string& bytes, std::uint8_t commandByte) {
    const auto first = static_cast<std::uint8_t>(bytes.front());
    switch (piece.kind) {
        case Piece::Kind::CommandByte:
            return first == commandByte;
        case Piece::Kind::Word:
            return bytes == piece.word;
        case Piece::Kind::StartWord:
            return std::ranges::find(kModels, bytes, &MonitorModel::startWord) != kModels.end();
        case Piece::Kind::FixedByte:
            return first == piece.byte;
        case Piece::Kind::Argument:
            return true;
        case Piece::Kind::Pause:
            break;
    }
    return false;
}

}  // namespace

CommandListener::CommandListener(SimulatedMonitor& monitor, Line& line, Clock& clock, MonitorFaults faults)
    : monitor_(monitor), line_(line), clock_(clock), faults_(faults) {
    settings_.bytes[0] = kAcknowledgement;
    for (const auto& [setting, raw] : kFactorySettings)
        settings_.Set(setting, raw);
    settings_.Set(MonitorSetting::UnitId, monitor.Serial().unitId);
    settings_.Set(MonitorSetting::SerialNumber, monitor.Serial().number);
    settings_.Set(MonitorSetting::SendFrequency, monitor.Interval());
    line_.SetReceiver([this](std::span<const std::uint8_t> bytes) { Take(bytes); });
    Forget();
}

void CommandListener::Forget() {
    candidates_.clear();
    for (std::size_t i = 0; i < kSequences.size(); ++i)
        candidates_.push_back(static_cast<Operation>(i));
    pieces_ = 0;
    piece_.clear();
    arguments_.clear();
}

void CommandListener::Take(std::span<const std::uint8_t> bytes) {
    const std::int64_t now = clock_.Monotonic();
    if (ready_ && now - lastByteAt_ > kForgets) Forget();
    lastByteAt_ = now;
    for (const std::uint8_t byte : bytes) {
        if (!ready_ || passesThrough_) {
            ++lostBytes_;
        } else {
            TakeByte(byte);
        }
    }
}

void CommandListener::TakeByte(std::uint8_t byte) {
    piece_ += static_cast<char>(byte);
    // What can follow on the same beginning is of one kind in all of them.
    const Piece* next = SentPiece(SequenceOf(candidates_.front()), pieces_);
    if (piece_.size() < Length(*next)) return;
    std::erase_if(candidates_, [this](Operation candidate) {
        const Piece* piece = SentPiece(SequenceOf(candidate), pieces_);
        return piece == nullptr || !Matches(*piece, piece_, monitor_.CommandByte());
    });
    if (candidates_.empty()) {
        Forget();
        return;
    }
    const Piece::Kind kind = SentPiece(SequenceOf(candidates_.front()), pieces_)->kind;
    if (kind == Piece::Kind::Argument) arguments_.push_back(byte);
    piece_.clear();
    ++pieces_;
    EndPiece(kind == Piece::Kind::CommandByte ? kReadyAfterCommandByte : kReadyAfterPiece);
}

QCoro::Task<> CommandListener::EndPiece(std::int64_t readyAfter) {
    ready_ = false;
    if (!co_await clock_.DLY(readyAfter)) co_return;
    ready_ = true;
    const bool ends = SentPiece(SequenceOf(candidates_.front()), pieces_) == nullptr;
    const bool answersByBlock = ends && candidates_.front() == Operation::ReadSettings;
    const bool lost = static_cast<int>(pieces_) == faults_.loseAcknowledgement;
    if (!answersByBlock && !lost) Answer(std::array{kAcknowledgement});
    if (ends) CarryOut(candidates_.front());
}

void CommandListener::CarryOut(Operation operation) {
    carriedOut_.push_back(operation);
    switch (operation) {
        case Operation::StartRealtime:
            monitor_.SendRealtime(true);
            break;
        case Operation::StopRealtime:
            if (!faults_.busy) monitor_.SendRealtime(false);
            break;
        case Operation::OnePacket:
            Answer(monitor_.LastPacket());
            break;
        case Operation::PassThrough:
        case Operation::PassThroughOnRequest:
            passesThrough_ = true;
            break;
        case Operation::Restart:
            monitor_.Restart();
            break;
        case Operation::ResetKwh:
        case Operation::ResetKwhOfEach:
            monitor_.ResetEnergy();
            break;
        case Operation::ReadSettings:
            SendBlock();
            break;
        case Operation::MemoryWrite:
            memory_[arguments_[0]] = arguments_[1];
            break;
        case Operation::MemoryRead:
            Give({'D', 'A', 'T', memory_[arguments_[0]]});
            break;
        default:
            Apply(SequenceOf(operation));
            break;
    }
    Forget();
}

/// Writes the arguments into the settings that they are for. Those of no setting have no effect here.
void CommandListener::Apply(const Sequence& sequence) {
    auto argument = arguments_.begin();
    for (const Piece& piece : sequence) {
        if (piece.kind != Piece::Kind::Argument) continue;
        const int byte = *argument++;
        if (!piece.setting.has_value()) continue;
        const int low = piece.highByte ? settings_.Raw(*piece.setting) % 256 + byte * 256 : byte;
        settings_.Set(*piece.setting, low);
    }
    monitor_.SetInterval(settings_.Raw(MonitorSetting::SendFrequency));
    monitor_.SetSerial({static_cast<std::uint8_t>(settings_.Raw(MonitorSetting::UnitId)),
                        static_cast<std::uint16_t>(settings_.Raw(MonitorSetting::SerialNumber))});
}

void CommandListener::SendBlock() {
    if (faults_.busy) Answer(monitor_.LastPacket());
    std::vector<std::uint8_t> reply(settings_.bytes.begin(), settings_.bytes.end());
    if (!faults_.shortBlock) reply.push_back(0);
    Give(std::move(reply));
}

QCoro::Task<> CommandListener::Give(std::vector<std::uint8_t> bytes) {
    const std::int64_t before = faults_.late ? kLate : 0;
    if (before > 0 && !co_await clock_.DLY(before)) co_return;
    if (faults_.garbled)
        std::ranges::transform(bytes, bytes.begin(), [](std::uint8_t byte) { return ~byte; });
    const std::size_t half = faults_.halves ? bytes.size() / 2 : 0;
    if (half > 0) {
        Answer(std::span(bytes).first(half));
        if (!co_await clock_.DLY(kBetweenHalves)) co_return;
    }
    Answer(std::span(bytes).subspan(half));
}

void CommandListener::Answer(std::span<const std::uint8_t> bytes) {
    if (line_.State() == LineState::Ready && !faults_.mute) line_.Send(bytes);
}

}  // namespace corvane
