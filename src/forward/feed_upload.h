// The upload of live values to a feed: one document with all datastreams, put in the place of the last one.
#pragma once

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

#include "base/outcome.h"
#include "base/status_board.h"
#include "forward/feed_channels.h"
#include "forward/feed_document.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class Measurement;
class Operator;
class SettingsStore;

/// There is one upload at a time. The key goes into the address of the request and nowhere else: in every
/// text that comes from here it is blotted out.
class FeedUpload : public QObject {
    Q_OBJECT

public:
    static constexpr int kDefaultInterval = 60;            ///< seconds
    static constexpr int kLongestInterval = 86'400;        ///< seconds
    static constexpr std::int64_t kPhaseTimeout = 10'000;  ///< ms each to resolve, connect, send, receive
    static inline const QString kKeyKey = QStringLiteral("PachubeKey");

    FeedUpload(const Measurement& measurement, const CaptureDatabase& database, SettingsStore& settings,
               QString folder, Clock& clock);

    /// Sends the current values of the assigned channels. The failure tells the status and what the service
    /// answered, or why nothing was sent.
    QCoro::Task<Outcome> PostToPachube();

    /// Sends the document that sets the datastreams up.
    QCoro::Task<Outcome> PachubeSetup1();

    /// The same two, asked for by a user: refused unless key, feed and title are valid.
    QCoro::Task<Outcome> SendNow();
    QCoro::Task<Outcome> SetUpNow();

    /// Assigns a channel to a datastream, or none. Asks before an assignment is changed; then and on No all
    /// stays as it is.
    QCoro::Task<Outcome> Assign(QString id, std::optional<QString> channel, Operator& op);

    // Check and save a choice of the user, in force at once.
    Outcome SetEnabled(bool on);
    Outcome SetKey(const QString& text);
    Outcome SetFeed(const QString& text);
    Outcome SetTitle(const QString& text);
    Outcome SetHost(const QString& text);
    Outcome SetInterval(const QString& text);

    [[nodiscard]] static Outcome ValidFeed(const QString& text);
    [[nodiscard]] static Outcome ValidTitle(const QString& text);

    [[nodiscard]] bool Enabled() const;
    [[nodiscard]] bool HasKey() const;
    [[nodiscard]] FeedChannels Channels() const;

    /// The log box: "200 - Success" and the like.
    [[nodiscard]] const StatusBoard& Log() const { return log_; }

private:
    [[nodiscard]] bool Valid() const;
    [[nodiscard]] std::vector<Datastream> Datastreams() const;
    [[nodiscard]] QString WithoutKey(QString text) const;
    void LoadInterval();
    void OnSecond();
    QCoro::Task<Outcome> Post(FeedUnit unit);
    QCoro::Task<Outcome> Put(QByteArray document);
    void SavePacdata(const QString& result) const;

    const Measurement& measurement_;
    const CaptureDatabase& database_;
    SettingsStore& settings_;
    QString folder_;
    Clock& clock_;
    QNetworkAccessManager network_;
    StatusBoard log_;
    bool uploading_ = false;
    int interval_ = kDefaultInterval;  ///< seconds
    std::int64_t lastPost_;            ///< monotonic ms; at first that of the start
};

}  // namespace corvane
