#include "web/web_server.h"

#include <QSocketNotifier>

#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "base/clock.h"
#include "base/status_board.h"
#include "link/device_slots.h"
#include "measure/ledger.h"
#include "measure/ledger_document.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "web/history.h"
#include "web/live_xml.h"
#include "web/web_access.h"
#include "web/web_pages.h"
#include "web/web_request.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* kNeedsToken =
    "These readings are for those who know the token. Open the address once with ?token= and the token at "
    "its "
    "end; this browser then remembers it for a year. Programs send it as \"Authorization: Bearer\" and the "
    "token.\n";

}  // namespace

/// A request and what becomes of it.
struct WebServer::Exchange {
    WebServer& server;
    MHD_Connection* connection;          ///< null once it is over
    std::optional<WebReply> reply = {};  ///< nothing while it is still being made
    std::shared_ptr<EventStream> stream = {};
    std::string cookie = {};    ///< to be set
    std::string location = {};  ///< to go to
    bool suspended = false;
};

struct WebServer::Connection {
    int descriptor;
    QHostAddress peer;
    std::int64_t deadline;             ///< ms of the clock when it is cut off; 0: never
    std::optional<WebReply> bad = {};  ///< what a request's target deserves that is none of ours
    std::shared_ptr<Exchange> exchange = {};
};

/// What the library calls.
struct WebServer::Callbacks {
    static void OnConnection(void* cls, MHD_Connection* connection, void**,
                             MHD_ConnectionNotificationCode code) {
        auto& server = *static_cast<WebServer*>(cls);
        if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
            server.connections_.erase(connection);
            server.TakeAsManyAsThereMayBe();
            return;
        }
        const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        const auto* peer = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        server.connections_[connection] = std::make_unique<Connection>(
            Connection{.descriptor = info->connect_fd,
                       .peer = QHostAddress(peer->client_addr),
                       .deadline = server.clock_.Monotonic() + kRequestPatience});
    }

    /// What is returned is the context of the request, which has none yet.
    static void* OnTarget(void* cls, const char* target, MHD_Connection* handle) {
        static_cast<WebServer*>(cls)->connections_.at(handle)->bad = TargetRefusal(target);
        return nullptr;
    }

    static MHD_Result OnRequest(void* cls, MHD_Connection* handle, const char* url, const char* method,
                                const char*, const char*, std::size_t* bodySize, void** context) {
        auto& server = *static_cast<WebServer*>(cls);
        Connection& connection = *server.connections_.at(handle);
        if (*context == nullptr) {  // the headers are there
            connection.exchange =
                std::make_shared<Exchange>(Exchange{.server = server, .connection = handle});
            *context = connection.exchange.get();
            connection.deadline = server.clock_.Monotonic() + kReplyPatience;
            Exchange& exchange = *connection.exchange;
            exchange.reply = HeaderRefusal(handle, method);
            if (!exchange.reply.has_value()) exchange.reply = connection.bad;
            // Answered before a body could come, the connection ends with the answer.
            return exchange.reply.has_value() ? Send(exchange) : MHD_YES;
        }
        if (*bodySize != 0) return MHD_NO;
        const std::shared_ptr<Exchange> exchange = connection.exchange;
        if (!exchange->reply.has_value()) server.Dispatch(exchange, url);
        connection.deadline = exchange->reply.has_value() && exchange->stream == nullptr
                                  ? server.clock_.Monotonic() + kReplyPatience
                                  : 0;
        if (exchange->reply.has_value()) return Send(*exchange);
        exchange->suspended = true;
        MHD_suspend_connection(handle);
        return MHD_YES;
    }

    static void OnCompleted(void* cls, MHD_Connection* handle, void** context, MHD_RequestTerminationCode) {
        auto& server = *static_cast<WebServer*>(cls);
        *context = nullptr;
        const auto found = server.connections_.find(handle);
        if (found == server.connections_.end() || found->second->exchange == nullptr) return;
        found->second->exchange->connection = nullptr;
        found->second->exchange->stream.reset();
        found->second->exchange.reset();
        found->second->deadline = server.clock_.Monotonic() + kRequestPatience;
    }

    /// The next bytes of the events.
    static ssize_t OnRead(void* context, std::uint64_t, char* buffer, std::size_t room) {
        auto& exchange = *static_cast<Exchange*>(context);
        const std::size_t taken = exchange.stream->Take(buffer, room);
        if (taken > 0) return static_cast<ssize_t>(taken);
        if (exchange.stream->Ended()) return MHD_CONTENT_READER_END_OF_STREAM;
        exchange.suspended = true;
        MHD_suspend_connection(exchange.connection);
        return 0;
    }

    static MHD_Result Send(Exchange& exchange) {
        const WebReply& reply = *exchange.reply;
        MHD_Response* response = nullptr;
        if (exchange.stream != nullptr) {
            response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 4096, OnRead, &exchange, nullptr);
        } else {
            auto* body = new QByteArray(reply.body);  // shared; let go of by the library
            response = MHD_create_response_from_buffer_with_free_callback_cls(
                static_cast<std::size_t>(body->size()), const_cast<char*>(body->constData()),
                [](void* bytes) { delete static_cast<QByteArray*>(bytes); }, body);
        }
        if (response == nullptr) return MHD_NO;
        AddHeaders(response, reply);
        if (!exchange.cookie.empty())
            MHD_add_response_header(response, MHD_HTTP_HEADER_SET_COOKIE, exchange.cookie.c_str());
        if (!exchange.location.empty())
            MHD_add_response_header(response, MHD_HTTP_HEADER_LOCATION, exchange.location.c_str());
        const MHD_Result queued = MHD_queue_response(exchange.connection, reply.status, response);
        MHD_destroy_response(response);
        return queued;
    }
};

WebServer::WebServer(ReadingsSource readings, MetricsSource metrics, LiveEvents& events, History& history,
                     Ledger& ledger, const DeviceSlots& slots, SettingsStore& settings,
                     StatusBoard& statusBoard, ErrorLog& errorLog, Clock& clock)
    : readings_(std::move(readings)),
      metrics_(std::move(metrics)),
      events_(events),
      history_(history),
      ledger_(ledger),
      slots_(slots),
      settings_(settings),
      statusBoard_(statusBoard),
      errorLog_(errorLog),
      clock_(clock),
      setup_(WebSetup::Load(settings)),
      acceptor_(clock) {
    connect(&acceptor_, &Acceptor::Incoming, this, &WebServer::TakeConnection);
    connect(&acceptor_, &Acceptor::Told, this,
            [this](const QString& text) { Tell(u"The server of the pages "_s + text); });
    connect(&settings, &SettingsStore::Changed, this, [this](const QString& section, const QString& key) {
        if (section != kStartupSection || !key.startsWith("Web"_L1, Qt::CaseInsensitive)) return;
        setup_ = WebSetup::Load(settings_);
        Q_EMIT LocationChanged(Location());
        if (started_) Serve();
    });
    connect(&clock, &Clock::SecondPassed, this, &WebServer::EndOverdue);
    connect(&clock, &Clock::SecondPassed, this, [this] {
        if (!problem_.isEmpty() && clock_.Monotonic() - triedAt_ >= kRetry) TryToOpen();
    });
}

WebServer::~WebServer() {
    Stop();
}

void WebServer::StartUp() {
    started_ = true;
    Serve();
}

QCoro::Task<> WebServer::Close() {
    started_ = false;
    problem_.clear();
    Stop();
    co_await history_.Stop();
}

void WebServer::Serve() {
    Stop();
    problem_.clear();
    if (!setup_.enabled) return;
    TryToOpen();
    if (!Warning().isEmpty()) Tell(Warning());
}

void WebServer::TryToOpen() {
    Outcome opened = setup_.Check();
    if (opened) opened = Open();
    triedAt_ = clock_.Monotonic();
    const QString before = std::exchange(problem_, opened.Error());
    if (opened) {
        statusBoard_.AddLine(u"     Pages are served at %1"_s.arg(Location()));
    } else if (problem_ != before) {
        statusBoard_.AddLine(u"     No pages are served: %1"_s.arg(problem_));
    }
}

Outcome WebServer::Open() {
    Outcome listening = acceptor_.Listen(setup_.address, setup_.port);
    if (!listening) return listening;
    daemon_ = MHD_start_daemon(
        MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr,
        &Callbacks::OnRequest, this, MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
        MHD_OPTION_PER_IP_CONNECTION_LIMIT, kMostOfOneAddress, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        kConnectionMemory, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::OnTarget,
        this, MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::OnConnection, this, MHD_OPTION_NOTIFY_COMPLETED,
        &Callbacks::OnCompleted, this, MHD_OPTION_END);
    if (daemon_ == nullptr) {
        acceptor_.Close();
        return Outcome::Failure(u"the system lacks what a server takes"_s);
    }
    const int epoll = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    notifier_ = std::make_unique<QSocketNotifier>(epoll, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &WebServer::Run);
    TakeAsManyAsThereMayBe();
    return Outcome::Success();
}

void WebServer::TakeConnection(int descriptor) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0) {
        close(descriptor);
        return;
    }
    // The library closes one that is too many of its address.
    (void)MHD_add_connection(daemon_, descriptor, reinterpret_cast<const sockaddr*>(&peer), size);
    TakeAsManyAsThereMayBe();
    RunSoon();
}

/// Who comes when there are as many as there may be waits until somebody goes.
void WebServer::TakeAsManyAsThereMayBe() {
    acceptor_.SetTaking(connections_.size() < kMostConnections);
}

void WebServer::Tell(const QString& text) {
    statusBoard_.AddLine(u"     "_s + text);
    errorLog_.LogError(0, text, u"Pages"_s);
}

void WebServer::Stop() {
    if (daemon_ == nullptr) return;
    // The library wants nobody suspended when it stops.
    for (const auto& [handle, connection] : connections_) {
        if (connection->exchange == nullptr) continue;
        if (connection->exchange->stream != nullptr) {
            connection->exchange->stream->End();
        } else if (connection->exchange->suspended) {
            connection->exchange->reply = WebReply::Text(MHD_HTTP_SERVICE_UNAVAILABLE, "The server stops.\n");
            Resume(*connection->exchange);
        }
    }
    acceptor_.Close();
    notifier_.reset();
    MHD_run(daemon_);
    MHD_stop_daemon(std::exchange(daemon_, nullptr));
    connections_.clear();
}

void WebServer::Run() {
    runDue_ = false;
    if (daemon_ == nullptr) return;
    MHD_run(daemon_);
    MHD_UNSIGNED_LONG_LONG wait = 0;
    if (MHD_get_timeout(daemon_, &wait) == MHD_YES && wait == 0) RunSoon();
}

void WebServer::RunSoon() {
    if (std::exchange(runDue_, true)) return;
    QMetaObject::invokeMethod(this, &WebServer::Run, Qt::QueuedConnection);
}

void WebServer::Resume(Exchange& exchange) {
    if (exchange.connection == nullptr || !std::exchange(exchange.suspended, false)) return;
    MHD_resume_connection(exchange.connection);
    RunSoon();
}

void WebServer::Dispatch(const std::shared_ptr<Exchange>& exchange, std::string_view path) {
    MHD_Connection* connection = exchange->connection;
    const std::string token = setup_.token.toStdString();
    const std::string cookieName = setup_.CookieName();
    const WebCredentials credentials{
        .host = RequestValue(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_HOST),
        .token = RequestValue(connection, MHD_GET_ARGUMENT_KIND, "token"),
        .cookie = RequestValue(connection, MHD_COOKIE_KIND, cookieName.c_str()),
        .authorization = RequestValue(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_AUTHORIZATION)};
    const WebAccess access = JudgeAccess(credentials, token);
    if (access == WebAccess::NeedsToken) {
        exchange->reply = WebReply::Text(MHD_HTTP_UNAUTHORIZED, kNeedsToken);
        return;
    }
    if (access == WebAccess::WrongToken) {
        const Connection& sender = *connections_.at(connection);
        const std::int64_t delay = wrongTokens_.Note(sender.peer, clock_.Monotonic());
        ReportWrongTokens();
        RefuseToken(exchange, delay);
        return;
    }
    if (access == WebAccess::WrongHost) {
        exchange->reply =
            WebReply::Text(MHD_HTTP_MISDIRECTED_REQUEST,
                           "Without a token, pages are served by number or as localhost only.\n");
        return;
    }
    if (path == "/events") {
        exchange->reply = JoinEvents(exchange);
    } else if (path == "/history.json") {
        ReadHistory(exchange);
    } else if (path == "/ledger.json") {
        ReadLedger(exchange);
    } else if (path == "/live.json") {
        exchange->reply = WebReply::Json(MHD_HTTP_OK, readings_(std::nullopt));
    } else if (path == "/metrics" && settings_.IsOn(kMetricsEnabled)) {
        exchange->reply = ReadMetrics(connection);
    } else if (path == "/live.xml") {
        exchange->reply =
            WebReply{.type = "application/xml; charset=utf-8", .body = LiveXml(readings_(std::nullopt))};
    } else if (auto page = WebPage(path); page.has_value()) {
        exchange->reply = std::move(page);
        if (access == WebAccess::ByAddress) {
            exchange->reply->status = MHD_HTTP_SEE_OTHER;
            exchange->location = path;
            exchange->cookie =
                cookieName + "=" + token + "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Strict";
        }
    } else {
        exchange->reply = WebReply::Text(MHD_HTTP_NOT_FOUND, "There is no such page.\n");
    }
}

QCoro::Task<> WebServer::RefuseToken(std::shared_ptr<Exchange> exchange, std::int64_t delay) {
    (void)co_await clock_.DLY(delay);
    exchange->reply = WebReply::Text(MHD_HTTP_UNAUTHORIZED, kNeedsToken);
    Resume(*exchange);
}

void WebServer::ReportWrongTokens() {
    const QString report = wrongTokens_.TakeReport(clock_.Monotonic());
    if (!report.isEmpty()) Tell(report);
}

WebReply WebServer::ReadMetrics(MHD_Connection* connection) const {
    const bool openMetrics = RequestValue(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_ACCEPT)
                                 .find("application/openmetrics-text") != std::string_view::npos;
    return {.type = openMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                : "text/plain; version=0.0.4; charset=utf-8",
            .body = metrics_(openMetrics ? MetricsFormat::OpenMetrics : MetricsFormat::Prometheus)};
}

WebReply WebServer::JoinEvents(const std::shared_ptr<Exchange>& exchange) {
    // Held by the stream, which the exchange holds: looked for again at each call.
    const auto wake = [waiting = std::weak_ptr(exchange)] {
        const auto reader = waiting.lock();
        if (reader == nullptr || reader->connection == nullptr || reader->stream == nullptr) return;
        WebServer& server = reader->server;
        if (reader->stream->Ended())
            server.connections_.at(reader->connection)->deadline =
                server.clock_.Monotonic() + kRequestPatience;
        server.Resume(*reader);
    };
    exchange->stream = events_.Join(wake);
    if (exchange->stream == nullptr)
        return WebReply::Text(MHD_HTTP_SERVICE_UNAVAILABLE, "Too many listen already.\n");
    return {.type = kEventStream};
}

QCoro::Task<> WebServer::ReadLedger(std::shared_ptr<Exchange> exchange) {
    const auto arguments = RequestArguments(exchange->connection, {"from", "to"});
    const auto query = LedgerQueryOf(arguments[u"from"_s], arguments[u"to"_s]);
    if (!query) {
        exchange->reply =
            WebReply::Json(MHD_HTTP_BAD_REQUEST, {{u"error"_s, u"Dates are entered as yyyy-mm-dd."_s}});
        co_return;
    }
    const Ledger::Listing listing = co_await ledger_.List(*query);
    exchange->reply = listing.error.isEmpty()
                          ? WebReply::Json(MHD_HTTP_OK, LedgerDocument(listing.entries))
                          : WebReply::Json(MHD_HTTP_SERVICE_UNAVAILABLE, {{u"error"_s, listing.error}});
    Resume(*exchange);
}

QCoro::Task<> WebServer::ReadHistory(std::shared_ptr<Exchange> exchange) {
    const auto arguments =
        RequestArguments(exchange->connection, {"device", "channel", "from", "to", "step"});
    auto query = HistoryQuery::Parse(arguments, slots_);
    if (const auto* error = std::get_if<QString>(&query)) {
        exchange->reply = WebReply::Json(MHD_HTTP_BAD_REQUEST, {{u"error"_s, *error}});
        co_return;
    }
    exchange->reply = co_await history_.Read(std::get<HistoryQuery>(std::move(query)));
    Resume(*exchange);
}

void WebServer::EndOverdue() {
    for (const auto& [handle, connection] : connections_) {
        if (connection->deadline != 0 && clock_.Monotonic() >= connection->deadline)
            shutdown(connection->descriptor, SHUT_RDWR);  // the library then finds it closed
    }
    ReportWrongTokens();
}

}  // namespace corvane
