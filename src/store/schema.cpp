#include "store/schema.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "base/operator.h"
#include "store/db_writer.h"
#include "store/whole_file.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace sql {

const char* const kNewHourlyTable =
    "CREATE TABLE monitordata_hourly (id INTEGER PRIMARY KEY,date TEXT,deviceaddress NUMERIC,ch1kwhp DOUBLE,"
    "ch2kwhp DOUBLE,ch1kwh DOUBLE,ch2kwh DOUBLE,aux1kwh DOUBLE,aux2kwh DOUBLE,aux3kwh DOUBLE,aux4kwh DOUBLE,"
    "aux5kwh DOUBLE,online BOOLEAN)";

const char* const kNewMinuteDataTable =
    "CREATE TABLE monitordata_minute (id INTEGER PRIMARY KEY,date TEXT,deviceaddress NUMERIC,"
    "secondscounter NUMERIC,volt DOUBLE,ch1watt NUMERIC,ch2watt NUMERIC,aux1watt NUMERIC,aux2watt NUMERIC,"
    "aux3watt NUMERIC,aux4watt NUMERIC,aux5watt NUMERIC,ch1awsc NUMERIC,ch2awsc NUMERIC,ch1pwsc NUMERIC,"
    "ch2pwsc NUMERIC,ch1amps DOUBLE,ch2amps DOUBLE,aux1awsc NUMERIC,aux2awsc NUMERIC,aux3awsc NUMERIC,"
    "aux4awsc NUMERIC,aux5awsc NUMERIC,ch1kwh DOUBLE,ch2kwh DOUBLE,aux1kwh DOUBLE,aux2kwh DOUBLE,"
    "aux3kwh DOUBLE,aux4kwh DOUBLE,aux5kwh DOUBLE,online BOOLEAN,username TEXT)";

const char* const kNewInfoTable =
    "CREATE TABLE applicationinfo (id INTEGER PRIMARY KEY,username TEXT, applicationid TEXT,"
    "deviceaddress NUMERIC, ch1alias TEXT,ch2alias TEXT,aux1alias TEXT,aux2alias TEXT,aux3alias TEXT,"
    "aux4alias TEXT,aux5alias TEXT,isprimarydevice BOOLEAN,ch1image TEXT,ch2image TEXT,aux1image TEXT,"
    "aux2image TEXT,aux3image TEXT,aux4image TEXT,aux5image TEXT,ch1desc TEXT, ch2desc TEXT,aux1desc TEXT,"
    "aux2desc TEXT,aux3desc TEXT,aux4desc TEXT,aux5desc Text)";

const char* const kNewApplicationsTable =
    "CREATE TABLE applications (id INTEGER PRIMARY KEY,username TEXT, applicationid TEXT,kwhcost1 NUMERIC, "
    "kwhcost2 NUMERIC,kwhcost3 NUMERIC, totalpanelchannel TEXT,generatedpowerchannel TEXT,"
    "monthlyconsumptiontarget NUMERIC, kwhtime1 TEXT, kwhtime2 TEXT,kwhtime3 TEXT)";

const char* const kNewApplicationsRow =
    "insert into applications(id,username,applicationid,kwhcost1,kwhcost2,kwhcost3,totalpanelchannel,"
    "monthlyconsumptiontarget) values ('1','USER','HOME','0.126','0.128','0.134','','1200')";

const char* const kNewMinuteTable =
    "CREATE TABLE minutedata (id INTEGER PRIMARY KEY,date TEXT,deviceaddress NUMERIC,secondscounter NUMERIC,"
    "ch1wma NUMERIC,ch1wmp NUMERIC,ch2wma NUMERIC,ch2wmp NUMERIC,aux1wm NUMERIC,aux2wm NUMERIC,"
    "aux3wm NUMERIC,aux4wm NUMERIC,aux5wm NUMERIC,online BOOLEAN,username TEXT)";

// "ID key INTEGER" is no alias of the row id, so ID stays NULL in every row; it is kept so on purpose.
const char* const kNewPowerTable =
    "CREATE TABLE minute_power (ID key INTEGER PRIMARY KEY, date, deviceaddress, ch1watt, ch2watt, aux1watt, "
    "aux2watt, aux3watt, aux4watt, aux5watt, volt)";
const char* const kNewEnergyTable =
    "CREATE TABLE minute_energy (ID key INTEGER PRIMARY KEY, date, deviceaddress, ch1Akwh, ch1Pkwh, ch2Akwh, "
    "ch2Pkwh, aux1kwh, aux2kwh, aux3kwh, aux4kwh, aux5kwh, volt)";

std::string StoredTotals(std::int64_t serial) {
    return "select ch1akwh,ch1akwh,ch1pkwh,ch2pkwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh from storedtotal "
           "where deviceaddress = " +
           std::to_string(serial);
}
const char* const kWrapSeconds = "select  secondswrap from wraparound   WHERE unit = 1";
const char* const kRealtimeRecord = "SELECT * FROM realtime where rec=1";

std::vector<Column> ColumnsOf(const char* create) {
    const QString list = QString::fromLatin1(create).section(u'(', 1).chopped(1);
    std::vector<Column> columns;
    for (const QString& column : list.split(u','))
        columns.push_back({column.section(u' ', 0, 0).toStdString(), column.section(u' ', 1).toStdString()});
    return columns;
}

RowLabels AllLabelled(const std::string& label) {
    RowLabels labels;
    labels.fill(label);
    return labels;
}

std::string NewDeviceRow(const std::string& id, const std::string& address, const RowLabels& labels) {
    std::string columns = id.empty() ? "" : "id,";
    std::string values = id.empty() ? "" : SqlQuoted(id) + ",";
    columns += "username,applicationid,deviceaddress,";
    values += "'USER','HOME',";
    values += SqlQuoted(address);
    for (const std::string& label : labels) {
        values += ',';
        values += SqlQuoted(label);
    }
    columns += ChannelColumns("alias");
    columns += ',';
    columns += ChannelColumns("desc");
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        values += ",' '";
    return "insert into applicationinfo(" + columns + ") values (" + values + ")";
}

}  // namespace sql

namespace {

const sql::RowLabels kConsumptionLabels = {
    "Main Panel Consumption", "Not Used",          "Not Used",         "Other (Un-Monitored) Loads",
    "Virtual Channel 1",      "Virtual Channel 2", "Virtual Channel 3"};
const sql::RowLabels kNetMeteringLabels = {"Net Energy",       "Energy Sold",     "Energy Bought",
                                           "Energy Generated", "Energy Consumed", "Virtual Channel 2",
                                           "Virtual Channel 3"};

constexpr int kMostLinks = 40;  // that lead from one to the next

const QString kNoDatabase = u"The database file could not be opened."_s;

QString Text(const std::string& text) {
    return QString::fromStdString(text);
}

struct BaseTable {
    const char* name;
    const char* statement;
    std::string (*firstRow)();  ///< the statement that adds it; null where there is none
};

const BaseTable kBaseTables[] = {
    {"applicationinfo", sql::kNewInfoTable, [] { return sql::NewDeviceRow("1", ""); }},
    {"applications", sql::kNewApplicationsTable, [] { return std::string(sql::kNewApplicationsRow); }},
    {"monitordata_hourly", sql::kNewHourlyTable, nullptr},
    {"monitordata_minute", sql::kNewMinuteDataTable, nullptr},
};

/// What a person can do about a file of which SQLite says this.
struct Remedy {
    const char* error;
    const char* text;
};
constexpr const char* kRights = "the program must be allowed to write the file and its folder";
constexpr Remedy kRemedies[] = {
    {"attempt to write a readonly database", kRights},
    {"unable to open database file", kRights},
    {"access permission denied", kRights},
    {"disk I/O error", "a network drive may be without locks: the file belongs on a disk of this machine"},
};

FileCheck Verdict(const QueryResult& result) {
    if (result.Ok()) return {};
    FileCheck check{result.Locked() ? FileVerdict::Locked : FileVerdict::Wrong, Text(result.errorText)};
    for (const Remedy& remedy : kRemedies)
        if (result.errorText == remedy.error) check.text += u"; "_s + QLatin1StringView(remedy.text);
    return check;
}

const std::span kDataTables = std::span(kBaseTables).last<2>();  // those of the records

/// A record of a table, as the capture fills it, of long ago.
std::string TrialRecord(const BaseTable& table) {
    std::string columns = "date";
    std::string values = "'1900-01-01 00:00:00'";
    for (const sql::Column& column : sql::ColumnsOf(table.statement)) {
        if (column.name == "id" || column.name == "date" || column.name == "username") continue;
        columns += "," + column.name;
        values += ",0";
    }
    return "INSERT INTO " + std::string(table.name) + "(" + columns + ") VALUES (" + values + ")";
}

/// Writes records into an open file; closing it takes them back.
FileCheck TryToWrite(const CaptureDatabase::Connection& connection) {
    QueryResult result = connection.GetTable("BEGIN IMMEDIATE");
    for (const BaseTable& table : kDataTables)
        if (result.Ok()) result = connection.GetTable(TrialRecord(table));
    if (result.errorText == "database or disk is full")
        return {};  // of the moment; records are kept meanwhile
    FileCheck check = Verdict(result);
    if (check.verdict == FileVerdict::Wrong && check.text == Text(result.errorText))
        check.text += u"; it takes no records: use another file, or make a new one"_s;
    return check;
}

/// Makes those of the base tables that are `wanted`, and then their first rows. An error text, or empty.
std::string InOneTransaction(const std::string& path, const std::function<bool(const BaseTable&)>& wanted) {
    const auto connection = CaptureDatabase::OpenFile(path, true);
    if (!connection) return "The file cannot be made.";
    std::vector<std::string> statements = {"BEGIN IMMEDIATE"};
    for (const BaseTable& table : kBaseTables)
        if (wanted(table)) statements.emplace_back(table.statement);
    for (const BaseTable& table : kBaseTables)
        if (wanted(table) && table.firstRow != nullptr) statements.push_back(table.firstRow());
    statements.emplace_back("COMMIT");
    for (const std::string& statement : statements) {
        QueryResult result = connection.GetTable(statement);
        if (!result.Ok()) return std::move(result.errorText);  // closing takes the rest back
    }
    return {};
}

/// The file that is meant where `path` is a symbolic link, which may be missing.
std::string Behind(const std::string& path) {
    std::filesystem::path place = path;
    std::error_code none;
    for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(place, none); ++links)
        place = place.parent_path() / std::filesystem::read_symlink(place, none);
    return place.string();
}

/// A killed program may have left them; only one program works in a folder.
void RemoveUnfinished(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    std::filesystem::remove(path + "-journal", ignored);
}

}  // namespace

FileCheck CheckDatabaseFile(const QString& path) {
    const auto connection = CaptureDatabase::OpenFile(path.toStdString(), false);
    if (!connection) return {FileVerdict::Wrong, u"The file cannot be opened."_s};
    FileCheck check = Verdict(connection.GetTable("SELECT  id FROM applicationinfo "));
    return check.verdict == FileVerdict::Fine ? TryToWrite(connection) : check;
}

std::string WrongTables(const CaptureDatabase::Connection& connection) {
    std::vector<std::string> statements = {"SELECT id FROM applicationinfo", "SELECT id FROM applications"};
    for (const BaseTable& table : kDataTables)
        statements.push_back(TrialRecord(table));
    for (const std::string& statement : statements) {
        QueryResult prepared = connection.GetTable("EXPLAIN " + statement);
        if (!prepared.Ok()) return std::move(prepared.errorText);
    }
    return {};
}

Outcome CreateTables(const std::string& given) {
    const std::string path = Behind(given);
    std::error_code ignored;
    const bool isNew = !std::filesystem::exists(path, ignored);
    const std::string made = isNew ? path + ".new" : path;
    if (isNew) RemoveUnfinished(made);
    std::string error = InOneTransaction(made, [](const BaseTable&) { return true; });
    if (isNew && error.empty()) error = PutInPlace(made, path, Existing::Kept);
    if (isNew) RemoveUnfinished(made);
    return error.empty() ? Outcome::Success() : Outcome::Failure(Text(path) + u": "_s + Text(error));
}

MendedTables MendTables(const QString& path) {
    const CaptureDatabase database(path.toStdString());
    const QueryResult tables =
        database.Run("SELECT lower(name) FROM sqlite_master WHERE type IN ('table', 'view')");
    MendedTables mended{.names = {}, .check = Verdict(tables)};
    const auto missing = [&tables](const BaseTable& table) {
        return std::ranges::none_of(tables.rows, [&](const auto& row) { return row.front() == table.name; });
    };
    if (!tables.Ok() || (!tables.rows.empty() && std::ranges::all_of(kBaseTables, missing))) return mended;
    for (const BaseTable& table : kBaseTables)
        if (missing(table)) mended.names.append(QLatin1StringView(table.name));
    if (mended.names.isEmpty()) return mended;
    mended.check = Verdict(QueryResult::Failure(InOneTransaction(path.toStdString(), missing)));
    if (mended.check.verdict != FileVerdict::Fine) mended.names.clear();
    return mended;
}

bool CreateVD1(const CaptureDatabase& database, InstallationType type, Operator& op) {
    const QueryResult addresses = database.Run("SELECT  deviceaddress FROM applicationinfo ");
    if (!addresses.Ok()) {
        op.Show(Text(addresses.errorText));
        return false;
    }
    for (const auto& row : addresses.rows) {
        if (row.front() == kVirtualDevice) return true;
    }
    const auto& labels = type == InstallationType::NetMetering ? kNetMeteringLabels : kConsumptionLabels;
    const QueryResult inserted = database.Run(sql::NewDeviceRow("9", kVirtualDevice, labels));
    if (!inserted.Ok()) op.Show(Text(inserted.errorText));
    return inserted.Ok();
}

bool CreateNewMinuteTable(const CaptureDatabase& database, Operator& op) {
    const QueryResult probe = database.Run("SELECT * from minutedata where id =1");
    if (probe.Ok()) {
        op.Show(u"The table already exists."_s);
        return true;
    }
    if (probe.errorText.find("no such table") == std::string::npos) {
        op.Show(Text(probe.errorText));
        return false;
    }
    const bool made = database.Run(sql::kNewMinuteTable).Ok();
    op.Show(made ? u"The new \"Minute\" table has been created successfuly."_s
                 : u"There was an error creating new \"Minute\" table. Try again."_s);
    return made;
}

bool CreatePowerTables(const CaptureDatabase& database, const DbWriter& writer, Operator& op) {
    if (writer.WriteCountdown() != 0) {
        op.Show(
            u"The tables are not made while a write to the database is due; try again in %1 seconds."_s.arg(
                writer.WriteCountdown()));
        return false;
    }
    const auto connection = database.Open();
    if (!connection) {
        op.Show(kNoDatabase);
        return false;
    }
    const auto make = [&](const char* statement, const QString& failure) {
        const QueryResult made = connection.GetTable(statement);
        if (made.Ok()) return true;
        op.Show(failure);
        op.Show(Text(made.errorText));
        return false;
    };
    const bool power = make(sql::kNewPowerTable, u"error creating power table"_s);
    const bool energy = make(sql::kNewEnergyTable, u"error creating energy table"_s);
    return power && energy;
}

}  // namespace corvane
