// The server of the pages: read-only, on the one event loop, and of little patience.
#pragma once

#include <QCoroTask>
#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "base/metrics_writer.h"
#include "link/acceptor.h"
#include "web/live_events.h"
#include "web/web_reply.h"
#include "web/web_setup.h"
#include "web/wrong_tokens.h"

class QSocketNotifier;
struct MHD_Connection;
struct MHD_Daemon;

namespace corvane {

class Clock;
class DeviceSlots;
class ErrorLog;
class History;
class Ledger;
class SettingsStore;
class StatusBoard;

/// libmicrohttpd without threads of its own: its epoll descriptor is watched by the event loop. Limits keep
/// anybody who misbehaves from taking more than their share of memory and connections.
class WebServer : public QObject {
    Q_OBJECT

public:
    static constexpr unsigned kMostConnections = 256;
    static constexpr unsigned kMostOfOneAddress = 160;
    static constexpr std::size_t kConnectionMemory = 8192;    ///< bytes, request and headers of the reply
    static constexpr std::int64_t kRequestPatience = 15'000;  ///< ms until a request must be complete
    static constexpr std::int64_t kReplyPatience = 60'000;    ///< ms until a reply must have been taken
    static constexpr std::int64_t kRetry = 5'000;  ///< ms from one try to the next, of a taken port

    using MetricsSource = std::function<QByteArray(MetricsFormat)>;

    /// Everything that is referred to must outlive it.
    WebServer(ReadingsSource readings, MetricsSource metrics, LiveEvents& events, History& history,
              Ledger& ledger, const DeviceSlots& slots, SettingsStore& settings, StatusBoard& statusBoard,
              ErrorLog& errorLog, Clock& clock);
    ~WebServer() override;

    /// Serves as the settings say, from now on and whenever they change. What hinders it is told, no more.
    void StartUp();

    /// Ends all connections and takes no more.
    QCoro::Task<> Close();

    /// Where the pages are found on this machine, whether they are served or not.
    [[nodiscard]] QString Location() const { return setup_.Location(); }

    /// `location`, one of a page, as a browser that knows no token yet must ask for it.
    [[nodiscard]] QString WithToken(const QString& location) const {
        return setup_.token.isEmpty() ? location : location + QStringLiteral("?token=") + setup_.token;
    }

    /// What is not well with the settings that it serves by; empty where nothing is.
    [[nodiscard]] QString Warning() const { return setup_.Warning(); }

    [[nodiscard]] bool Serving() const { return daemon_ != nullptr; }

    /// Why no pages are served though they should be; empty where nothing is wrong.
    [[nodiscard]] const QString& Problem() const { return problem_; }

Q_SIGNALS:
    void LocationChanged(const QString& location);

private:
    struct Callbacks;
    struct Connection;
    struct Exchange;

    void Serve();
    void Stop();
    void TryToOpen();
    Outcome Open();
    void TakeConnection(int descriptor);
    void TakeAsManyAsThereMayBe();
    void Tell(const QString& text);

    /// Lets the library do what is to be done now.
    void Run();
    void RunSoon();

    QCoro::Task<> RefuseToken(std::shared_ptr<Exchange> exchange, std::int64_t delay);
    void ReportWrongTokens();
    void Dispatch(const std::shared_ptr<Exchange>& exchange, std::string_view path);
    [[nodiscard]] WebReply ReadMetrics(MHD_Connection* connection) const;
    WebReply JoinEvents(const std::shared_ptr<Exchange>& exchange);
    QCoro::Task<> ReadHistory(std::shared_ptr<Exchange> exchange);
    QCoro::Task<> ReadLedger(std::shared_ptr<Exchange> exchange);
    void Resume(Exchange& exchange);
    void EndOverdue();

    ReadingsSource readings_;
    MetricsSource metrics_;
    LiveEvents& events_;
    History& history_;
    Ledger& ledger_;
    const DeviceSlots& slots_;
    SettingsStore& settings_;
    StatusBoard& statusBoard_;
    ErrorLog& errorLog_;
    Clock& clock_;
    WebSetup setup_;
    Acceptor acceptor_;
    WrongTokens wrongTokens_;
    MHD_Daemon* daemon_ = nullptr;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::unordered_map<MHD_Connection*, std::unique_ptr<Connection>> connections_;
    QString problem_;
    std::int64_t triedAt_ = 0;  ///< monotonic, ms
    bool started_ = false;
    bool runDue_ = false;
};

}  // namespace corvane
