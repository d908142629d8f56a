#include "store/schema.h"

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/db_writer.h"

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

const QString kNoDatabase = u"The database file could not be opened."_s;

QString Text(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace

QString ValidationError(const QString& path) {
    const auto connection = CaptureDatabase::OpenFile(path.toStdString(), false);
    if (!connection) return u"The file cannot be opened."_s;
    return Text(connection.GetTable("SELECT  id FROM applicationinfo ").errorText);
}

Outcome CreateTables(const std::string& path) {
    const auto connection = CaptureDatabase::OpenFile(path, true);
    if (!connection) return Outcome::Failure(u"The database file %1 cannot be made."_s.arg(Text(path)));
    // The four base tables, and a row in each of the first two.
    const std::string statements[] = {
        sql::kNewInfoTable,       sql::kNewApplicationsTable, sql::kNewHourlyTable,
        sql::kNewMinuteDataTable, sql::NewDeviceRow("1", ""), sql::kNewApplicationsRow,
    };
    for (const std::string& statement : statements) {
        const QueryResult result = connection.GetTable(statement);
        if (!result.Ok()) return Outcome::Failure(Text(path) + u": "_s + Text(result.errorText));
    }
    return Outcome::Success();
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
    const bool power = connection.GetTable(sql::kNewPowerTable).Ok();
    if (!power) op.Show(u"error creating power table"_s);
    const bool energy = connection.GetTable(sql::kNewEnergyTable).Ok();
    if (!energy) op.Show(u"error creating energy table"_s);
    return power && energy;
}

}  // namespace corvane
