#include "app/carry_undo.h"

#include <algorithm>
#include <utility>

#include "app/program.h"
#include "base/clock.h"
#include "base/operator.h"
#include "link/device_texts.h"
#include "measure/virtual_texts.h"
#include "store/schema.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNoneChosen = u"No entry of the ledger is chosen."_s;

constexpr int kPatience = 5;  // seconds that a locked database is waited for

QString Text(const QueryResult::Cell& text) {
    return QString::fromStdString(text.value_or(""));
}

QString RowsText(const std::vector<QueryResult::Cell>& row) {
    const bool sums = row[1] == kVirtualDevice;
    return u"%1: %2 rows of %3%4, %5 to %6"_s.arg(Text(row[0]), Text(row[2]),
                                                  sums ? u"the sums, "_s : QString(), Text(row[1]),
                                                  Text(row[3]), Text(row[4]));
}

/// Adds to a row that was kept what its counters have more by now.
void Correct(DeviceReadings& row, const std::vector<CarryMend>& mends) {
    for (const CarryMend& mend : mends) {
        if (!mend.stands) continue;
        const int step = mend.back ? -1 : 1;
        if (row.serial == kVirtualDevice) {
            const double span = step * mend.counter.Span();
            for (std::size_t channel = 0; channel < kChannels; ++channel)
                row.channels[channel].absolute.current += span * mend.shares.absolute[channel];
            row.channels[0].polarized.current += span * mend.shares.ch1Polarized;
        } else if (row.slot == mend.slot) {
            EnergyCounter& counter = row.Counter(mend.counter);
            counter.carry = static_cast<std::int16_t>(counter.carry + step);
        }
    }
}

}  // namespace

QCoro::Task<Outcome> CarryUndo::Load(const std::vector<std::int64_t>& ids, std::vector<CarryMend>& mends) {
    for (const std::int64_t id : ids) {
        LedgerQuery one;
        one.id = id;
        const Ledger::Listing entry = co_await program_.ledger.List(one);
        if (!entry.error.isEmpty())
            co_return Outcome::Failure(u"The ledger cannot be read: %1"_s.arg(entry.error));
        if (entry.entries.empty()) co_return Outcome::Failure(u"The ledger has no entry %1."_s.arg(id));
        LedgerQuery slot;
        slot.carriesOfSlot = entry.entries.front().slot;
        slot.most = kMostLedgerEntries;
        const Ledger::Listing history = co_await program_.ledger.List(slot);
        auto mend = MendOf(id, history.entries);
        if (!mend) co_return Outcome::Failure(u"Entry %1 is no carry: only those are taken back."_s.arg(id));
        mend->shares = program_.virtualChannels.SharesOf(mend->slot, mend->counter);
        if (!mends.empty() && mends.front().back != mend->back)
            co_return Outcome::Failure(u"Some of these carries were taken back, others were not."_s);
        const bool again = std::ranges::any_of(mends, [id](const CarryMend& m) { return m.entry == id; });
        if (!again) mends.push_back(std::move(*mend));
    }
    co_return Outcome::Success();
}

std::vector<CarryUndo::CounterStep> CarryUndo::StepsOf(const std::vector<CarryMend>& mends) const {
    std::vector<CounterStep> steps;
    for (const CarryMend& mend : mends) {
        if (!mend.stands) continue;
        auto step = std::ranges::find_if(steps, [&mend](const CounterStep& known) {
            return known.slot == mend.slot && known.counter == mend.counter;
        });
        if (step == steps.end()) {
            const int carry = program_.measurement.Carry(mend.slot, mend.counter);
            step = steps.insert(steps.end(), {mend.slot, mend.counter, carry, carry});
        }
        step->to += mend.back ? -1 : 1;
    }
    return steps;
}

QString CarryUndo::StepText(const CounterStep& step) const {
    const DeviceReadings& readings = program_.measurement.Readings(step.slot);
    const double counter = readings.Counter(step.counter).current;
    QString text = u"%1, %2: carry %3 becomes %4"_s.arg(SlotName(step.slot))
                       .arg(QString::fromStdString(CounterText(step.counter)))
                       .arg(step.from)
                       .arg(step.to);
    if (readings.Seen()) {
        text += u", the total of %1 %2"_s.arg(TotalText(step.from * step.counter.Span() + counter),
                                              TotalText(step.to * step.counter.Span() + counter));
    }
    return text;
}

QCoro::Task<Outcome> CarryUndo::Undo(std::vector<std::int64_t> ids, Operator& op) {
    if (program_.unwritten.Count() > 0) {
        co_return Outcome::Failure(
            u"Records are unwritten, which have that carry too: \"corvanectl db write-unwritten\" first."_s);
    }
    if (ids.empty()) co_return Outcome::Failure(kNoneChosen);
    std::vector<CarryMend> mends;
    const Outcome loaded = co_await Load(ids, mends);
    if (!loaded) co_return loaded;
    const bool written = co_await program_.dbWriter.Drain(0);
    if (!written) co_return Outcome::Failure(u"The database takes no records now: try again when it does."_s);
    const QueryResult counts = co_await program_.databaseWork.Run(
        u"Ledger"_s, program_.database.databasePath(), CountRowsToMend(mends), op);
    if (!counts.Ok()) co_return Outcome::Failure(Text(counts.errorText));

    const bool back = mends.front().back;
    QStringList lines;
    for (const CounterStep& step : StepsOf(mends)) {
        if (step.to < kCarry.least || step.to > kCarry.most || (back && step.from < 1))
            co_return Outcome::Failure(StepText(step) + u": that cannot be; it was changed otherwise."_s);
        lines.append(StepText(step));
    }
    for (const auto& row : counts.rows)
        lines.append(RowsText(row));
    lines.removeDuplicates();  // several carries of the same rows
    if (!counts.rows.empty()) {
        lines.append(
            u"Rows become %1 by 2^40 or 2^32 Ws for each carry; those of the sums by the groups that are "
            "chosen now. A backup is made before."_s.arg(back ? u"lower"_s : u"higher"_s));
    }
    Question question;
    question.text = lines.join(u'\n') + u"\n\n"_s;
    question.text +=
        back ? u"Do you want to take back the carry, and mend these rows? No takes back the carry alone."_s
             : u"Do you want to put back the carry, and mend these rows? No puts back the carry alone."_s;
    question.safe = Answer::Cancel;
    question.cancellable = true;
    const Answer answer = co_await op.Ask(std::move(question));
    if (answer == Answer::Cancel) co_return Outcome::Failure(u"Nothing was changed."_s);
    const bool rows = answer == Answer::Yes && !counts.rows.empty();
    if (rows) {
        const Outcome saved = co_await program_.backups.BackupDBfile(op);
        if (!saved) co_return saved;
    }
    if (std::exchange(running_, true)) co_return Outcome::Failure(u"Another carry is being changed."_s);
    program_.records.Hold();
    const Outcome done = co_await Carry(mends, rows, op);
    program_.records.Release([](DeviceReadings&) {});  // where that failed they are right as they are
    running_ = false;
    co_return done;
}

/// Rows and ledger, then the settings, then the note in the ledger.
QCoro::Task<Outcome> CarryUndo::Carry(std::vector<CarryMend> mends, bool rows, Operator& op) {
    const bool written = co_await program_.dbWriter.Drain(kPatience);
    if (!written) co_return Outcome::Failure(u"The database takes no records now: nothing was changed."_s);
    const QueryResult noted = co_await program_.ledger.Write();
    if (!noted.Ok()) co_return Outcome::Failure(u"The ledger cannot be written: nothing was changed."_s);

    const std::vector<CounterStep> steps = StepsOf(mends);
    const std::string now = DateTimeText(program_.clock.Now());
    std::vector<MendMark> marks;
    for (const CarryMend& mend : mends) {
        MendMark mark;
        mark.entry = mend.entry;
        mark.undoneFrom = rows && !mend.rows.empty() ? mend.rows.front().from : now;
        const auto step = std::ranges::find_if(steps, [&mend](const CounterStep& known) {
            return known.slot == mend.slot && known.counter == mend.counter;
        });
        if (step != steps.end()) {
            mark.carryFrom = step->from;
            mark.carryDue = step->to;
        }
        marks.push_back(std::move(mark));
    }
    const bool back = mends.front().back;
    const std::vector<CarryMend> none;
    SqlJob job = MendRows(program_.ledger.Path().toStdString(), rows ? mends : none, std::move(marks), back);
    const QueryResult mended =
        co_await program_.databaseWork.Run(u"Ledger"_s, program_.database.databasePath(), std::move(job), op);
    if (!mended.Ok()) co_return Outcome::Failure(u"Nothing was changed: %1"_s.arg(Text(mended.errorText)));

    for (const CounterStep& step : steps) {
        // A wrap may have come meanwhile.
        const int carry = program_.measurement.Carry(step.slot, step.counter) + step.to - step.from;
        program_.measurement.SetCarry(step.slot, step.counter, carry);
    }
    // What comes from now on has the new carry.
    program_.records.Release([&mends](DeviceReadings& row) { Correct(row, mends); });
    (void)co_await program_.ledger.Run(ForgetCarriesDue());  // else the next start does
    (void)co_await program_.ledger.Write();                  // which looks again what stands
    co_return Outcome::Success();
}

QCoro::Task<Outcome> CarryUndo::Keep(std::vector<std::int64_t> ids) {
    if (ids.empty()) co_return Outcome::Failure(kNoneChosen);
    for (const std::int64_t id : ids) {
        const QueryResult kept = co_await program_.ledger.Run(KeepCarry(id));
        if (!kept.Ok()) co_return Outcome::Failure(Text(kept.errorText));
    }
    (void)co_await program_.ledger.Write();
    co_return Outcome::Success();
}

QCoro::Task<Outcome> CarryUndo::Finish() {
    const QueryResult due = co_await program_.ledger.Run(ReadCarriesDue());
    if (!due.Ok()) co_return Outcome::Failure(Text(due.errorText));
    if (due.rows.empty()) co_return Outcome::Success();
    for (const auto& row : due.rows) {
        const auto channel = FindChannel(row[1].value_or(""));
        const int slot = Text(row[0]).toInt();
        const int from = Text(row[3]).toInt();
        const int to = Text(row[4]).toInt();
        if (!channel || slot < 1 || slot > kSlots || to < kCarry.least || to > kCarry.most) continue;
        CounterName counter;
        counter.channel = *channel;
        counter.polarized = row[2] == "1";
        if (program_.measurement.Carry(slot, counter) == from)
            program_.measurement.SetCarry(slot, counter, to);
    }
    const QueryResult forgotten = co_await program_.ledger.Run(ForgetCarriesDue());
    co_return forgotten.Ok() ? Outcome::Success() : Outcome::Failure(Text(forgotten.errorText));
}

}  // namespace corvane
