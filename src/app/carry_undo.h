// Takes doubtful carries back, and puts them back again: in the settings, the ledger and the database.
#pragma once

#include <QCoroTask>
#include <QString>

#include <cstdint>
#include <vector>

#include "base/outcome.h"
#include "measure/carry_mend.h"

namespace corvane {

class Operator;
class Program;

/// The order in which it is done, so that a kill leaves all or nothing: first rows and ledger in one
/// transaction, which also notes in the ledger what the carries are to be; then the settings; then the note
/// goes. A program that was killed between them saves the carries at its next start (`Finish`), before a
/// packet comes.
class CarryUndo {
public:
    explicit CarryUndo(Program& program) : program_(program) {}

    /// Takes the carries of these entries back, or puts those back that were taken back; all must be of one
    /// kind. Shows before what becomes of carries, totals and rows, and asks; makes a backup before rows
    /// change. No packet and no record is lost meanwhile.
    QCoro::Task<Outcome> Undo(std::vector<std::int64_t> ids, Operator& op);

    /// Lets doubtful carries stand: nobody is told of them any more.
    QCoro::Task<Outcome> Keep(std::vector<std::int64_t> ids);

    /// Saves what a program that was killed had noted. A failure is told, and nothing is lost by it.
    QCoro::Task<Outcome> Finish();

private:
    /// What becomes of one counter.
    struct CounterStep {
        int slot;
        CounterName counter;
        int from;
        int to;
    };

    QCoro::Task<Outcome> Load(const std::vector<std::int64_t>& ids, std::vector<CarryMend>& mends);
    [[nodiscard]] std::vector<CounterStep> StepsOf(const std::vector<CarryMend>& mends) const;
    [[nodiscard]] QString StepText(const CounterStep& step) const;
    QCoro::Task<Outcome> Carry(std::vector<CarryMend> mends, bool rows, Operator& op);

    Program& program_;
    bool running_ = false;
};

}  // namespace corvane
