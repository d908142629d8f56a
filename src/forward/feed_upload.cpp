#include "forward/feed_upload.h"

#include <QDir>
#include <QFile>
#include <QNetworkReply>
#include <QUrl>

#include <algorithm>
#include <functional>
#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "base/wait_until.h"
#include "forward/network_reply.h"
#include "measure/measurement.h"
#include "store/channel_labels.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kFeedEnableKey = u"PacEnable"_s;
const QString kFeedKey = u"PachubeFeed"_s;
const QString kTitleKey = u"PacTitle"_s;
const QString kChannelsKey = u"PacChan"_s;
const QString kLastIndexKey = u"TicEndIndex"_s;
const QString kFeedHostKey = u"PacHost"_s;
const QString kIntervalKey = u"PacInterval"_s;
const QString kDefaultHost = u"https://api.pachube.com"_s;
const QString kQueueFile = u"VRQ5810Pacpost.txt"_s;
const QString kCannotSend = u"Cannot send. The KEY, FEED or TITLE is not valid."_s;

constexpr int kSuccess = 200;
constexpr qint64 kLongestAnswer = 1000;  ///< bytes of a response text that are told

/// Puts back `since` whenever the request has come a step further, as long as `context` lives.
void FollowSteps(QNetworkReply& reply, const Clock& clock, const QObject& context, std::int64_t& since) {
    const auto step = [&clock, &since] { since = clock.Monotonic(); };
    QObject::connect(&reply, &QNetworkReply::socketStartedConnecting, &context, step);
    QObject::connect(&reply, &QNetworkReply::requestSent, &context, step);
    QObject::connect(&reply, &QNetworkReply::uploadProgress, &context, step);
}

}  // namespace

FeedUpload::FeedUpload(const Measurement& measurement, const CaptureDatabase& database,
                       SettingsStore& settings, QString folder, Clock& clock)
    : measurement_(measurement),
      database_(database),
      settings_(settings),
      folder_(std::move(folder)),
      clock_(clock),
      lastPost_(clock.Monotonic()) {
    // The answer must be the service's own, and the key is for its eyes alone.
    network_.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    connect(&clock, &Clock::SecondPassed, this, &FeedUpload::OnSecond);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (key.compare(kIntervalKey, Qt::CaseInsensitive) == 0) LoadInterval();
    });
    LoadInterval();
}

void FeedUpload::LoadInterval() {
    interval_ = settings_.GetNumber(kIntervalKey, kDefaultInterval, 1, kLongestInterval);
}

void FeedUpload::OnSecond() {
    const bool due = clock_.Monotonic() - lastPost_ >= std::int64_t{interval_} * 1000;
    if (due && !uploading_ && Enabled()) PostToPachube();
}

QCoro::Task<Outcome> FeedUpload::PostToPachube() {
    co_return co_await Post(kValueUnit);
}

QCoro::Task<Outcome> FeedUpload::PachubeSetup1() {
    co_return co_await Post(kSetUpUnit);
}

QCoro::Task<Outcome> FeedUpload::SendNow() {
    if (!Valid()) co_return Outcome::Failure(kCannotSend);
    co_return co_await PostToPachube();
}

QCoro::Task<Outcome> FeedUpload::SetUpNow() {
    if (!Valid()) co_return Outcome::Failure(kCannotSend);
    co_return co_await PachubeSetup1();
}

QCoro::Task<Outcome> FeedUpload::Post(FeedUnit unit) {
    if (uploading_) co_return Outcome::Failure(u"An upload is still on its way; try again later."_s);
    if (!HasKey() || settings_.GetSetting(kFeedKey).isEmpty()) co_return Outcome::Failure(kCannotSend);
    uploading_ = true;
    lastPost_ = clock_.Monotonic();
    const Outcome result = co_await Put(FeedDocument(settings_.GetSetting(kTitleKey), Datastreams(), unit));
    uploading_ = false;
    co_return result;
}

QCoro::Task<Outcome> FeedUpload::Put(QByteArray document) {
    const QByteArray key = QUrl::toPercentEncoding(settings_.GetSetting(kKeyKey));
    const QString address = settings_.GetSetting(kFeedHostKey, kDefaultHost) + u"/v2/feeds/"_s +
                            settings_.GetSetting(kFeedKey) + u".xml?key="_s + QString::fromLatin1(key);
    QNetworkRequest request{QUrl(address)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/xml; charset=utf-8"_s);
    const NetworkReply reply(network_.put(request, document));
    reply->setReadBufferSize(kLongestAnswer * 64);

    std::int64_t since = clock_.Monotonic();
    const QObject context;
    FollowSteps(*reply, clock_, context, since);
    const std::function<bool()> over = [this, &reply, &since] {
        return reply->isFinished() || clock_.Monotonic() - since >= kPhaseTimeout;
    };
    const bool waited = co_await WaitUntil(clock_, over);
    if (!waited) co_return Outcome::Failure(u"Not sent: the program closes."_s);
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (!reply->isFinished() || status == 0) {
        const QString why = reply->isFinished() ? reply->errorString() : u"no answer within 10 seconds"_s;
        const QString line = u"Not sent: "_s + WithoutKey(why);
        log_.AddLine(line);
        co_return Outcome::Failure(line);
    }
    const QString text = status == kSuccess ? u"Success"_s : QString::fromUtf8(reply->read(kLongestAnswer));
    const QString result = u"%1 - %2"_s.arg(QString::number(status), WithoutKey(text.simplified()));
    log_.AddLine(result);
    SavePacdata(result);
    co_return status == kSuccess ? Outcome::Success() : Outcome::Failure(result);
}

void FeedUpload::SavePacdata(const QString& result) const {
    QFile file(QDir(folder_).filePath(kQueueFile));
    if (!file.open(QIODevice::Append)) return;  // the data were sent; nothing depends on this file
    const QString time = QString::fromStdString(DateTimeText(clock_.Now()));
    file.write((time + u'\t' + result + u'\n').toUtf8());
}

std::vector<Datastream> FeedUpload::Datastreams() const {
    auto labels = ReadStoredLabels(database_);
    const FeedChannels channels = Channels();
    std::vector<Datastream> datastreams;
    for (std::size_t id = 0; id < channels.size(); ++id) {
        if (!channels[id].has_value()) continue;
        const auto [slot, channel] = *channels[id];
        const EnergyCounter& counter = measurement_.Readings(slot).channels[channel].absolute;
        datastreams.push_back({.id = static_cast<int>(id),
                               .value = static_cast<double>(counter.lastWatts.value_or(0)),
                               .label = labels[slot][channel]});
    }
    return datastreams;
}

QString FeedUpload::WithoutKey(QString text) const {
    const QString key = settings_.GetSetting(kKeyKey);
    const QString encoded = QString::fromLatin1(QUrl::toPercentEncoding(key));
    return text.replace(encoded, u"***"_s, Qt::CaseInsensitive).replace(key, u"***"_s, Qt::CaseInsensitive);
}

QCoro::Task<Outcome> FeedUpload::Assign(QString id, std::optional<QString> channel, Operator& op) {
    bool isNumber = false;
    const std::size_t index = id.toUInt(&isNumber);
    if (!isNumber || index >= kDatastreams) {
        co_return Outcome::Failure(u"The datastreams are numbered from 0 to %1."_s.arg(kDatastreams - 1));
    }
    std::optional<ChannelChoice> chosen;
    if (channel.has_value()) {
        chosen = ChannelChoice::Parse(*channel);
        if (!chosen.has_value()) {
            co_return Outcome::Failure(u"A channel is named by its device and itself: A:CH1, B:AUX3."_s);
        }
    }
    if (const auto before = Channels()[index]; before.has_value() && before != chosen) {
        const bool sure =
            co_await op.AskYesNo(u"Are you sure you want to change this datastream assignment?"_s);
        if (!sure) co_return Outcome::Success();
    }
    FeedChannels channels = Channels();
    channels[index] = chosen;
    settings_.SaveSetting(kChannelsKey, FeedChannelsText(channels));
    settings_.SaveSetting(kLastIndexKey, QString::number(LastAssigned(channels)));
    co_return Outcome::Success();
}

Outcome FeedUpload::SetEnabled(bool on) {
    if (on && !Valid()) {
        return Outcome::Failure(u"Cannot enable. The KEY, FEED or TITLE is not valid."_s);
    }
    settings_.SaveSetting(kFeedEnableKey, on);
    return Outcome::Success();
}

Outcome FeedUpload::SetKey(const QString& text) {
    const bool odd = std::ranges::any_of(text, [](QChar c) { return c.isSpace() || !c.isPrint(); });
    if (odd) return Outcome::Failure(u"The KEY must not have blanks in it."_s);
    settings_.SaveSetting(kKeyKey, text);
    return Outcome::Success();
}

Outcome FeedUpload::SetFeed(const QString& text) {
    if (Outcome valid = ValidFeed(text); !valid) return valid;
    settings_.SaveSetting(kFeedKey, text);
    return Outcome::Success();
}

Outcome FeedUpload::SetTitle(const QString& text) {
    if (Outcome valid = ValidTitle(text); !valid) return valid;
    settings_.SaveSetting(kTitleKey, text);
    return Outcome::Success();
}

Outcome FeedUpload::SetHost(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    const bool web = url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
    if (!url.isValid() || !web || url.host().isEmpty() || url.hasQuery() || url.hasFragment() ||
        text.endsWith(u'/')) {
        return Outcome::Failure(u"The host is an address such as https://example.org, without a slash."_s);
    }
    settings_.SaveSetting(kFeedHostKey, text);
    return Outcome::Success();
}

Outcome FeedUpload::SetInterval(const QString& text) {
    bool isNumber = false;
    const int seconds = text.toInt(&isNumber);
    if (!isNumber || seconds < 1 || seconds > kLongestInterval) {
        return Outcome::Failure(u"The interval is 1 to %1 seconds."_s.arg(kLongestInterval));
    }
    settings_.SaveSetting(kIntervalKey, QString::number(seconds));
    return Outcome::Success();
}

Outcome FeedUpload::ValidFeed(const QString& text) {
    const bool digits =
        !text.isEmpty() && std::ranges::all_of(text, [](QChar c) { return c >= u'0' && c <= u'9'; });
    return digits ? Outcome::Success() : Outcome::Failure(u"The \"FEED URL\" must be a numeric value."_s);
}

Outcome FeedUpload::ValidTitle(const QString& text) {
    return text.trimmed().isEmpty() ? Outcome::Failure(u"A pachube tilte is required."_s)
                                    : Outcome::Success();
}

bool FeedUpload::Valid() const {
    return HasKey() && ValidFeed(settings_.GetSetting(kFeedKey)) &&
           ValidTitle(settings_.GetSetting(kTitleKey));
}

bool FeedUpload::Enabled() const {
    return settings_.GetBool(kFeedEnableKey, false);
}

bool FeedUpload::HasKey() const {
    return !settings_.GetSetting(kKeyKey).isEmpty();
}

FeedChannels FeedUpload::Channels() const {
    return ParseFeedChannels(settings_.GetSetting(kChannelsKey));
}

}  // namespace corvane
