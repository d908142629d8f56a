#include "store/upkeep/rows_at_stake.h"

#include <QStringList>

#include <algorithm>
#include <utility>

#include "store/device_serial.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kDeviceSlots = 6;
constexpr int kMostDevices = 12;  // that have a line of their own

enum Column : std::size_t { kTable, kDevice, kCount, kFirst, kLast };

QString Text(const QueryResult::Cell& cell) {
    return QString::fromStdString(cell.value_or(""));
}

std::string GroupedCount(const RowsAtStake& rows) {
    return "SELECT '" + rows.table + "', deviceaddress, COUNT(*), MIN(" + rows.date + "), MAX(" + rows.date +
           ") FROM " + rows.table + " WHERE " + rows.where + " GROUP BY deviceaddress ORDER BY deviceaddress";
}

/// "301234 (Device A)"
QString DeviceText(const QString& serial, const SettingsStore& settings) {
    if (serial.isEmpty()) return u"no device"_s;
    for (int slot = 1; slot <= kDeviceSlots; ++slot) {
        const QString bound = settings.Value(kDeviceSerial, {.slot = slot}).trimmed();
        if (!bound.isEmpty() && bound.toLongLong() == serial.toLongLong())
            return u"%1 (Device %2)"_s.arg(serial, QString(QChar(u'A' + slot - 1)));
    }
    return serial;
}

}  // namespace

SqlJob CountJob(std::vector<RowsAtStake> tables) {
    return [tables = std::move(tables)](SqlSession& session) {
        QueryResult counted;
        if (!session.Database()) return QueryResult::Failure("Error DB2");
        session.Begin(u"Counting the rows."_s);
        for (const RowsAtStake& rows : tables) {
            for (const std::string& statement :
                 {GroupedCount(rows), "SELECT '" + rows.table + "', COUNT(*) FROM " + rows.table}) {
                QueryResult part = session.Database().GetTable(statement);
                if (!part.Ok()) return part;
                std::ranges::move(part.rows, std::back_inserter(counted.rows));
            }
        }
        return counted;
    };
}

Stake StakeOf(const QueryResult& counted, const SettingsStore& settings) {
    Stake stake;
    stake.error = QString::fromStdString(counted.errorText);
    QStringList lines;
    std::int64_t ofTable = 0;
    int devices = 0;
    for (const auto& row : counted.rows) {
        if (row.size() > kCount) {
            ofTable += Text(row[kCount]).toLongLong();
            if (++devices > kMostDevices) continue;
            const QString first = Text(row[kFirst]);
            const QString when = first.isEmpty() ? QString() : u", %1 to %2"_s.arg(first, Text(row[kLast]));
            lines.append(u"%1, %2: %3 rows%4"_s.arg(
                Text(row[kTable]), DeviceText(Text(row[kDevice]), settings), Text(row[kCount]), when));
            continue;
        }
        // The last of each table: how many rows it has.
        if (devices > kMostDevices) lines.append(u"and %1 more devices"_s.arg(devices - kMostDevices));
        lines.append(u"%1: %2 of %3 rows"_s.arg(Text(row[kTable])).arg(ofTable).arg(Text(row[1])));
        stake.rows += std::exchange(ofTable, 0);
        devices = 0;
    }
    stake.text = lines.join(u'\n');
    return stake;
}

}  // namespace corvane
