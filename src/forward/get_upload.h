// The live values of every packet as an HTTP GET request to a web server of the user's own.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <cstdint>
#include <string>

#include "base/outcome.h"
#include "base/status_board.h"
#include "link/tcp_socket.h"
#include "measure/readings_sink.h"

namespace corvane {

class Clock;
class SettingsStore;

class GetUpload : public QObject, public ReadingsSink {
    Q_OBJECT

public:
    static constexpr int kConnectSeconds = 3;
    static constexpr std::uint16_t kDefaultPort = 80;

    GetUpload(SettingsStore& settings, Clock& clock);

    /// Sends the values where the upload is on and a host was chosen.
    void OnReadings(const DeviceReadings& readings) override;

    /// Sends one request with the query, connecting first where that is needed. The wait for the connection
    /// ends when the clock's second is three further on, on purpose not after a span of time. A query that
    /// comes during such a wait is dropped, and so is one whose wait was in vain.
    QCoro::Task<> PostToGET(std::string query);

    /// Check and save a choice of the user, which is in force from the next packet on.
    Outcome SetHost(const QString& text);    ///< HOST or HOST:PORT
    Outcome SetPath(const QString& text);    ///< may be empty
    Outcome SetLayout(const QString& text);  ///< 1 or 2

    [[nodiscard]] bool Enabled() const { return enabled_; }
    [[nodiscard]] const QString& Host() const { return host_; }
    [[nodiscard]] SocketState State() const { return socket_.State(); }

    /// The log text box: the requests sent, and what came in between.
    [[nodiscard]] const StatusBoard& Log() const { return log_; }

private:
    void LoadChoices();

    SettingsStore& settings_;
    Clock& clock_;
    TcpSocket socket_;
    StatusBoard log_;
    bool enabled_ = false;
    bool secondLayout_ = false;
    bool connecting_ = false;
    QString host_;  ///< as it was entered, with the port
    QString path_;
};

/// The request, but for the empty line that ends it.
[[nodiscard]] std::string GetRequest(const std::string& path, const std::string& query,
                                     const std::string& host);

}  // namespace corvane
