// One client of the control socket: runs its commands one after the other, and is their operator. One that
// does not read what it is sent, or says nothing for long, is let go.
#pragma once

#include <QJsonObject>
#include <QLocalSocket>
#include <QObject>

#include <coroutine>
#include <memory>
#include <optional>

#include "base/operator.h"
#include "remote/remote_protocol.h"

namespace corvane {

class Program;
struct Reply;

class RemoteSession final : public QObject, public Operator {
    Q_OBJECT

public:
    static constexpr std::int64_t kMostUnsent = 1 << 20;        ///< bytes
    static constexpr std::int64_t kReadPatience = 10'000;       ///< ms that so much may lie unread
    static constexpr std::int64_t kIdlePatience = 10 * 60'000;  ///< ms

    RemoteSession(std::unique_ptr<QLocalSocket> socket, Program& program);

    void Show(const QString& text) override;
    QCoro::Task<Answer> Ask(Question question) override;
    QCoro::Task<std::optional<QString>> AskText(QString prompt) override;
    void ShowProgress(const Progress& progress) override;

    /// A client that is gone does not wait any more; so Ctrl-C gives up what `corvanectl` waits for. Nor is
    /// anything gone on with that a question was not answered of.
    [[nodiscard]] bool WantsCancel() const override { return gone_ || !unanswered_.isEmpty(); }

    /// Whether no command of it runs.
    [[nodiscard]] bool IsIdle() const { return !busy_; }

    /// When it last sent or read something, by the clock that is never set.
    [[nodiscard]] std::int64_t LastSign() const { return lastSign_; }

    /// Ends the connection; an open question gets the answer that loses nothing.
    void Abandon();

Q_SIGNALS:
    /// The client is gone and no command of it runs: this object may be deleted.
    void Finished();

private:
    /// Sends a question; awaiting it gives the client's answer, or an empty object where none will come.
    class ClientAnswer {
    public:
        explicit ClientAnswer(RemoteSession& session) : session_(session) {}
        [[nodiscard]] bool await_ready() const noexcept { return session_.gone_; }
        void await_suspend(std::coroutine_handle<> waiter) noexcept { session_.waiter_ = waiter; }
        [[nodiscard]] QJsonObject await_resume() const { return std::exchange(session_.answer_, {}); }

    private:
        RemoteSession& session_;
    };

    void OnReadyRead();
    void OnSecond();
    void CutOff();
    void Dismiss(const QString& why);
    void End();
    [[nodiscard]] bool LagsBehind() const { return socket_->bytesToWrite() > kMostUnsent; }
    void OnDisconnected();
    void TakeLine(const QByteArray& line);
    QCoro::Task<> Run(RemoteRequest request);
    QCoro::Task<Reply> Execute(const RemoteRequest& request);
    void Send(const QJsonObject& object);
    void ResumeWaiter(const QJsonObject& answer);

    std::unique_ptr<QLocalSocket> socket_;
    Program& program_;
    std::optional<Answer> givenAnswer_;  ///< of the request that runs
    QString unanswered_;                 ///< what it was asked and nobody answered
    std::coroutine_handle<> waiter_;     ///< a command that waits for an answer
    QJsonObject answer_;
    std::int64_t lastSign_;
    bool busy_ = false;
    bool dismissed_ = false;  ///< it was told why, and the connection ends
    bool gone_ = false;
};

}  // namespace corvane
