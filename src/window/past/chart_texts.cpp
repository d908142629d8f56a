#include "window/past/chart_texts.h"

#include <QLocale>

#include <cmath>

namespace corvane {

using namespace Qt::StringLiterals;

QDateTime DateTimeOf(WallTime time) {
    return QDateTime::fromSecsSinceEpoch(time, Qt::UTC);
}

QString BarName(CalendarUnit unit, WallTime time, bool brief) {
    const QDateTime from = DateTimeOf(time);
    const QLocale locale;
    switch (unit) {
        case CalendarUnit::Hour:
            if (brief)
                return from.time().hour() == 0 ? locale.toString(from, u"d MMM"_s)
                                               : locale.toString(from, u"HH:mm"_s);
            return locale.toString(from, u"ddd d MMM yyyy, HH:mm"_s);
        case CalendarUnit::Day:
            return locale.toString(from, brief ? u"d MMM"_s : u"ddd d MMM yyyy"_s);
        case CalendarUnit::Week:
            return (brief ? u"W%1"_s : u"Week %1, from "_s + locale.toString(from, u"d MMM yyyy"_s))
                .arg(from.date().weekNumber());
        case CalendarUnit::Month:
            return locale.toString(from, brief ? u"MMM yy"_s : u"MMMM yyyy"_s);
        case CalendarUnit::Year:
            break;
    }
    return locale.toString(from, u"yyyy"_s);
}

QString ValueText(Measure measure, double value) {
    if (std::isnan(value)) return u"\u2013"_s;
    const QLocale locale;
    if (measure == Measure::Power)
        return locale.toString(static_cast<qlonglong>(std::llround(value))) + u" W"_s;
    const int decimals = measure == Measure::Energy && std::abs(value) >= 100 ? 0 : 2;
    return locale.toString(value, 'f', decimals) + (measure == Measure::Energy ? u" kWh"_s : QString());
}

}  // namespace corvane
