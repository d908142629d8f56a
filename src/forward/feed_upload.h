// The upload of live values to a feed: one document with all datastreams, put in the place of the last one.
#pragma once

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "base/setting.h"
#include "base/status_board.h"
#include "forward/feed_channels.h"
#include "forward/feed_document.h"
#include "forward/output.h"
#include "store/channel_labels.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class Measurement;
class Operator;
class SettingsStore;

Outcome CheckFeedSwitch(QString& text, const SettingValues& values);
Outcome CheckFeedKey(QString& text, const SettingValues& values);
Outcome CheckFeedNumber(QString& text, const SettingValues& values);
Outcome CheckFeedTitle(QString& text, const SettingValues& values);
Outcome CheckFeedHost(QString& text, const SettingValues& values);
Outcome CheckFeedInterval(QString& text, const SettingValues& values);

inline constexpr Setting kFeedEnable{.key = "PacEnable",
                                     .kind = SettingKind::Switch,
                                     .fallback = "False",
                                     .check = CheckFeedSwitch,
                                     .help = "Whether the feed is sent by itself."};
inline constexpr Setting kFeedKey{.key = "PachubeKey",
                                  .check = CheckFeedKey,
                                  .privacy = SettingPrivacy::Secret,
                                  .help = "The key of the feed; never shown."};
inline constexpr Setting kFeedNumber{
    .key = "PachubeFeed", .check = CheckFeedNumber, .help = "The number of the feed."};
inline constexpr Setting kFeedTitle{
    .key = "PacTitle", .check = CheckFeedTitle, .help = "The title of the feed."};
inline constexpr Setting kFeedHost{.key = "PacHost",
                                   .fallback = "https://api.pachube.com",
                                   .check = CheckFeedHost,
                                   .help = "The address of the feed's service."};
inline constexpr Setting kFeedInterval{.key = "PacInterval",
                                       .kind = SettingKind::Number,
                                       .fallback = "60",
                                       .least = 1,
                                       .most = 86'400,
                                       .check = CheckFeedInterval,
                                       .help = "Seconds from one upload to the next, 1 to 86400."};
inline constexpr Setting kFeedChannelList{.key = "PacChan",
                                          .by = SettingBy::Command,
                                          .help = "Channels of the datastreams 0 to 50: A:CH1;;B:AUX3."};
inline constexpr Setting kLastFeedChannel{.key = "TicEndIndex",
                                          .by = SettingBy::Program,
                                          .help = "The number of the last datastream that has a channel."};

/// There is one upload at a time. The key goes into the address of the request and nowhere else: in every
/// text that comes from here it is blotted out.
class FeedUpload : public QObject, public Output {
    Q_OBJECT

public:
    static constexpr std::int64_t kPhaseTimeout = 10'000;  ///< ms each to resolve, connect, send, receive

    FeedUpload(const Measurement& measurement, const CaptureDatabase& database, SettingsStore& settings,
               QString folder, Clock& clock);

    [[nodiscard]] const OutputNames& Names() const override;
    [[nodiscard]] std::span<const Setting> Settings() const override;
    [[nodiscard]] std::span<const OutputChoice> Choices() const override;
    [[nodiscard]] std::vector<OutputAction> Actions() override;

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

    [[nodiscard]] bool Enabled() const override;
    [[nodiscard]] OutputState Standing() const override;

    /// Whether a key is kept.
    [[nodiscard]] QString Notice() const override;

    [[nodiscard]] OutputStatus Status() const override;
    [[nodiscard]] bool HasKey() const;
    [[nodiscard]] FeedChannels Channels() const;

    /// The log box: "200 - Success" and the like.
    [[nodiscard]] const StatusBoard* Log() const override { return &log_; }

private:
    [[nodiscard]] std::vector<Datastream> Datastreams();
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
    std::map<int, ChannelLabels> labels_;  ///< as they were last read
    bool uploading_ = false;
    bool failed_ = false;    ///< the last upload
    int interval_ = 0;       ///< seconds
    std::int64_t lastPost_;  ///< monotonic ms; at first that of the start
};

}  // namespace corvane
