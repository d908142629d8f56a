#include <algorithm>
#include <optional>

#include "app/program.h"
#include "base/operator.h"
#include "base/status_board.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// "a", "a and b", "a, b and c".
QString Joined(QStringList words) {
    if (words.size() < 2) return words.join(QString());
    const QString last = words.takeLast();
    return u"%1 and %2"_s.arg(words.join(u", "_s), last);
}

/// Saves what `word` of the output chooses; one without a value of its own takes `value`. Nothing where the
/// output has no such word, or where there is a value too many or too few.
std::optional<Reply> Choose(Program& program, const Output& output, const QString& word,
                            const std::optional<QString>& value) {
    for (const OutputChoice& choice : output.Choices()) {
        const bool off = choice.offWord != nullptr && word == QLatin1StringView(choice.offWord);
        if (word != QLatin1StringView(choice.word) && !off) continue;
        const bool isSwitch = choice.offWord != nullptr;
        if (isSwitch == value.has_value()) return std::nullopt;
        const QString text = value.value_or(SettingsStore::BoolText(!off));
        const Outcome outcome = program.userSettings.Apply(*choice.setting, text);
        return outcome ? ChangeReply(program.userSettings, SettingKey(*choice.setting))
                       : Reply::Failure(outcome.Error());
    }
    return std::nullopt;
}

QCoro::Task<Reply> ForwardStatus(Program& program, QStringList, Operator&) {
    const OutputStatus status = program.outputs.Status();
    Reply reply;
    reply.lines = status.lines;
    reply.data = status.data;
    co_return reply;
}

/// "on, off, port PORT": what follows the name of an output in `forward set`.
QString ChoiceWords(const Output& output) {
    QStringList words;
    for (const OutputChoice& choice : output.Choices()) {
        words.append(
            (QString::fromLatin1(choice.word) + u' ' + QLatin1StringView(choice.argument)).trimmed());
        if (choice.offWord != nullptr) words.append(QString::fromLatin1(choice.offWord));
    }
    return words.join(u", "_s);
}

/// "For server and b: on, off, port PORT. For client: ...": outputs that have the same words stand together.
QString AllChoiceWords(const Program& program) {
    QStringList sentences;
    QStringList alike;
    QString words;
    const auto end = [&] {
        if (!alike.isEmpty()) sentences.append(u"For %1: %2."_s.arg(Joined(alike), words));
        alike.clear();
    };
    for (const Output* output : program.outputs.All()) {
        if (output->Names().ownCommands) continue;
        if (const QString own = ChoiceWords(*output); own != words) {
            end();
            words = own;
        }
        alike.append(QString::fromLatin1(output->Names().word));
    }
    end();
    return sentences.join(u' ');
}

bool IsSecret(const Output& output, const QString& word) {
    return std::ranges::any_of(output.Choices(), [&word](const OutputChoice& choice) {
        return choice.setting->privacy == SettingPrivacy::Secret && word == QLatin1StringView(choice.word);
    });
}

QCoro::Task<Reply> ForwardSet(Program& program, QStringList arguments, Operator& op) {
    const Output* output = program.outputs.Find(arguments[0]);
    std::optional<Reply> reply;
    if (output != nullptr && !output->Names().ownCommands) {
        const QString word = arguments[1].toLower();
        auto value = arguments.size() == 3 ? std::optional(arguments[2]) : std::nullopt;
        // Asked for, a secret leaves no trace in the history of a shell.
        if (!value.has_value() && IsSecret(*output, word)) value = co_await op.AskText(word + u": "_s);
        reply = Choose(program, *output, word, value);
    }
    co_return reply.value_or(Reply::Failure(AllChoiceWords(program)));
}

std::optional<OutputAction> ActionOf(Output& output, const QString& word) {
    for (const OutputAction& action : output.Actions()) {
        if (word == QLatin1StringView(action.word)) return action;
    }
    return std::nullopt;
}

/// What is told when an action has succeeded: its own text, or the last result, or how the output stands now.
QString ToldOf(const Output& output, const OutputAction& action) {
    if (*action.done != '\0') return QString::fromLatin1(action.done);
    if (output.Log() != nullptr && !output.Log()->Lines().empty()) return output.Log()->Lines().back();
    return output.Status().lines.first();
}

QCoro::Task<Reply> Run(Output& output, OutputAction action, Operator& op) {
    Outcome outcome;
    if (action.atOnce) {
        outcome = action.atOnce();
    } else {
        outcome = co_await action.awaited(op);
    }
    if (!outcome) co_return Reply::Failure(outcome.Error());
    if (const QString problem = output.Problem(); !problem.isEmpty()) {
        co_return Reply::Failure(u"%1: %2"_s.arg(output.Name(), problem));
    }
    co_return Reply::Line(ToldOf(output, action));
}

// The words of the outputs that commands name by themselves, and of what these have them do.
constexpr char kListen[] = "listen";
constexpr char kStop[] = "stop";
constexpr char kClient[] = "client";
constexpr char kConnect[] = "connect";
constexpr char kGet[] = "get";
constexpr char kCheck[] = "check";
constexpr char kOn[] = "on";
constexpr char kOff[] = "off";
constexpr char kUrl[] = "url";
constexpr char kPath[] = "path";
constexpr char kLayout[] = "layout";
constexpr char kFeed[] = "feed";
constexpr char kSend[] = "send";
constexpr char kSetUp[] = "setup";

/// Has the server of the first argument do something.
template <const char* word>
QCoro::Task<Reply> RunOnServer(Program& program, QStringList arguments, Operator& op) {
    const QString action = QString::fromLatin1(word);
    QStringList servers;
    for (Output* output : program.outputs.All()) {
        const auto found = ActionOf(*output, action);
        if (!found.has_value()) continue;
        const QString name = QString::fromLatin1(output->Names().word);
        if (arguments.first().toLower() == name) co_return co_await Run(*output, *found, op);
        servers.append(name);
    }
    co_return Reply::Failure(u"There are the servers %1."_s.arg(Joined(servers)));
}

template <const char* name, const char* word>
QCoro::Task<Reply> RunOn(Program& program, QStringList, Operator& op) {
    Output& output = *program.outputs.Find(QString::fromLatin1(name));
    co_return co_await Run(output, ActionOf(output, QString::fromLatin1(word)).value(), op);
}

template <const char* name, const char* word>
QCoro::Task<Reply> ChooseFor(Program& program, QStringList arguments, Operator&) {
    const Output& output = *program.outputs.Find(QString::fromLatin1(name));
    const auto value = arguments.isEmpty() ? std::nullopt : std::optional(arguments.first());
    co_return Choose(program, output, QString::fromLatin1(word), value).value();
}

QCoro::Task<Reply> FeedSet(Program& program, QStringList arguments, Operator& op) {
    const QString word = arguments.first().toLower();
    QStringList words;
    for (const OutputChoice& choice : program.feedUpload.Choices()) {
        if (choice.offWord == nullptr) words.append(QString::fromLatin1(choice.word));
    }
    if (!words.contains(word)) co_return Reply::Failure(u"There are %1."_s.arg(Joined(words)));
    std::optional<QString> value;
    if (arguments.size() > 1) {
        value = arguments[1];
    } else {
        // Asked for, a key leaves no trace in the history of a shell.
        value = co_await op.AskText(word + u": "_s);
    }
    if (!value.has_value()) co_return Reply::Failure(u"Nothing was entered."_s);
    co_return Choose(program, program.feedUpload, word, value).value();
}

QCoro::Task<Reply> FeedEnable(Program& program, QStringList arguments, Operator&) {
    const auto reply = Choose(program, program.feedUpload, arguments.first().toLower(), std::nullopt);
    co_return reply.value_or(Reply::Failure(u"The feed is switched on or off."_s));
}

/// The assignment of a datastream as it is now.
QString AssignmentLine(const Program& program, const QString& id) {
    const auto channel = program.feedUpload.Channels()[id.toUInt()];
    return u"Datastream %1: %2"_s.arg(id, channel.has_value() ? channel->Text() : u"none"_s);
}

QCoro::Task<Reply> FeedAssign(Program& program, QStringList arguments, Operator& op) {
    const auto channel = arguments.size() > 1 ? std::optional(arguments[1]) : std::nullopt;
    const Outcome assigned = co_await program.feedUpload.Assign(arguments[0], channel, op);
    if (!assigned) co_return Reply::Failure(assigned.Error());
    co_return Reply::Line(AssignmentLine(program, arguments[0]));
}

}  // namespace

std::span<const Command> ForwardCommands() {
    static constexpr Command commands[] = {
        {"forward status", "", "What is forwarded, to whom, and how the uploads go.", 0, 0, true,
         ForwardStatus},
        {"forward set", "OUTPUT WHAT [VALUE]",
         "Switches server, b, client and the like on or off, or sets mode, port, address.", 2, 3, false,
         ForwardSet},
        {"forward listen", "server|b", "Lets a forwarding server wait for its peer, now and at every start.",
         1, 1, false, RunOnServer<kListen>},
        {"forward stop", "server|b", "Closes a forwarding server until it is told to listen again.", 1, 1,
         false, RunOnServer<kStop>},
        {"forward connect", "", "Connects the forwarding client; disconnects it where it is connected.", 0, 0,
         false, RunOn<kClient, kConnect>},
        {"forward check", "", "Whether the internet can be reached.", 0, 0, false, RunOn<kGet, kCheck>},
        {"get on", "", "Sends every packet's values to a web server, as a GET request.", 0, 0, false,
         ChooseFor<kGet, kOn>},
        {"get off", "", "Ends that.", 0, 0, false, ChooseFor<kGet, kOff>},
        {"get url", "HOST[:PORT]", "The web server of the GET requests.", 1, 1, false, ChooseFor<kGet, kUrl>},
        {"get path", "PATH", "The path on it.", 1, 1, false, ChooseFor<kGet, kPath>},
        {"get layout", "1|2", "The layout of the GET query.", 1, 1, false, ChooseFor<kGet, kLayout>},
        {"feed set", "key|feed|title|host|interval [VALUE]", "Chooses a property of the feed.", 1, 2, false,
         FeedSet},
        {"feed assign", "ID CHANNEL", "Lets datastream 0 to 50 carry a channel such as A:CH1.", 2, 2, false,
         FeedAssign},
        {"feed clear", "ID", "Lets a datastream carry nothing.", 1, 1, false, FeedAssign},
        {"feed enable", "on|off", "Whether the feed is sent by itself, every so often.", 1, 1, false,
         FeedEnable},
        {"feed send", "", "Sends the feed's values now.", 0, 0, false, RunOn<kFeed, kSend>},
        {"feed setup", "", "Sends the document that sets up the feed's datastreams.", 0, 0, false,
         RunOn<kFeed, kSetUp>},
    };
    return commands;
}

}  // namespace corvane
