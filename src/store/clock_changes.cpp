#include "store/clock_changes.h"

#include <QDateTime>

#include <cstdlib>
#include <utility>

#include "base/clock.h"
#include "base/status_board.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString UtcText(std::int64_t unixSeconds) {
    return QDateTime::fromSecsSinceEpoch(unixSeconds, Qt::UTC).toString(Qt::ISODate);
}

QString LocalText(std::int64_t unixSeconds) {
    return QString::fromStdString(DateTimeText(LocalTimeAt(unixSeconds)));
}

}  // namespace

ClockChanges::ClockChanges(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock)
    : settings_(settings), board_(board), errorLog_(errorLog), clock_(clock), lead_(Lead()) {
    LoadTrial();
    connect(&clock, &Clock::SecondPassed, this, &ClockChanges::Look);
}

std::optional<LocalTime> ClockChanges::TrustedFrom() const {
    if (!trial_.has_value() || trial_->By() < kLeast) return std::nullopt;
    return LocalTimeAt(trial_->to + kTrial);
}

std::int64_t ClockChanges::Lead() const {
    return clock_.Now().unixSeconds - clock_.Monotonic() / 1000;
}

void ClockChanges::Look() {
    const std::int64_t lead = Lead();
    const std::int64_t moved = lead - std::exchange(lead_, lead);
    const std::int64_t now = clock_.Now().unixSeconds;
    if (std::abs(moved) >= kLeast) return Take({.from = now - moved, .to = now});
    if (!trial_.has_value()) return;
    const bool setBackMeanwhile = now < trial_->to - kLeast;  // while the program did not run
    if (setBackMeanwhile || now >= trial_->to + kTrial) EndTrial();
}

void ClockChanges::Take(Change change) {
    const QString text = u"The clock was set %1, from %2 to %3."_s.arg(
        change.By() > 0 ? u"forward"_s : u"back"_s, LocalText(change.from), LocalText(change.to));
    board_.AddLine(u"     "_s + text);
    errorLog_.LogError(0, text, u"Clock"_s);

    if (trial_.has_value()) change.from -= trial_->By();
    if (std::abs(change.By()) < kLeast) return EndTrial();
    trial_ = change;
    settings_.Save(kClockSetForward,
                   change.By() > 0 ? UtcText(change.from) + u'/' + UtcText(change.to) : QString());
}

void ClockChanges::EndTrial() {
    trial_.reset();
    settings_.Save(kClockSetForward, u""_s);
}

/// The program ended before the trial did, or so it seems: the next second tells.
void ClockChanges::LoadTrial() {
    const QString kept = settings_.Value(kClockSetForward);
    if (kept.isEmpty()) return;
    const auto from = QDateTime::fromString(kept.section(u'/', 0, 0), Qt::ISODate);
    const auto to = QDateTime::fromString(kept.section(u'/', 1), Qt::ISODate);
    const std::int64_t now = clock_.Now().unixSeconds;
    trial_ = {.from = now - kLeast, .to = now};  // where it cannot be read
    if (from.isValid() && to.isValid()) trial_ = {from.toSecsSinceEpoch(), to.toSecsSinceEpoch()};
}

}  // namespace corvane
