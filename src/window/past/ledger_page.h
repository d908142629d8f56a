// The ledger: what happened to the counters, doubtful carries and the way back from them, and gaps.
#pragma once

#include <QCoroTask>

#include <cstdint>
#include <vector>

#include "window/page.h"

class QLabel;
class QTableWidget;

namespace corvane {

class Actions;
class CarryUndo;
class Clock;
class GapTimeline;
class Ledger;

class LedgerPage final : public Page {
    Q_OBJECT

public:
    LedgerPage(Ledger& ledger, CarryUndo& undo, const Clock& clock, Actions& actions);

    void Refresh() override;

private:
    QWidget* Buttons(Actions& actions);
    QCoro::Task<> Load();
    void Choose(int row);
    void ShowEntry(int row, const struct LedgerEntry& entry);
    [[nodiscard]] std::vector<std::int64_t> Chosen() const;  ///< ids

    Ledger& ledger_;
    CarryUndo& undo_;
    const Clock& clock_;
    QLabel* doubts_;
    QTableWidget* entries_;
    GapTimeline* gaps_;
    bool due_ = true;  ///< there is something new
    bool loading_ = false;
};

}  // namespace corvane
