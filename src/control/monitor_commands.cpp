#include "control/monitor_commands.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "base/status_board.h"
#include "base/wait_until.h"
#include "link/device_texts.h"
#include "link/monitor_link.h"
#include "measure/heard_monitors.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kClosing = u"the program closes"_s;
const QString kNotOpen = u"This port is not Open or Connected"_s;

constexpr int kAnswerSeconds = 3;
constexpr qsizetype kMostReply = qsizetype{64} * 1024;  // bytes kept of what a link brings meanwhile
constexpr std::int64_t kBeforeRealtime = 1000;          // ms; a single packet tells the model meanwhile

QString Text(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

/// A piece as people read it.
QString PieceText(const Piece& piece, const QByteArray& bytes) {
    const bool isWord = piece.kind == Piece::Kind::Word || piece.kind == Piece::Kind::StartWord;
    return isWord ? QString::fromLatin1(bytes) : QString::number(static_cast<std::uint8_t>(bytes.front()));
}

void TellProgress(const Sequence& sequence, int sent, const QString& piece, std::int64_t milliseconds,
                  Operator& op) {
    const int pieces = sequence.SentPieces();
    op.ShowProgress(
        {.operation = u"%1: piece %2 of %3, %4"_s.arg(Text(sequence.name)).arg(sent).arg(pieces).arg(piece),
         .seconds = milliseconds / 1000,
         .percent = 100 * sent / pieces});
}

}  // namespace

/// Keeps what the target's monitor answers from the framer, as long as it lives.
class MonitorCommands::Hold {
public:
    explicit Hold(MonitorCommands& commands)
        : commands_(commands), stream_(commands.Target().link), link_(*commands.TargetLink()) {
        commands_.reply_.clear();
        commands_.heardBytes_ = 0;
        Set(true);
    }
    ~Hold() { Set(false); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    void Set(bool hold) {
        commands_.framer_.SetPacketHold(stream_, hold);
        link_.SetReplyCapture(hold);
    }

    MonitorCommands& commands_;
    int stream_;
    MonitorLink& link_;
};

MonitorCommands::MonitorCommands(const Links& links, Framer& framer, const DeviceSlots& slots,
                                 const HeardMonitors& heard, SettingsStore& settings, StatusBoard& board,
                                 ErrorLog& errorLog, Clock& clock)
    : links_(links),
      framer_(framer),
      slots_(slots),
      heard_(heard),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      clock_(clock),
      lastSent_(clock.Monotonic() - kBetweenCommands) {
    for (MonitorLink* link : links_) {
        connect(link, &MonitorLink::ReplyArrived, this, [this](QByteArrayView chunk) {
            reply_ += chunk.first(std::min(chunk.size(), kMostReply - reply_.size()));
            heardBytes_ += chunk.size();
        });
    }
    connect(&heard, &HeardMonitors::Moved, this, &MonitorCommands::Follow);
}

/// The target stays on its monitor.
void MonitorCommands::Follow(int slot, int stream) {
    if (!held_.has_value() && slot == Chosen().slot) settings_.Save(kCommandLink, stream);
}

Outcome MonitorCommands::CheckLink() const {
    if (TargetLink() == nullptr)
        return Outcome::Failure(u"The settings name no link of the command target; nothing was sent."_s);
    const auto [slot, link, commandByte] = Target();
    const auto heard = heard_.LinkOf(slot);
    if (!heard.has_value() || *heard == link) return Outcome::Success();
    return Outcome::Failure(
        u"%1 is heard over %2, but the command target is %3: nothing was sent. Choose %1 as the target again."_s
            .arg(SlotName(slot), LinkName(*heard), TargetLinkText()));
}

std::optional<int> MonitorCommands::Certain(const Setting& setting, const SettingPlace& place) const {
    return settings_.ReadNumber(setting, u"no command is sent to a monitor"_s, place);
}

CommandTarget MonitorCommands::Chosen() const {
    const auto index = Certain(kCommandIndex);
    const int link = index ? Certain(kCommandLink).value_or(CommandTarget::kNoLink) : CommandTarget::kNoLink;
    return TargetOn(index.value_or(0) + 1, link);
}

CommandTarget MonitorCommands::TargetOf(int slot) const {
    return TargetOn(slot, slots_.LinkIndex(slot));
}

/// Without a link where the command byte cannot be read.
CommandTarget MonitorCommands::TargetOn(int slot, int link) const {
    const auto byte = Certain(kDeviceCommandByte, {.member = SlotLetter(slot)});
    return {.slot = slot,
            .link = byte ? link : CommandTarget::kNoLink,
            .commandByte = byte.value_or(kCommandBytes.front())};
}

MonitorLink* MonitorCommands::TargetLink() const {
    const int link = Target().link;
    return link >= 0 && link < kStreams ? links_[static_cast<std::size_t>(link)] : nullptr;
}

QString MonitorCommands::TargetLinkName() const {
    const MonitorLink* link = TargetLink();
    return link != nullptr ? link->Name() : QString();
}

QString MonitorCommands::TargetLinkText() const {
    const QString name = TargetLinkName();
    return name.isEmpty() ? u"no link"_s : name;
}

int MonitorCommands::CommandByte(int slot) const {
    return Certain(kDeviceCommandByte, {.member = SlotLetter(slot)}).value_or(kCommandBytes.front());
}

QString MonitorCommands::TargetText() const {
    const CommandTarget target = Target();
    return u"%1 (%2) on %3, command byte %4"_s.arg(SlotName(target.slot), BoundText(slots_, target.slot),
                                                   TargetLinkText(), QString::number(target.commandByte));
}

QString MonitorCommands::Unanswered(const QString& error, const QString& sent) const {
    return u"%1\n%2 was sent to %3, and not answered in full within %4 seconds (bytes that came: %5). "
           "Look at the cable or the gateway, at the command byte that the monitor listens to, and whether "
           "another monitor is on that line."_s.arg(
               error, sent, TargetText(), QString::number(kAnswerSeconds), QString::number(reply_.size()));
}

Outcome MonitorCommands::BindTarget(int position) {
    if (held_.has_value()) {
        return Outcome::Failure(u"A command to %1 is running, to its end; choose a target after that."_s.arg(
            SlotName(held_->slot)));
    }
    const int index = std::min(position, slots_.InUse() - 1);
    settings_.Save(kCommandIndex, index);
    settings_.Save(kCommandLink, slots_.LinkIndex(index + 1));
    if (MonitorLink* link = TargetLink()) link->SetReplyCapture(false);
    return Outcome::Success();
}

QCoro::Task<Outcome> MonitorCommands::ChooseCommandByte(int slot, int position, Operator& op) {
    if (position < 0 || position >= static_cast<int>(kCommandBytes.size())) {
        co_return Outcome::Failure(u"The list has the positions 0 to 3, for the bytes 252 to 255."_s);
    }
    if (position != 0 && settings_.IsOn(kAskAboutCommandByte)) {
        // With neither Yes nor No, all stays as it is.
        Question question;
        question.text =
            u"This option is only available with VRQ-5810 energy monitors having firmware ver 1.020 or "
            u"higher.\r\n"
            "Also make sure that the device has already been set to work with the selected command byte. \r\n"
            "Do you want to continue?"_s;
        question.safe = Answer::Cancel;
        const Answer answer = co_await op.Ask(std::move(question));
        if (answer == Answer::Cancel) co_return Outcome::Failure(u"No command byte was chosen."_s);
        if (answer == Answer::No) {
            // 0, and Device A whichever device it was about: both on purpose.
            settings_.Save(kDeviceCommandByte, 0, {.member = SlotLetter(1)});
            co_return Outcome::Failure(u"No command byte was chosen; that of Device A is 0 now."_s);
        }
        settings_.Save(kAskAboutCommandByte, false);
    }
    const int byte = kCommandBytes[static_cast<std::size_t>(position)];
    settings_.Save(kDeviceCommandByte, byte, {.member = SlotLetter(slot)});
    co_return Outcome::Success();
}

bool MonitorCommands::SendByte(QByteArrayView text, Operator& op) {
    MonitorLink* link = TargetLink();
    if (link == nullptr) return false;
    const bool sent = link->SendText(text);
    if (!link->IsSerial()) return sent;
    const bool toldBefore = std::exchange(serialNotOpen_, !sent);
    if (!sent && !toldBefore) op.Show(u" The COM port is not opened."_s);
    return sent;
}

QCoro::Task<bool> MonitorCommands::GetAck() {
    const int deadline = SecondFromNow(clock_, kAnswerSeconds);
    const std::function<bool()> acknowledged = [this] {
        return reply_.contains(static_cast<char>(kAcknowledgement));
    };
    const WaitEnd end = co_await WaitUntilSecond(clock_, deadline, acknowledged);
    co_return end == WaitEnd::Held;
}

void MonitorCommands::XmitMessage(QByteArrayView text) {
    for (MonitorLink* link : links_) {
        if (link->ConnectsOut()) link->SendText(text);
    }
}

QCoro::Task<Outcome> MonitorCommands::StartRealtime(Operator& op) {
    const HeldTarget target(*this);
    const bool modelUnknown = TargetLink() != nullptr && framer_.LastModel(Target().link) == nullptr;
    if (modelUnknown) {
        const Outcome asked = co_await SendOnePacket(op);
        if (!asked) co_return asked;
    }
    if (!co_await clock_.DLY(kBeforeRealtime)) co_return Outcome::Failure(kClosing);
    const QByteArray word = co_await StartWord(op);
    if (word.isEmpty()) co_return Outcome::Failure(u"The monitor was told nothing."_s);
    co_return co_await Send(Operation::StartRealtime, word, op);
}

QCoro::Task<QByteArray> MonitorCommands::StartWord(Operator& op) {
    const MonitorModel* model = TargetLink() != nullptr ? framer_.LastModel(Target().link) : nullptr;
    if (model == nullptr) {
        model = settings_.IsOn(kSingleTwoChannel) ? &kTwoChannel : &kFiveChannel;
    } else if (!model->startQuestion.empty()) {
        Question question{.text = Text(model->startQuestion), .safe = Answer::Cancel};
        const Answer answer = co_await op.Ask(std::move(question));
        if (answer == Answer::Cancel) co_return QByteArray();
        if (answer == Answer::No) model = &kFiveChannel;
    }
    co_return Text(model->startWord).toLatin1();
}

QCoro::Task<Outcome> MonitorCommands::StopRealtime(Operator& op) {
    board_.AddLine(u"     Command byte %1"_s.arg(Target().commandByte));
    co_return co_await Send(Operation::StopRealtime, {}, op);
}

QCoro::Task<Outcome> MonitorCommands::SendOnePacket(Operator& op) {
    co_return co_await Send(Operation::OnePacket, {}, op);
}

QCoro::Task<Outcome> MonitorCommands::ThruMode(Operator& op) {
    co_return co_await Send(Operation::PassThrough, {}, op);
}

QCoro::Task<Outcome> MonitorCommands::ReBoot5810(Operator& op) {
    co_return co_await Send(Operation::Restart, {}, op);
}

QCoro::Task<Outcome> MonitorCommands::Send(Operation operation, QByteArray arguments, Operator& op) {
    const HeldTarget target(*this);
    const Outcome checked = CheckLink();
    if (!checked) co_return checked;
    const Hold hold(*this);
    co_return co_await Walk(operation, arguments, op);
}

QCoro::Task<MonitorReply> MonitorCommands::Exchange(Operation operation, QByteArray arguments,
                                                    std::function<bool(const QByteArray&)> isWhole,
                                                    Operator& op) {
    const HeldTarget target(*this);
    MonitorReply reply{.outcome = CheckLink()};
    if (!reply.outcome) co_return reply;
    const Hold hold(*this);
    reply.outcome = co_await Walk(operation, arguments, op);
    if (!reply.outcome) co_return reply;
    reply_.clear();
    const int deadline = SecondFromNow(clock_, kAnswerSeconds);
    const std::function<bool()> answered = [&] { return isWhole(reply_); };
    const WaitEnd end = co_await WaitUntilSecond(clock_, deadline, answered);
    if (end == WaitEnd::Deadline)
        reply.outcome = Outcome::Failure(
            Unanswered(u"timeout error"_s, u"\"%1\""_s.arg(Text(SequenceOf(operation).name))));
    if (end == WaitEnd::Closing) reply.outcome = Outcome::Failure(kClosing);
    reply.bytes = reply_;
    reply.heard = heardBytes_;
    co_return reply;
}

QCoro::Task<Outcome> MonitorCommands::Walk(Operation operation, QByteArray arguments, Operator& op) {
    const Sequence& sequence = SequenceOf(operation);
    const MonitorLink* link = TargetLink();
    const std::int64_t tooEarly = lastSent_ + kBetweenCommands - clock_.Monotonic();
    if (tooEarly > 0) {
        const bool goesOn = co_await clock_.DLY(tooEarly);
        if (!goesOn) co_return Outcome::Failure(kClosing);
    }
    const int connections = link->Connections();
    const std::int64_t start = clock_.Monotonic();
    int sent = 0;
    for (const Piece& piece : sequence) {
        if (piece.kind != Piece::Kind::Pause) {
            const QByteArray bytes = BytesOf(piece, arguments);
            reply_.clear();
            const bool sameConnection = link->Connections() == connections;
            if (!sameConnection || !SendByte(bytes, op)) {
                if (sent == 0) co_return Outcome::Failure(kNotOpen);
                co_return Outcome::Failure(LogBroken(u"%1 was lost"_s.arg(link->Name()), sequence, sent));
            }
            ++sent;
            if (sent == sequence.SentPieces() && ZeroesCounters(operation))
                Q_EMIT CountersZeroed(Target().link);
            lastSent_ = clock_.Monotonic();
            TellProgress(sequence, sent, PieceText(piece, bytes), clock_.Monotonic() - start, op);
        }
        if (piece.pause == kAcknowledged) {
            const bool acknowledged = co_await GetAck();
            if (!acknowledged) {
                const QString text = u"No response %1"_s.arg(sent);
                if (sent > 1) LogBroken(text, sequence, sent - 1);
                const QString said = u"Piece %1 of \"%2\""_s.arg(QString::number(sent), Text(sequence.name));
                co_return Outcome::Failure(Unanswered(text, said));
            }
        } else if (piece.pause > 0) {
            const bool goesOn = co_await clock_.DLY(piece.pause);
            if (!goesOn) co_return Outcome::Failure(LogBroken(kClosing, sequence, sent));
        }
    }
    co_return Outcome::Success();
}

/// Notes in the error log, too, that the monitor got a command only in part; returns the text.
QString MonitorCommands::LogBroken(const QString& what, const Sequence& sequence, int sent) {
    QString text = u"%1: %2 after %3 of %4 pieces. Read the settings to see what the monitor took."_s.arg(
        Text(sequence.name), what, QString::number(sent), QString::number(sequence.SentPieces()));
    errorLog_.LogError(0, text, SlotName(Target().slot));
    return text;
}

/// The bytes of a piece; a start word or an argument is taken off the front of `arguments`.
QByteArray MonitorCommands::BytesOf(const Piece& piece, QByteArray& arguments) const {
    switch (piece.kind) {
        case Piece::Kind::CommandByte:
            return {1, static_cast<char>(Target().commandByte)};
        case Piece::Kind::Word:
            return {piece.word.data(), static_cast<qsizetype>(piece.word.size())};
        case Piece::Kind::StartWord: {
            QByteArray word = arguments.first(kWordLength);
            arguments.remove(0, kWordLength);
            return word;
        }
        case Piece::Kind::FixedByte:
            return {1, static_cast<char>(piece.byte)};
        case Piece::Kind::Argument: {
            QByteArray byte = arguments.first(1);
            arguments.remove(0, 1);
            return byte;
        }
        case Piece::Kind::Pause:
            break;
    }
    return {};
}

}  // namespace corvane
