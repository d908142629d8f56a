#include "base/date_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

std::optional<QDate> ProperDate(const QString& text) {
    const QString entry = text.trimmed();
    if (entry.section(u'-', 0, 0).size() != 4) return std::nullopt;  // not the year 26
    const QDate date = QDate::fromString(entry, u"yyyy-M-d"_s);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

QString DateText(QDate date) {
    return date.toString(u"yyyy-MM-dd"_s);
}

}  // namespace corvane
