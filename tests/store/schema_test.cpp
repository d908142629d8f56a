#include "store/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "rows.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

struct SchemaTest : testing::Test {
    TempFolder folder;
    std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
    CaptureDatabase database{path};
    ScriptedOperator op;
    FakeClock clock;
    SettingsStore settings{folder.Path(u"corvane.ini"_s)};
    ErrorLog log{folder.Path(), u"Corvane"_s, clock};
    DbWriter writer{database, settings, log, clock};

    void MakeFresh() const { ASSERT_EQ(CreateTables(path).Error().toStdString(), ""); }

    /// A file with one table, which is none of ours.
    void MakeForeign() const {
        const auto connection = CaptureDatabase::OpenFile(path, true);
        ASSERT_TRUE(connection.GetTable("CREATE TABLE guests (name)").Ok());
    }

    [[nodiscard]] Texts Tables() const {
        return Rows(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
    }

    /// "name TYPE" per column, with " pk" behind the primary key.
    [[nodiscard]] Texts Columns(const std::string& table) const {
        return Rows(path,
                    "SELECT trim(name || ' ' || upper(type)) || CASE pk WHEN 0 THEN '' ELSE ' pk' END "
                    "FROM pragma_table_info('" +
                        table + "') ORDER BY cid");
    }
};

/// The columns as readers of the database know them: `names` blank-separated, all of one type or of none.
Texts Typed(const std::string& names, const std::string& type) {
    Texts columns;
    std::istringstream words(names);
    for (std::string name; words >> name;) {
        if (!type.empty()) name.append(" ").append(type);
        columns.push_back(name);
    }
    return columns;
}

Texts Joined(const std::vector<Texts>& parts) {
    Texts all;
    for (const Texts& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(SchemaTest, AFreshFileHasTheTablesThatDashboardsRead) {
    MakeFresh();
    EXPECT_THAT(Tables(),
                ElementsAre("applicationinfo", "applications", "monitordata_hourly", "monitordata_minute"));
    EXPECT_EQ(Columns("applicationinfo"),
              Joined({{"id INTEGER pk"},
                      Typed("username applicationid", "TEXT"),
                      {"deviceaddress NUMERIC"},
                      Typed("ch1alias ch2alias aux1alias aux2alias aux3alias aux4alias aux5alias", "TEXT"),
                      {"isprimarydevice BOOLEAN"},
                      Typed("ch1image ch2image aux1image aux2image aux3image aux4image aux5image", "TEXT"),
                      Typed("ch1desc ch2desc aux1desc aux2desc aux3desc aux4desc aux5desc", "TEXT")}));
    EXPECT_EQ(Columns("applications"), Joined({{"id INTEGER pk"},
                                               Typed("username applicationid", "TEXT"),
                                               Typed("kwhcost1 kwhcost2 kwhcost3", "NUMERIC"),
                                               Typed("totalpanelchannel generatedpowerchannel", "TEXT"),
                                               {"monthlyconsumptiontarget NUMERIC"},
                                               Typed("kwhtime1 kwhtime2 kwhtime3", "TEXT")}));
    EXPECT_EQ(Columns("monitordata_hourly"),
              Joined({{"id INTEGER pk", "date TEXT", "deviceaddress NUMERIC"},
                      Typed("ch1kwhp ch2kwhp ch1kwh ch2kwh", "DOUBLE"),
                      Typed("aux1kwh aux2kwh aux3kwh aux4kwh aux5kwh", "DOUBLE"),
                      {"online BOOLEAN"}}));
    EXPECT_EQ(Columns("monitordata_minute"),
              Joined({{"id INTEGER pk", "date TEXT"},
                      Typed("deviceaddress secondscounter", "NUMERIC"),
                      {"volt DOUBLE"},
                      Typed("ch1watt ch2watt aux1watt aux2watt aux3watt aux4watt aux5watt", "NUMERIC"),
                      Typed("ch1awsc ch2awsc ch1pwsc ch2pwsc", "NUMERIC"),
                      Typed("ch1amps ch2amps", "DOUBLE"),
                      Typed("aux1awsc aux2awsc aux3awsc aux4awsc aux5awsc", "NUMERIC"),
                      Typed("ch1kwh ch2kwh aux1kwh aux2kwh aux3kwh aux4kwh aux5kwh", "DOUBLE"),
                      {"online BOOLEAN", "username TEXT"}}));
}

TEST_F(SchemaTest, AFreshFileHasTheRowOfDeviceAAndTheTariff) {
    MakeFresh();
    EXPECT_THAT(Rows(path, "SELECT * FROM applicationinfo"),
                ElementsAre("1|USER|HOME||no label|no label|no label|no label|no label|no label|no label|"
                            "NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL| | | | | | | "));
    EXPECT_THAT(Rows(path, "SELECT typeof(deviceaddress) FROM applicationinfo"), ElementsAre("text"));
    EXPECT_THAT(Rows(path, "SELECT * FROM applications"),
                ElementsAre("1|USER|HOME|0.126|0.128|0.134||NULL|1200|NULL|NULL|NULL"));
    for (const char* table : {"monitordata_minute", "monitordata_hourly"})
        EXPECT_THAT(Rows(path, std::string("SELECT * FROM ") + table), IsEmpty());
}

TEST_F(SchemaTest, AnExistingDatabaseIsLeftAsItIs) {
    MakeFresh();
    Execute(path, "UPDATE applicationinfo SET ch1alias = 'Main'");
    Execute(path, "INSERT INTO monitordata_minute(date, ch1watt) VALUES ('2026-03-02 10:20:30', 100)");
    const std::string before = folder.Read(u"vrq1.db3"_s);
    EXPECT_THAT(CreateTables(path).Error().toStdString(), HasSubstr("table applicationinfo already exists"));
    EXPECT_EQ(folder.Read(u"vrq1.db3"_s), before);
}

TEST_F(SchemaTest, CreationStopsAtTheFirstError) {
    MakeForeign();
    Execute(path, "CREATE TABLE monitordata_hourly (mine)");
    EXPECT_THAT(CreateTables(path).Error().toStdString(),
                HasSubstr("table monitordata_hourly already exists"));
    EXPECT_THAT(Tables(), ElementsAre("applicationinfo", "applications", "guests", "monitordata_hourly"));
    EXPECT_THAT(Rows(path, "SELECT * FROM applicationinfo"), IsEmpty());
}

TEST_F(SchemaTest, AFileThatCannotBeMadeIsNamed) {
    const std::string unreachable = folder.Path(u"no/such/folder.db3"_s).toStdString();
    EXPECT_THAT(CreateTables(unreachable).Error().toStdString(), HasSubstr(unreachable));
}

TEST_F(SchemaTest, TheVirtualDeviceIsAddedOnceWithTheLabelsOfTheInstallation) {
    const struct {
        InstallationType type;
        const char* labels;
    } cases[] = {
        {InstallationType::ConsumptionOnly,
         "Main Panel Consumption|Not Used|Not Used|Other (Un-Monitored) Loads|Virtual Channel 1|"
         "Virtual Channel 2|Virtual Channel 3"},
        {InstallationType::NetMetering,
         "Net Energy|Energy Sold|Energy Bought|Energy Generated|Energy Consumed|Virtual Channel 2|"
         "Virtual Channel 3"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.labels);
        QFile::remove(QString::fromStdString(path));
        MakeFresh();
        CreateVD1(database, c.type, op);
        // Neither the same nor the other type adds a second row, or changes the labels of the first.
        CreateVD1(database, InstallationType::ConsumptionOnly, op);
        CreateVD1(database, InstallationType::NetMetering, op);
        EXPECT_THAT(Rows(path, "SELECT * FROM applicationinfo WHERE id <> 1"),
                    ElementsAre("9|USER|HOME|999999|" + std::string(c.labels) +
                                "|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL| | | | | | | "));
    }
    EXPECT_THAT(op.Messages(), IsEmpty());
}

TEST_F(SchemaTest, TheVirtualDeviceIsRecognisedInAnyRow) {
    MakeFresh();
    Execute(path, "INSERT INTO applicationinfo(id, deviceaddress) VALUES (2, '301234'), (4, '999999')");
    CreateVD1(database, InstallationType::ConsumptionOnly, op);
    EXPECT_THAT(Rows(path, "SELECT id FROM applicationinfo ORDER BY id"), ElementsAre("1", "2", "4"));
}

TEST_F(SchemaTest, ErrorsOfTheVirtualDeviceAreShown) {
    MakeForeign();
    CreateVD1(database, InstallationType::ConsumptionOnly, op);
    EXPECT_THAT(op.Messages(), ElementsAre("no such table: applicationinfo"));

    Execute(path, "CREATE TABLE applicationinfo (deviceaddress)");
    CreateVD1(database, InstallationType::ConsumptionOnly, op);
    ASSERT_EQ(op.Messages().size(), 2U);
    EXPECT_THAT(op.Messages().back(), HasSubstr("applicationinfo has no column named id"));
}

TEST_F(SchemaTest, TheMinuteTableIsMadeOnceAndSaysHowItWent) {
    MakeFresh();
    {
        // Another writer: reading is possible, making a table is not.
        const auto other = CaptureDatabase::OpenFile(path, false);
        ASSERT_TRUE(other.GetTable("BEGIN IMMEDIATE").Ok());
        EXPECT_FALSE(CreateNewMinuteTable(database, op));
    }
    EXPECT_TRUE(CreateNewMinuteTable(database, op));
    Execute(path, "INSERT INTO minutedata(ch1wma) VALUES (5)");
    EXPECT_TRUE(CreateNewMinuteTable(database, op));
    EXPECT_THAT(op.Messages(), ElementsAre("There was an error creating new \"Minute\" table. Try again.",
                                           "The new \"Minute\" table has been created successfuly.",
                                           "The table already exists."));
    EXPECT_THAT(Rows(path, "SELECT id, ch1wma FROM minutedata"), ElementsAre("1|5"));
    EXPECT_EQ(Columns("minutedata"),
              Joined({{"id INTEGER pk", "date TEXT"},
                      Typed("deviceaddress secondscounter ch1wma ch1wmp ch2wma ch2wmp", "NUMERIC"),
                      Typed("aux1wm aux2wm aux3wm aux4wm aux5wm", "NUMERIC"),
                      {"online BOOLEAN", "username TEXT"}}));
}

TEST_F(SchemaTest, AProbeForTheMinuteTableThatFailsOtherwiseIsShownAsItIs) {
    folder.Write(u"vrq1.db3"_s, std::string(4096, 'x'));
    EXPECT_FALSE(CreateNewMinuteTable(database, op));
    EXPECT_THAT(op.Messages(), ElementsAre("file is not a database"));
}

TEST_F(SchemaTest, PowerTablesWaitForTheCountdownAndLeaveTheirKeyNull) {
    MakeFresh();
    writer.WriteSQL("");
    ASSERT_EQ(writer.WriteCountdown(), 10);
    clock.AdvanceSeconds(9);
    EXPECT_FALSE(CreatePowerTables(database, writer, op));
    EXPECT_THAT(Rows(path, "SELECT name FROM sqlite_master WHERE name LIKE 'minute%'"), IsEmpty());

    clock.AdvanceSeconds(1);
    ScriptedOperator later;
    EXPECT_TRUE(CreatePowerTables(database, writer, later));
    EXPECT_THAT(later.Messages(), IsEmpty());
    const Texts key = {"ID KEY INTEGER pk"};
    EXPECT_EQ(
        Columns("minute_power"),
        Joined({key, Typed("date deviceaddress ch1watt ch2watt aux1watt aux2watt aux3watt aux4watt aux5watt "
                           "volt",
                           "")}));
    EXPECT_EQ(Columns("minute_energy"),
              Joined({key, Typed("date deviceaddress ch1Akwh ch1Pkwh ch2Akwh ch2Pkwh aux1kwh aux2kwh aux3kwh "
                                 "aux4kwh aux5kwh volt",
                                 "")}));
    for (const std::string table : {"minute_power", "minute_energy"}) {
        Execute(path, "INSERT INTO " + table + "(date) VALUES ('2026-03-02 10:20'), ('2026-03-02 10:21')");
        EXPECT_THAT(Rows(path, "SELECT ID, date FROM " + table),
                    ElementsAre("NULL|2026-03-02 10:20", "NULL|2026-03-02 10:21"));
    }
}

TEST_F(SchemaTest, PowerTablesThatExistAreToldAndKept) {
    const struct {
        const char* existing;
        Texts messages;
    } cases[] = {
        {"minute_power", {"error creating power table"}},
        {"minute_energy", {"error creating energy table"}},
    };
    for (const auto& c : cases) {
        QFile::remove(QString::fromStdString(path));
        MakeFresh();
        Execute(path, std::string("CREATE TABLE ") + c.existing + " (mine)");
        ScriptedOperator user;
        EXPECT_FALSE(CreatePowerTables(database, writer, user));
        EXPECT_EQ(user.Messages(), c.messages);
        EXPECT_THAT(Columns(c.existing), ElementsAre("mine"));
        EXPECT_THAT(Rows(path, "SELECT name FROM sqlite_master WHERE name LIKE 'minute%' ORDER BY name"),
                    ElementsAre("minute_energy", "minute_power"))
            << "the other one is made";
    }
}

}  // namespace
}  // namespace corvane
