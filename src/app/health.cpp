#include "app/health.h"

#include <QJsonArray>
#include <QLocale>

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "store/error_log.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString TimeText(const LocalTime& time) {
    return QString::fromStdString(DateTimeText(time));
}

QJsonValue OrNull(const std::optional<LocalTime>& time) {
    return time.has_value() ? QJsonValue(TimeText(*time)) : QJsonValue();
}

bool SaysTheSame(const HealthState& a, const HealthState& b) {
    return a.finding.id == b.finding.id && a.finding.severity == b.finding.severity &&
           a.finding.text == b.finding.text;
}

}  // namespace

QString SeverityText(Severity severity) {
    return severity == Severity::Error     ? u"error"_s
           : severity == Severity::Warning ? u"warning"_s
                                           : u"info"_s;
}

Health::Health(std::function<HealthReport()> look, ErrorLog& errorLog, Clock& clock)
    : look_(std::move(look)), errorLog_(errorLog), clock_(clock) {
    connect(&clock, &Clock::SecondPassed, this, &Health::Look);
}

std::optional<Severity> Health::Worst() const {
    return states_.empty() ? std::nullopt : std::optional(states_.front().finding.severity);
}

void Health::Look() {
    const std::int64_t now = clock_.Monotonic();
    for (auto& [id, watched] : watched_)
        watched.seen = false;
    HealthReport report = look_();
    figures_ = report.figures;
    for (Finding& finding : report.findings)
        Take(std::move(finding), now);
    Forget(now);

    std::vector<HealthState> states;
    for (const auto& [id, watched] : watched_)
        if (watched.since.has_value()) states.push_back({watched.finding, *watched.since});
    std::ranges::stable_sort(states, [](const HealthState& a, const HealthState& b) {
        return a.finding.severity != b.finding.severity ? a.finding.severity > b.finding.severity
                                                        : a.since.unixSeconds < b.since.unixSeconds;
    });
    const bool same = std::ranges::equal(states, states_, SaysTheSame);
    states_ = std::move(states);
    if (!same) Q_EMIT Changed();
}

void Health::Take(Finding finding, std::int64_t now) {
    const auto [entry, isNew] = watched_.try_emplace(finding.id);
    Watched& watched = entry->second;
    if (isNew) watched.firstSeen = now;
    const bool counted = watched.since.has_value();
    const bool counts = counted || now - watched.firstSeen >= finding.steadiness.after * 1000;
    if (!counted && counts) watched.since = clock_.Now();
    const bool isNews = counts && (!counted || watched.finding.severity != finding.severity);
    if (isNews && finding.severity != Severity::Info)
        Note(finding.remedy.isEmpty() ? finding.text : finding.text + u' ' + finding.remedy);
    watched.finding = std::move(finding);
    watched.lastSeen = now;
    watched.seen = true;
}

/// Drops what has been gone for long enough.
void Health::Forget(std::int64_t now) {
    std::erase_if(watched_, [this, now](const auto& each) {
        const Watched& watched = each.second;
        if (watched.seen) return false;
        if (now - watched.lastSeen < watched.finding.steadiness.gone * 1000) return false;
        if (watched.since.has_value() && watched.finding.severity != Severity::Info)
            Note(u"It is over: "_s + watched.finding.text);
        return true;
    });
}

void Health::Note(const QString& text) {
    errorLog_.LogError(0, text, u"Health"_s);
}

QString FiguresText(const HealthFigures& figures) {
    QStringList parts = {figures.recording ? u"Recording"_s : u"Not recording"_s};
    if (figures.lastRecord.has_value()) parts.append(u"last record "_s + TimeText(*figures.lastRecord));
    if (figures.queue > 0) parts.append(u"%1 waiting"_s.arg(figures.queue));
    if (figures.diskFree.has_value()) {
        QString disk = QLocale::c().formattedDataSize(*figures.diskFree, 1) + u" of disk left"_s;
        if (figures.diskDays.has_value()) disk += u", enough for %1 days"_s.arg(*figures.diskDays);
        parts.append(disk);
    }
    parts.append(figures.lastBackup.has_value() ? u"last backup "_s + TimeText(*figures.lastBackup)
                                                : u"no backup"_s);
    return parts.join(u"; "_s);
}

QStringList StateLines(const Health& health) {
    QStringList lines;
    for (const HealthState& state : health.States()) {
        lines.append(u"%1: %2"_s.arg(SeverityText(state.finding.severity).toUpper(), state.finding.text));
        if (!state.finding.remedy.isEmpty()) lines.append(u"    "_s + state.finding.remedy);
    }
    return lines;
}

QJsonObject HealthObject(const Health& health) {
    const HealthFigures& figures = health.Figures();
    QJsonArray states;
    for (const HealthState& state : health.States())
        states.append(QJsonObject{{u"id"_s, state.finding.id},
                                  {u"severity"_s, SeverityText(state.finding.severity)},
                                  {u"text"_s, state.finding.text},
                                  {u"remedy"_s, state.finding.remedy},
                                  {u"since"_s, TimeText(state.since)}});
    const QJsonObject disk{
        {u"free"_s, figures.diskFree.has_value() ? QJsonValue(qint64{*figures.diskFree}) : QJsonValue()},
        {u"days"_s, figures.diskDays.has_value() ? QJsonValue(*figures.diskDays) : QJsonValue()}};
    return {{u"recording"_s, figures.recording},
            {u"lastRecord"_s, OrNull(figures.lastRecord)},
            {u"queue"_s, figures.queue},
            {u"disk"_s, disk},
            {u"lastBackup"_s, OrNull(figures.lastBackup)},
            {u"states"_s, states}};
}

}  // namespace corvane
