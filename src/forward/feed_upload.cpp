#include "forward/feed_upload.h"

#include <QDir>
#include <QJsonArray>
#include <QUrl>

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "forward/network_reply.h"
#include "measure/measurement.h"
#include "store/channel_labels.h"
#include "store/line_file.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kQueueFile = u"VRQ5810Pacpost.txt"_s;
const QString kCannotSend = u"Cannot send. The KEY, FEED or TITLE is not valid."_s;

constexpr int kSuccess = 200;
constexpr qsizetype kResultsKept = 1000;  // lines of that file
constexpr qint64 kLongestAnswer = 1000;   ///< bytes of a response text that are told

constexpr OutputNames kFeedNames = {.word = "feed", .name = "Feed", .log = "Results", .ownCommands = true};

constexpr Setting kFeedSettings[] = {kFeedEnable, kFeedKey,      kFeedNumber,      kFeedTitle,
                                     kFeedHost,   kFeedInterval, kFeedChannelList, kLastFeedChannel};

constexpr OutputChoice kFeedChoices[] = {
    {.setting = &kFeedEnable, .word = "on", .offWord = "off", .label = "Send to the feed"},
    {.setting = &kFeedKey, .word = "key", .label = "API key"},
    {.setting = &kFeedNumber, .word = "feed", .label = "Feed number"},
    {.setting = &kFeedTitle, .word = "title", .label = "Title"},
    {.setting = &kFeedHost, .word = "host"},
    {.setting = &kFeedInterval, .word = "interval", .label = "Seconds between uploads"},
};

/// Whether key, feed and title are such that something can be sent.
bool CanSend(const SettingValues& values) {
    QString feed = values.Value(kFeedNumber);
    QString title = values.Value(kFeedTitle);
    return !values.Value(kFeedKey).isEmpty() && CheckFeedNumber(feed, values) &&
           CheckFeedTitle(title, values);
}

}  // namespace

Outcome CheckFeedSwitch(QString& text, const SettingValues& values) {
    Setting anySwitch = kFeedEnable;
    anySwitch.check = nullptr;
    Outcome checked = CheckSetting(anySwitch, text, values);
    if (!checked || text == "False"_L1 || CanSend(values)) return checked;
    return Outcome::Failure(u"Cannot enable. The KEY, FEED or TITLE is not valid."_s);
}

Outcome CheckFeedKey(QString& text, const SettingValues&) {
    const bool odd = std::ranges::any_of(text, [](QChar c) { return c.isSpace() || !c.isPrint(); });
    return odd ? Outcome::Failure(u"The KEY must not have blanks in it."_s) : Outcome::Success();
}

Outcome CheckFeedNumber(QString& text, const SettingValues&) {
    const bool digits =
        !text.isEmpty() && std::ranges::all_of(text, [](QChar c) { return c >= u'0' && c <= u'9'; });
    return digits ? Outcome::Success() : Outcome::Failure(u"The \"FEED URL\" must be a numeric value."_s);
}

Outcome CheckFeedTitle(QString& text, const SettingValues&) {
    return text.trimmed().isEmpty() ? Outcome::Failure(u"A pachube tilte is required."_s)
                                    : Outcome::Success();
}

Outcome CheckFeedHost(QString& text, const SettingValues&) {
    const QUrl url(text, QUrl::StrictMode);
    const bool web = url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
    if (!url.isValid() || !web || url.host().isEmpty() || url.hasQuery() || url.hasFragment() ||
        text.endsWith(u'/')) {
        return Outcome::Failure(u"The host is an address such as https://example.org, without a slash."_s);
    }
    return Outcome::Success();
}

Outcome CheckFeedInterval(QString& text, const SettingValues&) {
    const auto seconds = SettingNumber(kFeedInterval, text);
    if (!seconds.has_value()) {
        return Outcome::Failure(u"The interval is 1 to %1 seconds."_s.arg(kFeedInterval.most));
    }
    text = QString::number(*seconds);
    return Outcome::Success();
}

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
        if (IsKeyOf(kFeedInterval, key)) LoadInterval();
    });
    LoadInterval();
}

void FeedUpload::LoadInterval() {
    interval_ = settings_.Number(kFeedInterval);
}

const OutputNames& FeedUpload::Names() const {
    return kFeedNames;
}

std::span<const Setting> FeedUpload::Settings() const {
    return kFeedSettings;
}

std::span<const OutputChoice> FeedUpload::Choices() const {
    return kFeedChoices;
}

std::vector<OutputAction> FeedUpload::Actions() {
    return {{.word = "send", .caption = u"Send now"_s, .awaited = [this](Operator&) { return SendNow(); }},
            {.word = "setup", .caption = u"Set up datastreams"_s, .awaited = [this](Operator&) {
                 return SetUpNow();
             }}};
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
    if (!CanSend(settings_)) co_return Outcome::Failure(kCannotSend);
    co_return co_await PostToPachube();
}

QCoro::Task<Outcome> FeedUpload::SetUpNow() {
    if (!CanSend(settings_)) co_return Outcome::Failure(kCannotSend);
    co_return co_await PachubeSetup1();
}

QCoro::Task<Outcome> FeedUpload::Post(FeedUnit unit) {
    if (uploading_) co_return Outcome::Failure(u"An upload is still on its way; try again later."_s);
    if (!HasKey() || settings_.Value(kFeedNumber).isEmpty()) co_return Outcome::Failure(kCannotSend);
    uploading_ = true;
    lastPost_ = clock_.Monotonic();
    const Outcome result = co_await Put(FeedDocument(settings_.Value(kFeedTitle), Datastreams(), unit));
    uploading_ = false;
    failed_ = !result;
    co_return result;
}

QCoro::Task<Outcome> FeedUpload::Put(QByteArray document) {
    const QByteArray key = QUrl::toPercentEncoding(settings_.Value(kFeedKey));
    const QString address = settings_.Value(kFeedHost) + u"/v2/feeds/"_s + settings_.Value(kFeedNumber) +
                            u".xml?key="_s + QString::fromLatin1(key);
    QNetworkRequest request = PlainRequest(QUrl(address));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/xml; charset=utf-8"_s);
    const NetworkReply reply(network_.put(request, document));
    const bool waited = co_await AwaitAnswer(*reply, clock_, {.perStep = kPhaseTimeout});
    if (!waited) co_return Outcome::Failure(u"Not sent: the program closes."_s);
    const int status = StatusOf(*reply);
    if (status == 0) {
        const QString why = reply->isFinished() ? reply->errorString() : u"no answer within 10 seconds"_s;
        const QString line = u"Not sent: "_s + WithoutKey(why);
        log_.AddLine(line);
        co_return Outcome::Failure(line);
    }
    const bool cutOff = IsCutOff(*reply);
    const QString text = status == kSuccess ? u"Success"_s : QString::fromUtf8(reply->read(kLongestAnswer));
    QString result = u"%1 - %2"_s.arg(QString::number(status), WithoutKey(text.simplified()));
    if (cutOff) {
        result += u" (the answer is longer than %1 KiB and was cut off)"_s.arg(kMostOfAnswer / 1024);
    } else if (!reply->isFinished()) {
        result += u" (the rest of the answer did not come)"_s;
    }
    log_.AddLine(result);
    SavePacdata(result);
    co_return status == kSuccess ? Outcome::Success() : Outcome::Failure(result);
}

void FeedUpload::SavePacdata(const QString& result) const {
    const QString time = QString::fromStdString(DateTimeText(clock_.Now()));
    // The data were sent, and nothing depends on this file.
    (void)AppendToLastLines(QDir(folder_).filePath(kQueueFile), time + u'\t' + result, kResultsKept);
}

std::vector<Datastream> FeedUpload::Datastreams() {
    if (auto read = ReadStoredLabels(database_)) labels_ = std::move(*read);
    const FeedChannels channels = Channels();
    std::vector<Datastream> datastreams;
    for (std::size_t id = 0; id < channels.size(); ++id) {
        if (!channels[id].has_value()) continue;
        const auto [slot, channel] = *channels[id];
        const EnergyCounter& counter = measurement_.Readings(slot).channels[channel].absolute;
        datastreams.push_back({.id = static_cast<int>(id),
                               .value = static_cast<double>(counter.lastWatts.value_or(0)),
                               .label = labels_[slot][channel]});
    }
    return datastreams;
}

QString FeedUpload::WithoutKey(QString text) const {
    const QString key = settings_.Value(kFeedKey);
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
    settings_.Save(kFeedChannelList, FeedChannelsText(channels));
    settings_.Save(kLastFeedChannel, LastAssigned(channels));
    co_return Outcome::Success();
}

bool FeedUpload::Enabled() const {
    return settings_.IsOn(kFeedEnable);
}

OutputState FeedUpload::Standing() const {
    if (uploading_) return OutputState::Connecting;
    if (!Enabled()) return OutputState::Off;
    return failed_ ? OutputState::Backoff : OutputState::Up;
}

QString FeedUpload::Notice() const {
    return HasKey() ? u"A key is kept."_s : u"No key is kept."_s;
}

OutputStatus FeedUpload::Status() const {
    const QString feed = settings_.Value(kFeedNumber);
    const QString title = settings_.Value(kFeedTitle);
    OutputStatus status{.lines = {u"%1: %2, feed %3, title \"%4\", the key is %5"_s.arg(
                            Name(), OnOff(Enabled()), feed, title, HasKey() ? u"set"_s : u"not set"_s)},
                        .data = {{u"feed"_s, feed}, {u"title"_s, title}, {u"keySet"_s, HasKey()}}};
    const FeedChannels channels = Channels();
    QJsonArray datastreams;
    for (int id = 0; id <= LastAssigned(channels); ++id) {
        const auto& channel = channels[static_cast<std::size_t>(id)];
        if (!channel.has_value()) continue;
        status.lines.append(u"    %1 is %2"_s.arg(id).arg(channel->Text()));
        datastreams.append(QJsonObject{{u"id"_s, id}, {u"channel"_s, channel->Text()}});
    }
    status.data.insert(u"datastreams"_s, datastreams);
    return status;
}

bool FeedUpload::HasKey() const {
    return !settings_.Value(kFeedKey).isEmpty();
}

FeedChannels FeedUpload::Channels() const {
    const QString text = settings_.Value(kFeedChannelList);
    FeedChannels channels = ParseFeedChannels(text);
    const auto named = text.split(u';', Qt::SkipEmptyParts).size();
    const auto read = std::ranges::count_if(channels, &std::optional<ChannelChoice>::has_value);
    if (named != read) {
        settings_.TellUnreadable(kFeedChannelList, {}, u"a list of channels such as A:CH1;;B:AUX3"_s,
                                 u"what is not one is not sent"_s);
    }
    return channels;
}

}  // namespace corvane
