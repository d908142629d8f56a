#include "remote/remote_session.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <exception>
#include <utility>

#include "app/program.h"
#include "base/clock.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QJsonObject ReplyObject(const Reply& reply) {
    if (!reply.outcome) return {{u"ok"_s, false}, {u"error"_s, reply.outcome.Error()}};
    QJsonObject object{
        {u"ok"_s, true}, {u"lines"_s, QJsonArray::fromStringList(reply.lines)}, {u"data"_s, reply.data}};
    if (!reply.well) object[u"well"_s] = false;
    return object;
}

}  // namespace

RemoteSession::RemoteSession(std::unique_ptr<QLocalSocket> socket, Program& program)
    : socket_(std::move(socket)), program_(program), lastSign_(program.clock.Monotonic()) {
    socket_->setReadBufferSize(kLongestRemoteLine + 1);
    connect(socket_.get(), &QLocalSocket::readyRead, this, &RemoteSession::OnReadyRead);
    connect(socket_.get(), &QLocalSocket::disconnected, this, &RemoteSession::OnDisconnected);
    connect(socket_.get(), &QLocalSocket::bytesWritten, this, [this] {
        lastSign_ = program_.clock.Monotonic();
        OnReadyRead();
    });
    connect(&program_.clock, &Clock::SecondPassed, this, &RemoteSession::OnSecond);
    // What the client has sent before this object was there raises no signal of its own.
    QMetaObject::invokeMethod(this, &RemoteSession::OnReadyRead, Qt::QueuedConnection);
}

void RemoteSession::OnReadyRead() {
    // While a command runs, only an answer is read; a further request waits in the socket, as it does while
    // the client has much to read.
    while (!gone_ && !dismissed_ && (waiter_ || (!busy_ && !LagsBehind())) && socket_->canReadLine()) {
        lastSign_ = program_.clock.Monotonic();
        TakeLine(socket_->readLine());
    }
    if (!gone_ && !dismissed_ && socket_->bytesAvailable() > kLongestRemoteLine && !socket_->canReadLine()) {
        Dismiss(u"The line is too long."_s);
    }
}

void RemoteSession::OnSecond() {
    if (dismissed_) return End();  // it has had a second to take what was said
    const std::int64_t silence = program_.clock.Monotonic() - lastSign_;
    if (LagsBehind() && silence >= kReadPatience) return CutOff();
    if ((busy_ && !waiter_) || silence < kIdlePatience) return;
    Dismiss(u"Nothing came for %1 minutes: the connection was closed."_s.arg(kIdlePatience / 60'000));
}

void RemoteSession::Dismiss(const QString& why) {
    Send(ReplyObject(Reply::Failure(why)));
    dismissed_ = true;
    socket_->disconnectFromServer();
}

void RemoteSession::End() {
    socket_->abort();
    OnDisconnected();
}

void RemoteSession::CutOff() {
    program_.statusBoard.AddLine(
        u"     A client of the control socket does not read what it is sent: cut off."_s);
    End();
}

void RemoteSession::TakeLine(const QByteArray& line) {
    if (waiter_) {
        ResumeWaiter(QJsonDocument::fromJson(line).object());
        return;
    }
    auto request = ParseRemoteRequest(line);
    if (const auto* error = std::get_if<QString>(&request)) {
        Send(ReplyObject(Reply::Failure(*error)));
        return;
    }
    Run(std::get<RemoteRequest>(std::move(request)));
}

QCoro::Task<> RemoteSession::Run(RemoteRequest request) {
    busy_ = true;
    givenAnswer_ = request.answer;
    unanswered_.clear();
    Reply reply;
    try {
        reply = co_await Execute(request);
    } catch (const std::exception& error) {
        reply = Reply::Failure(FailureOf(request.command, error));
    }
    if (!unanswered_.isEmpty()) reply = Reply::Failure(unanswered_);
    Send(ReplyObject(reply));
    busy_ = false;
    if (gone_) {
        Q_EMIT Finished();
    } else {
        QMetaObject::invokeMethod(this, &RemoteSession::OnReadyRead, Qt::QueuedConnection);
    }
}

QCoro::Task<Reply> RemoteSession::Execute(const RemoteRequest& request) {
    QStringList arguments = request.arguments;
    const Command* command = FindCommand(request.command, arguments);
    if (command == nullptr) {
        const QString words = (request.command + u' ' + request.arguments.value(0)).trimmed();
        co_return Reply::Failure(u"There is no command %1; \"help\" lists all."_s.arg(words));
    }
    const auto name = QString::fromLatin1(command->name);
    if (arguments.size() < command->leastArguments || arguments.size() > command->mostArguments) {
        co_return Reply::Failure(u"Usage: %1 %2"_s.arg(name, QLatin1StringView(command->arguments)));
    }
    if (command->readOnly) co_return co_await command->run(program_, arguments, *this);

    if (const QString refusal = program_.runningCommand.Refusal(); !refusal.isEmpty())
        co_return Reply::Failure(refusal);
    const CommandRuns runs(program_.runningCommand, name);
    (void)program_.settings.TakeNotSaved();  // of before
    Reply reply = co_await command->run(program_, arguments, *this);
    const QString notSaved = program_.settings.TakeNotSaved();
    if (reply.outcome && !notSaved.isEmpty()) co_return Reply::Failure(notSaved);
    co_return reply;
}

void RemoteSession::Send(const QJsonObject& object) {
    if (gone_) return;
    if (LagsBehind()) return CutOff();
    socket_->write(RemoteLine(object));
}

void RemoteSession::Show(const QString& text) {
    Send({{u"message"_s, text}});
}

QCoro::Task<Answer> RemoteSession::Ask(Question question) {
    if (givenAnswer_.has_value()) {
        Show(u"%1 -> %2"_s.arg(question.text, AnswerText(*givenAnswer_)));
        co_return *givenAnswer_;
    }
    if (!unanswered_.isEmpty()) co_return question.safe;
    Send({{u"ask"_s, question.text},
          {u"title"_s, question.title},
          {u"cancellable"_s, question.cancellable},
          {u"yes"_s, question.yes},
          {u"no"_s, question.no}});
    const QJsonObject answer = co_await ClientAnswer(*this);
    const auto given = ParseAnswer(answer[u"answer"_s].toString());
    if (given.has_value()) co_return *given;
    if (question.offer) {
        Show(u"%1 -> %2"_s.arg(question.text, AnswerText(question.safe)));
    } else {
        unanswered_ =
            question.text +
            u"\nNot answered, nothing changed. It is answered on a terminal, or by --yes or --no."_s;
    }
    co_return question.safe;
}

QCoro::Task<std::optional<QString>> RemoteSession::AskText(QString prompt) {
    if (!unanswered_.isEmpty()) co_return std::nullopt;
    Send({{u"askText"_s, prompt}});
    const QJsonObject answer = co_await ClientAnswer(*this);
    const QJsonValue text = answer[u"text"_s];
    if (text.isString()) co_return text.toString();
    unanswered_ =
        prompt +
        u"\nNot answered, nothing changed. It is entered on a terminal, or given with the command."_s;
    co_return std::nullopt;
}

void RemoteSession::ShowProgress(const Progress& progress) {
    Send({{u"progress"_s, progress.operation},
          {u"seconds"_s, qint64{progress.seconds}},
          {u"percent"_s, progress.percent ? QJsonValue(*progress.percent) : QJsonValue()}});
}

void RemoteSession::ResumeWaiter(const QJsonObject& answer) {
    answer_ = answer;
    std::exchange(waiter_, nullptr).resume();
}

void RemoteSession::OnDisconnected() {
    if (std::exchange(gone_, true)) return;
    if (waiter_) {
        ResumeWaiter({});  // the command ends, and with it this session
    } else if (!busy_) {
        Q_EMIT Finished();
    }
}

void RemoteSession::Abandon() {
    socket_->disconnectFromServer();
    OnDisconnected();
}

}  // namespace corvane
