// The live values of every packet as an HTTP GET request to a web server of the user's own.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <cstdint>
#include <string>

#include "base/setting.h"
#include "base/status_board.h"
#include "forward/connection_check.h"
#include "forward/output.h"
#include "link/tcp_socket.h"
#include "measure/readings_sink.h"

namespace corvane {

class Clock;
class SettingsStore;

Outcome CheckGetHost(QString& text, const SettingValues& values);
Outcome CheckGetPath(QString& text, const SettingValues& values);
Outcome CheckGetLayout(QString& text, const SettingValues& values);

inline constexpr Setting kGetEnable{.key = "GetEnable",
                                    .kind = SettingKind::Switch,
                                    .fallback = "False",
                                    .help = "Whether every packet becomes a GET request."};
inline constexpr Setting kGetHost{.key = "GetURL",
                                  .check = CheckGetHost,
                                  .privacy = SettingPrivacy::Personal,
                                  .help = "The web server of the GET requests: HOST or HOST:PORT."};
inline constexpr Setting kGetPath{.key = "GetURLext",
                                  .check = CheckGetPath,
                                  .privacy = SettingPrivacy::Personal,
                                  .help = "The path on that web server."};
inline constexpr Setting kGetLayout{.key = "GetLayout",
                                    .kind = SettingKind::Number,
                                    .fallback = "1",
                                    .least = 1,
                                    .most = 2,
                                    .check = CheckGetLayout,
                                    .help = "The layout of the GET query, 1 or 2."};

class GetUpload : public QObject, public Output, public ReadingsSink {
    Q_OBJECT

public:
    static constexpr int kConnectSeconds = 3;
    static constexpr std::uint16_t kDefaultPort = 80;

    GetUpload(SettingsStore& settings, Clock& clock);

    [[nodiscard]] const OutputNames& Names() const override;
    [[nodiscard]] std::span<const Setting> Settings() const override;
    [[nodiscard]] std::span<const OutputChoice> Choices() const override;
    [[nodiscard]] std::vector<OutputAction> Actions() override;
    [[nodiscard]] ReadingsSink* Sink() override { return this; }
    void Close() override { socket_.Close(); }

    /// Sends the values where the upload is on and a host was chosen.
    void OnReadings(const DeviceReadings& readings) override;

    /// Sends one request with the query, connecting first where that is needed. The wait for the connection
    /// ends when the clock's second is three further on, on purpose not after a span of time. A query that
    /// comes during such a wait is dropped, and so is one whose wait was in vain, or for a host that was
    /// given up meanwhile.
    QCoro::Task<> PostToGET(std::string query);

    [[nodiscard]] bool Enabled() const override { return enabled_; }
    [[nodiscard]] OutputState Standing() const override;
    [[nodiscard]] SocketState State() const { return socket_.State(); }
    [[nodiscard]] QString StateText() const override { return SocketStateText(State()); }
    [[nodiscard]] OutputStatus Status() const override;

    /// The log text box: the requests sent, and what came in between.
    [[nodiscard]] const StatusBoard* Log() const override { return &log_; }

private:
    void LoadChoices();

    SettingsStore& settings_;
    Clock& clock_;
    TcpSocket socket_;
    ConnectionCheck check_;
    StatusBoard log_;
    bool enabled_ = false;
    bool secondLayout_ = false;
    bool connecting_ = false;
    bool failed_ = false;  ///< there was no connection for the last request
    QString host_;         ///< as it was entered, with the port
    QString path_;
};

/// The request, but for the empty line that ends it.
[[nodiscard]] std::string GetRequest(const std::string& path, const std::string& query,
                                     const std::string& host);

}  // namespace corvane
