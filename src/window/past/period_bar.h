// Above a chart: which part of the calendar it shows.
#pragma once

#include <QDate>
#include <QWidget>

#include "history/wall_time.h"

class QButtonGroup;
class QDateEdit;

namespace corvane {

class SettingsStore;

class PeriodBar final : public QWidget {
    Q_OBJECT

public:
    /// The kind of period is kept in `settings`.
    explicit PeriodBar(SettingsStore& settings);

    /// Shows that the chart shows the time from `from` up to `to`.
    void ShowSpan(WallTime from, WallTime to);

    /// Wants the period of today.
    void WantToday();

Q_SIGNALS:
    /// The user wants to see that time.
    void SpanWanted(WallTime from, WallTime to);

    /// A kind of period was chosen, for which bars of that unit are right.
    void BarsWanted(CalendarUnit unit);

private:
    QWidget* Dates();
    void ChoosePeriod(int id);
    void WantPeriod(CalendarUnit unit, QDate day);
    void Move(int periods);

    SettingsStore& settings_;
    QButtonGroup* period_;
    QDateEdit* first_ = nullptr;
    QDateEdit* last_ = nullptr;
    WallTime from_ = 0;
    WallTime to_ = 0;
};

}  // namespace corvane
