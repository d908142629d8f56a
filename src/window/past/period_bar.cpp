#include "window/past/period_bar.h"

#include <QButtonGroup>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

#include <algorithm>
#include <array>

#include "store/settings_store.h"
#include "window/past/chart_settings.h"
#include "window/past/history_choices.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// The units of the calendar that a period may be, and the bars that are right for it.
struct PeriodKind {
    const char16_t* name;
    CalendarUnit unit;
    CalendarUnit bars;
};
constexpr std::array<PeriodKind, 4> kPeriods = {{{u"Day", CalendarUnit::Day, CalendarUnit::Hour},
                                                 {u"Week", CalendarUnit::Week, CalendarUnit::Day},
                                                 {u"Month", CalendarUnit::Month, CalendarUnit::Day},
                                                 {u"Year", CalendarUnit::Year, CalendarUnit::Month}}};

const PeriodKind& KindOf(int id) {
    return kPeriods[static_cast<std::size_t>(id)];
}

QDate DateOf(WallTime time) {
    return QDateTime::fromSecsSinceEpoch(time, Qt::UTC).date();
}

WallTime MidnightOf(QDate day) {
    return QDateTime(day, QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
}

QToolButton* SmallButton(const QString& text, const QString& name) {
    auto* button = new QToolButton;
    button->setText(text);
    button->setAccessibleName(name);
    button->setToolTip(name);
    return button;
}

}  // namespace

PeriodBar::PeriodBar(SettingsStore& settings) : settings_(settings), period_(new QButtonGroup(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(14);
    QStringList names;
    for (const PeriodKind& kind : kPeriods)
        names.append(QString::fromUtf16(kind.name));
    row->addWidget(ButtonRow(*period_, names));
    period_->button(settings.Number(kChartPeriod))->setChecked(true);
    connect(period_, &QButtonGroup::idClicked, this, &PeriodBar::ChoosePeriod);
    row->addWidget(Dates());
    QToolButton* today = SmallButton(u"Today"_s, u"Today"_s);
    connect(today, &QToolButton::clicked, this, &PeriodBar::WantToday);
    row->addWidget(today);
    row->addStretch();
}

QWidget* PeriodBar::Dates() {
    auto* dates = new QWidget;
    auto* row = new QHBoxLayout(dates);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    QToolButton* earlier = SmallButton(u"\u2039"_s, u"Earlier"_s);
    QToolButton* later = SmallButton(u"\u203a"_s, u"Later"_s);
    first_ = DayEntry(u"First day"_s);
    last_ = DayEntry(u"Last day"_s);
    for (QWidget* widget : {static_cast<QWidget*>(earlier), static_cast<QWidget*>(first_),
                            static_cast<QWidget*>(new QLabel(u"\u2013"_s)), static_cast<QWidget*>(last_),
                            static_cast<QWidget*>(later)})
        row->addWidget(widget);
    connect(earlier, &QToolButton::clicked, this, [this] { Move(-1); });
    connect(later, &QToolButton::clicked, this, [this] { Move(1); });
    for (QDateEdit* entry : {first_, last_})
        connect(entry, &QDateEdit::dateChanged, this, [this] {
            if (first_->date() <= last_->date())
                Q_EMIT SpanWanted(MidnightOf(first_->date()), MidnightOf(last_->date().addDays(1)));
        });
    return dates;
}

void PeriodBar::ChoosePeriod(int id) {
    settings_.Save(kChartPeriod, id);
    Q_EMIT BarsWanted(KindOf(id).bars);
    // The newest period that is in sight, but not one that is yet to come.
    WantPeriod(KindOf(id).unit, std::min(DateOf(to_ - 1), QDate::currentDate()));
}

void PeriodBar::WantToday() {
    WantPeriod(KindOf(std::max(period_->checkedId(), 0)).unit, QDate::currentDate());
}

void PeriodBar::WantPeriod(CalendarUnit unit, QDate day) {
    const WallTime from = StartOf(unit, MidnightOf(day));
    Q_EMIT SpanWanted(from, NextStart(unit, from));
}

void PeriodBar::Move(int periods) {
    if (const int id = period_->checkedId(); id >= 0) {
        const CalendarUnit unit = KindOf(id).unit;
        return WantPeriod(unit, DateOf(periods < 0 ? StartOf(unit, from_) - 1 : NextStart(unit, from_)));
    }
    const WallTime length = to_ - from_;
    Q_EMIT SpanWanted(from_ + periods * length, to_ + periods * length);
}

void PeriodBar::ShowSpan(WallTime from, WallTime to) {
    from_ = from;
    to_ = to;
    const QSignalBlocker firstBlocked(first_);
    const QSignalBlocker lastBlocked(last_);
    first_->setDate(DateOf(from));
    last_->setDate(DateOf(to - 1));
    period_->setExclusive(false);
    for (QAbstractButton* button : period_->buttons()) {
        const CalendarUnit unit = KindOf(period_->id(button)).unit;
        button->setChecked(StartOf(unit, from) == from && NextStart(unit, from) == to);
    }
    period_->setExclusive(true);
}

}  // namespace corvane
