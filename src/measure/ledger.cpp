#include "measure/ledger.h"

#include <QCoroSignal>

#include <algorithm>
#include <chrono>

#include "base/clock.h"
#include "base/status_board.h"
#include "link/device_texts.h"
#include "measure/measurement.h"
#include "measure/virtual_texts.h"
#include "store/error_log.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Nobody else has business in the file; who waits is tried again.
constexpr std::chrono::milliseconds kLockPatience{200};

/// What a person can do about it.
QString Remedy(const QString& error) {
    if (error == QLatin1StringView(QueryResult::kLocked)) return u"another program holds it; events wait"_s;
    if (error == u"database or disk is full"_s) return u"make room; events wait"_s;
    return u"where it cannot be mended it may be moved away or deleted: then a new one is begun; events wait"_s;
}

}  // namespace

Ledger::Ledger(const QString& folder, const Measurement& measurement, StatusBoard& board, ErrorLog& errorLog,
               Clock& clock)
    : path_(PathIn(folder)), board_(board), errorLog_(errorLog), clock_(clock) {
    connect(&measurement, &Measurement::Noted, this, &Ledger::Note);
    connect(&clock, &Clock::SecondPassed, this, &Ledger::Look);
}

Ledger::~Ledger() {
    closed_ = true;
    worker_.EndForGood();
}

void Ledger::StartUp() {
    Note({.kind = LedgerKind::Start, .time = clock_.Now()});
}

QCoro::Task<> Ledger::Close() {
    Note({.kind = LedgerKind::Stop, .time = clock_.Now()});
    (void)co_await Write();
    closed_ = true;
    worker_.EndForGood();
}

void Ledger::Note(const LedgerEntry& entry) {
    if (entry.IsDoubtfulCarry()) TellDoubt(entry);
    if (waiting_.size() < kMostWaiting) {
        waiting_.push_back(entry);
        if (entry.IsDoubtfulCarry()) doubtful_.push_back(entry);
    } else {
        ++lost_;
    }
    // All that a packet brings goes into the file together.
    QMetaObject::invokeMethod(this, &Ledger::Look, Qt::QueuedConnection);
}

void Ledger::OnReadings(const DeviceReadings& readings) {
    LastPacket& last = last_[static_cast<std::size_t>(readings.slot - 1)];
    LedgerEntry gap{
        .kind = LedgerKind::Gap, .time = readings.time, .slot = readings.slot, .serial = readings.serial};
    if (last.serial != readings.serial) {
        if (!heard_.contains(readings.serial)) Note(gap);  // since the program ran last
    } else if (const std::int64_t silence = (readings.at - last.at) / 1000; silence > kLeastGap) {
        gap.elapsedClock = silence;
        Note(gap);
    }
    last = {.serial = readings.serial, .at = readings.at};
    const std::int64_t now = readings.time.unixSeconds;
    HeardSpan& span = heard_.try_emplace(readings.serial, HeardSpan{.first = now}).first->second;
    span.slot = readings.slot;
    span.last = now;
    heardChanged_ = true;
}

void Ledger::Look() {
    if (writing_ || closed_) return;
    const std::int64_t sinceTried = clock_.Monotonic() - triedAt_;
    const bool due = !waiting_.empty() || (heardChanged_ && sinceTried >= kHeardEvery);
    if (due && (problem_.isEmpty() || sinceTried >= kRetry)) Write();
}

QCoro::Task<QueryResult> Ledger::Write() {
    while (writing_)
        co_await qCoro(this, &Ledger::JobEnded);
    writing_ = true;
    const std::vector<LedgerEntry> batch(waiting_.begin(), waiting_.end());
    heardChanged_ = false;
    QueryResult result = co_await Run(AddToLedger(path_.toStdString(), batch, heard_));
    writing_ = false;
    triedAt_ = clock_.Monotonic();
    NoteProblem(QString::fromStdString(result.errorText));
    if (result.Ok()) {
        waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(batch.size()));
        doubtful_.clear();
        std::ranges::transform(result.rows, std::back_inserter(doubtful_), LedgerEntryOf);
        std::ranges::copy_if(waiting_, std::back_inserter(doubtful_), &LedgerEntry::IsDoubtfulCarry);
        Q_EMIT Changed();
        if (!waiting_.empty()) QMetaObject::invokeMethod(this, &Ledger::Look, Qt::QueuedConnection);
    } else {
        heardChanged_ = true;
    }
    co_return result;
}

QCoro::Task<QueryResult> Ledger::Run(SqlJob job) {
    while (worker_.Busy())
        co_await qCoro(this, &Ledger::JobEnded);
    QueryResult result = co_await worker_.Run(path_.toStdString(), std::move(job), kLockPatience);
    Q_EMIT JobEnded();
    co_return result;
}

QCoro::Task<Ledger::Listing> Ledger::List(LedgerQuery query) {
    if (!waiting_.empty()) (void)co_await Write();
    const QueryResult read = co_await Run(ReadLedger(path_.toStdString(), query));
    Listing listing;
    listing.error = QString::fromStdString(read.errorText);
    std::ranges::transform(read.rows, std::back_inserter(listing.entries), LedgerEntryOf);
    co_return listing;
}

QCoro::Task<Ledger::Hearing> Ledger::Heard() {
    const QueryResult read = co_await Run(ReadHeard(path_.toStdString()));
    Hearing hearing;
    hearing.error = QString::fromStdString(read.errorText);
    hearing.spans = heard_;
    for (const auto& row : read.rows) {
        const auto [serial, span] = HeardSpanOf(row);
        HeardSpan& known = hearing.spans.try_emplace(serial, span).first->second;
        known.first = std::min(known.first, span.first);
    }
    co_return hearing;
}

void Ledger::TellDoubt(const LedgerEntry& entry) {
    const std::int64_t now = clock_.Monotonic();
    const auto [place, isNew] =
        told_.try_emplace({entry.slot, CounterText(*entry.counter)}, Telling{.at = now});
    Telling& telling = place->second;
    if (!isNew && now - telling.at < kTellAgain) {
        ++telling.untold;
        return;
    }
    QString text = DoubtText(entry);
    if (telling.untold > 0) text += u" %1 more of this counter came before it."_s.arg(telling.untold);
    telling = {.at = now};
    Tell(text + u" \"corvanectl ledger\" lists it, and \"corvanectl ledger undo ID\" takes it back."_s);
}

QString Ledger::DoubtText(const LedgerEntry& entry) {
    const CounterName counter = entry.counter.value_or(CounterName());
    const double total = entry.carryAfter.value_or(0) * counter.Span() + entry.counterAfter.value_or(0);
    return u"%1 (%2), %3: the counter stepped back and counts as wrapped, but %4 s went by for the monitor "
           u"and "
           "%5 s here: that is doubtful. The total is %6 with this carry, %7 without it."_s
               .arg(SlotName(entry.slot), QString::fromStdString(entry.serial),
                    QString::fromStdString(CounterText(counter)))
               .arg(entry.elapsedMonitor.value_or(0))
               .arg(entry.elapsedClock.value_or(0))
               .arg(TotalText(total), TotalText(total - counter.Span()));
}

void Ledger::Tell(const QString& text) {
    board_.AddLine(u"     "_s + text);
    errorLog_.LogError(0, text, u"Ledger"_s);
}

void Ledger::NoteProblem(const QString& error) {
    if (closed_ || error == problem_) return;
    const bool was = !problem_.isEmpty();
    problem_ = error;
    Q_EMIT Changed();
    if (!error.isEmpty()) {
        Tell(u"The ledger %1 cannot be written: %2; %3."_s.arg(path_, error, Remedy(error)));
    } else if (was) {
        Tell(u"The ledger is written again; %1 events were lost."_s.arg(lost_));
    }
}

QString Ledger::ProblemText() const {
    if (problem_.isEmpty())
        return lost_ == 0 ? QString() : u"%1 events of the ledger were lost."_s.arg(lost_);
    return u"The ledger cannot be written (%1): %2 events wait, %3 are lost."_s.arg(problem_)
        .arg(waiting_.size())
        .arg(lost_);
}

}  // namespace corvane
