#include "store/upkeep/nightly_runs.h"

#include <exception>
#include <utility>

#include "base/clock.h"
#include "base/date_entry.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "store/capture_database.h"
#include "store/clock_changes.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/maintenance.h"

namespace corvane {

using namespace Qt::StringLiterals;

const NightlyRuns::Task NightlyRuns::kCondense = {
    .name = u"Automatic condense"_s,
    .enabled = kAutoCondense,
    .days = kAutoCondenseDays,
    .lastRun = kLastCondense,
    .label = u"This task is performed automatically at 12:00 am (midinight) when enabled."_s,
    .hour = 0,
    .condenses = true};

const NightlyRuns::Task NightlyRuns::kDelete = {
    .name = u"Automatic delete"_s,
    .enabled = kAutoDelete,
    .days = kAutoDeleteDays,
    .lastRun = kLastDelete,
    .label = u"This task is performed automatically at 1:00 am when enabled."_s,
    .hour = 1,
    .condenses = false};

namespace {

QString DoesNotRun(const NightlyRuns::Task& task) {
    return task.name + u" does not run"_s;
}

/// Nobody is there at night: what a task has to say goes to the status list.
class NightOperator final : public Operator {
public:
    NightOperator(StatusBoard& board, QString task) : board_(board), task_(std::move(task)) {}

    void Show(const QString& text) override {
        board_.AddLine(u"     %1: %2"_s.arg(task_, text.section(u'\n', 0, 0)));
    }
    QCoro::Task<Answer> Ask(Question question) override { co_return question.safe; }
    QCoro::Task<std::optional<QString>> AskText(QString) override { co_return std::nullopt; }

private:
    StatusBoard& board_;
    QString task_;
};

}  // namespace

NightlyRuns::NightlyRuns(Maintenance& maintenance, const CaptureDatabase& database, DatabaseWork& work,
                         const ClockChanges& clockChanges, SettingsStore& settings, StatusBoard& board,
                         ErrorLog& errorLog, Clock& clock)
    : maintenance_(maintenance),
      database_(database),
      work_(work),
      clockChanges_(clockChanges),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      clock_(clock) {}

void NightlyRuns::StartUp() {
    for (const Task* task : {&kCondense, &kDelete})
        if (IsOn(*task)) (void)Days(*task);  // one that cannot be read is told now, not in the night
    connect(&clock_, &Clock::SecondPassed, this, &NightlyRuns::Look);
}

bool NightlyRuns::IsOn(const Task& task) const {
    return settings_.IsOn(task.enabled);
}

QString NightlyRuns::DaysText(const Task& task) const {
    return settings_.Value(task.days);
}

std::optional<int> NightlyRuns::Days(const Task& task) const {
    return settings_.ReadNumber(task.days, DoesNotRun(task));
}

QString NightlyRuns::Hindrance(const Task& task) const {
    if (!IsOn(task)) return {};
    if (SettingNumber(task.days, DaysText(task))) return WaitText(task);
    return settings_.UnreadableText(task.days, {}, SettingValueText(task.days), DoesNotRun(task));
}

QDate NightlyRuns::Today() const {
    const LocalTime now = clock_.Now();
    return {now.year, now.month, now.day};
}

/// The last day on which the hour of the task has come.
QDate NightlyRuns::LatestDue(const Task& task) const {
    return clock_.Now().hour >= task.hour ? Today() : Today().addDays(-1);
}

void NightlyRuns::ForgetProgress() {
    if (!settings_.Value(kCondensedTo).isEmpty()) settings_.Save(kCondensedTo, u""_s);
}

Outcome NightlyRuns::Switch(const Task& task, bool on, const std::optional<QString>& days) {
    if (on || days.has_value()) {
        const QString entered = days.value_or(DaysText(task));
        if (const Outcome valid = Maintenance::CheckDays(entered); !valid) {
            return on ? Outcome::Failure(valid.Error() +
                                         u"\nImproper day value. Please correct and try again."_s)
                      : valid;
        }
        settings_.Save(task.days, static_cast<int>(*NumberEntry(entered)));
    }
    if (on && !IsOn(task)) settings_.Save(task.lastRun, DateText(LatestDue(task)));
    settings_.Save(task.enabled, on);
    return Outcome::Success();
}

QCoro::Task<Outcome> NightlyRuns::AskAndSwitch(const Task& task, bool on, std::optional<QString> days,
                                               Operator& op) {
    const auto count = SettingNumber(task.days, days.value_or(DaysText(task)));
    const auto before = IsOn(task) ? SettingNumber(task.days, DaysText(task)) : std::nullopt;
    if (on && count.has_value() && (!before.has_value() || *count < *before)) {
        Outcome agreed = co_await maintenance_.AskForNights(Today().addDays(-*count), task.condenses, op);
        if (!agreed) co_return agreed;
    }
    co_return Switch(task, on, days);
}

void NightlyRuns::Look() {
    if (running_ || work_.Running()) return;
    for (const Task* task : {&kCondense, &kDelete}) {
        if (!IsOn(*task)) continue;
        const auto last = ProperDate(settings_.Value(task->lastRun));
        const QDate due = LatestDue(*task);
        // A clock that was set back a little gives no second run; a day that is far ahead was a wrong
        // clock's.
        const bool done = last.has_value() && *last >= due && *last <= Today().addDays(1);
        if (done) continue;
        const auto days = Days(*task);
        if (!days) continue;
        if (clockChanges_.TrustedFrom().has_value()) {
            TellOfWait(*task);
            continue;
        }
        settings_.Save(task->lastRun, DateText(due));
        Run(*task, *days);
        return;
    }
}

/// Empty while the clock is trusted.
QString NightlyRuns::WaitText(const Task& task) const {
    const auto from = clockChanges_.TrustedFrom();
    if (!from.has_value()) return {};
    return u"%1 waits until %2, since the clock was set forward."_s.arg(
        task.name, QString::fromStdString(DateTimeText(*from)));
}

/// Of a task that is due: once for each time until which it waits.
void NightlyRuns::TellOfWait(const Task& task) {
    const QString text = WaitText(task);
    if (std::exchange(waitsTold_[task.condenses ? 1 : 0], text) == text) return;
    board_.AddLine(u"     "_s + text);
    errorLog_.LogError(0, text, u"Clock"_s);
}

QCoro::Task<> NightlyRuns::Run(const Task& task, int days) {
    running_ = true;
    NightOperator op(board_, task.name);
    const QDate firstKept = Today().addDays(-days);
    Outcome result;
    try {
        if (task.condenses) {
            result = co_await Condense(firstKept, op);
        } else {
            result = co_await maintenance_.DeleteBefore(firstKept, op);
        }
    } catch (const std::exception& error) {
        result = Outcome::Failure(QString::fromLocal8Bit(error.what()));
    }
    if (!result) {
        op.Show(result.Error());
        errorLog_.LogError(0, result.Error(), task.name);
    }
    running_ = false;
}

/// Condenses what came before the day `firstKept`, from where the last run left off.
QCoro::Task<Outcome> NightlyRuns::Condense(QDate firstKept, Operator& op) {
    const QDate start = CondensedTo().value_or(Maintenance::kBeforeAll);
    const QDate end = firstKept.addDays(-1);
    if (start >= end) co_return Outcome::Success();
    const std::string path = database_.databasePath();
    Outcome condensed = co_await maintenance_.Condense(start, end, op);
    if (condensed) settings_.Save(kCondensedTo, DateText(end) + u' ' + QString::fromStdString(path));
    co_return condensed;
}

/// Nothing where the file in use was never condensed, or by a clock that went wrong.
std::optional<QDate> NightlyRuns::CondensedTo() const {
    const QString kept = settings_.Value(kCondensedTo);
    const auto day = ProperDate(kept.section(u' ', 0, 0));
    const bool ofThisFile = kept.section(u' ', 1) == QString::fromStdString(database_.databasePath());
    return ofThisFile && day && *day <= Today() ? day : std::nullopt;
}

}  // namespace corvane
