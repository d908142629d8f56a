// Maintenance of what the database knows of the devices: their serial numbers and the labels of their
// channels.
#include <algorithm>
#include <utility>

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/device_serial.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/maintenance.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kValuesLookedAt = 30;
constexpr std::size_t kMostRepaired = 9;
constexpr std::size_t kProperLength = 6;
constexpr int kLabelledDevices = 4;  // fewer than there are, on purpose

/// The different serial numbers: those of the hourly records that may be repaired, with a 1 behind them, then
/// all that any device has, with a 0.
SqlJob SerialsJob() {
    return [](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "Error DB2"};
        session.Begin(u"Looking for serial numbers."_s);
        return session.Database().GetTable(
            "SELECT * FROM (SELECT DISTINCT deviceaddress, 1 FROM (SELECT  deviceaddress FROM "
            "monitordata_hourly) LIMIT " +
            std::to_string(kValuesLookedAt) +
            ") UNION ALL SELECT deviceaddress, 0 FROM (SELECT deviceaddress FROM monitordata_hourly UNION "
            "SELECT deviceaddress FROM monitordata_minute UNION SELECT deviceaddress FROM applicationinfo)");
    };
}

bool IsShort(const std::string& serial) {
    return !serial.empty() && serial.size() < kProperLength &&
           std::ranges::all_of(serial, [](char c) { return c >= '0' && c <= '9'; });
}

/// "1000" and the position as two digits, the first from `position` on that no device has.
std::string ProperSerial(std::size_t& position, const std::vector<std::string>& known) {
    while (true) {
        const std::string digits = std::to_string(position++);
        std::string serial = (digits.size() < 2 ? "10000" : "1000") + digits;
        if (std::ranges::find(known, serial) == known.end()) return serial;
    }
}

std::string Renaming(const char* table, const std::string& from, const std::string& to) {
    std::string statement = "UPDATE ";
    statement += table;
    statement += " SET deviceaddress='" + to + "'  WHERE deviceaddress='" + from + "'";
    return statement;
}

SqlJob RenamingJob(const std::string& from, const std::string& to) {
    std::vector<Statement> statements;
    for (const char* table : {"monitordata_hourly", "monitordata_minute", "applicationinfo"})
        statements.push_back({.notice = kPleaseWait, .sql = Renaming(table, from, to), .passes = 1});
    return StatementJob(std::move(statements), "monitordata_minute", Effect::Whole);
}

std::vector<RowsAtStake> RowsOf(const std::string& serial) {
    std::vector<RowsAtStake> rows;
    for (const char* table : {"monitordata_hourly", "monitordata_minute"})
        rows.push_back({.table = table, .where = "deviceaddress=" + SqlQuoted(serial)});
    return rows;
}

std::vector<RowsAtStake> LabelRows() {
    return {{.table = "applicationinfo", .date = "NULL"}};
}

/// The rows of Device A and those behind it.
SqlJob LabelJob(const std::vector<std::string>& serials) {
    const sql::RowLabels labels = sql::AllLabelled("No Label");
    std::vector<Statement> statements;
    statements.push_back({.notice = kPleaseWait, .sql = "Delete From applicationinfo"});
    for (const std::string& serial : serials)
        statements.push_back({.notice = kPleaseWait, .sql = sql::NewDeviceRow("", serial, labels)});
    const std::string primary = "UPDATE applicationinfo SET isprimarydevice = 'TRUE' WHERE id = '1'";
    statements.insert(statements.begin() + 2, {.notice = kPleaseWait, .sql = primary});
    return StatementJob(std::move(statements), "applicationinfo", Effect::Whole);
}

}  // namespace

QCoro::Task<Outcome> Maintenance::RepairSerialNumbers(Operator& op) {
    const QueryResult found =
        co_await work_.Run(u"Serial numbers"_s, database_.databasePath(), SerialsJob(), op);
    if (!found.Ok()) co_return Outcome::Failure(QString::fromStdString(found.errorText));
    std::vector<std::string> known;  // a repaired number must not become another device's
    std::vector<std::string> tooShort;
    for (const auto& row : found.rows) {
        const std::string serial = row.front().value_or("");
        known.push_back(serial);
        if (row.back() == "1" && IsShort(serial)) tooShort.push_back(serial);
    }
    if (tooShort.size() > kMostRepaired) tooShort.resize(kMostRepaired);
    if (tooShort.empty()) op.Show(u"Valid serial numbers found. No changes required."_s);

    std::size_t position = 1;
    for (const std::string& serial : tooShort) {
        const std::string proper = ProperSerial(position, known);
        const QString from = QString::fromStdString(serial);
        const QString to = QString::fromStdString(proper);
        const Stake stake = co_await AtStake(RowsOf(serial), op);
        if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
        op.Show(u"Serial number %1 would become %2.\n"_s.arg(from, to) + stake.text);
        const bool repair = co_await op.AskYesNo(
            u"Serial number %1 is too short. Would you like to repair it throughout the database now?"_s.arg(
                from));
        if (!repair) continue;
        Outcome repaired = co_await Run(u"Repairing serial numbers."_s, RenamingJob(serial, proper),
                                        u"Serial number %1 is now %2."_s.arg(from, to), op);
        if (!repaired) co_return repaired;
    }
    co_return Outcome::Success();
}

QCoro::Task<Outcome> Maintenance::ResetLabels(Operator& op) {
    const Stake stake = co_await AtStake(LabelRows(), op);
    if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
    const bool proceed = co_await op.AskYesNo(stake.text +
                                              u"\n\nWARNING !!!! This will delete all of the assigned "
                                              u"Labels, Pictures and Comments for each channel. "
                                              u"Do "
                                              "you want to proceed?"_s);
    if (!proceed) co_return Outcome::Failure(u"The labels stay as they are."_s);
    std::vector<std::string> serials;
    for (int slot = 1; slot <= kLabelledDevices; ++slot) {
        const QString serial = settings_.Value(kDeviceSerial, {.slot = slot}).trimmed();
        if (serial.toLongLong() == 0) break;
        serials.push_back(serial.toStdString());
    }
    if (serials.empty()) {
        co_return Outcome::Failure(u"No device serial number has been assigned to Device A."_s);
    }
    const Outcome saved = co_await backups_.BackupBeforeLoss(op);
    if (!saved) co_return saved;
    co_return co_await Run(u"Resetting labels."_s, LabelJob(serials), u"The labels have been reset."_s, op);
}

}  // namespace corvane
