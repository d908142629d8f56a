#include "store/schema.h"

#include <gmock/gmock.h>

#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/rows.h"
#include "store/settings_store.h"
#include "store/settle_bursts.h"
#include "support/data_lines.h"
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

    void SetUp() override { ASSERT_EQ(CreateTables(path).Error().toStdString(), ""); }

    [[nodiscard]] Texts Tables() const {
        return Rows(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
    }

    /// The columns in their order, with the type in front of the columns that share it: "TEXT: a b NUMERIC:
    /// c". The primary key has a "*" behind its name.
    [[nodiscard]] std::string Columns(const std::string& table) const {
        const CaptureDatabase file(path);
        std::string text;
        std::string last;
        for (const auto& row : file.Run("PRAGMA table_info(" + table + ")").rows) {
            const std::string type = QString::fromStdString(row[2].value()).toUpper().toStdString();
            if (type != last) text += type + ": ";
            text += row[1].value() + (row[5] == "0" ? " " : "* ");
            last = type;
        }
        return text;
    }
};

TEST_F(SchemaTest, TheTablesAreThoseThatDashboardsRead) {
    ASSERT_TRUE(CreateNewMinuteTable(database, op));
    ASSERT_TRUE(CreatePowerTables(database, writer, op));
    Texts names;
    for (const DataLine& line : LinesOf("Columns")) {
        names.push_back(line.Word(0));
        EXPECT_EQ(Columns(line.Word(0)), line.Word(1) + ' ') << line;
    }
    EXPECT_EQ(Tables(), names);
    for (const std::string table : {"minute_power", "minute_energy"}) {
        Execute(path, "INSERT INTO " + table + "(date) VALUES ('a'), ('b')");
        EXPECT_THAT(Rows(path, "SELECT ID, date FROM " + table), ElementsAre("NULL|a", "NULL|b"));
    }
}

TEST_F(SchemaTest, AFreshFileHasTheRowOfDeviceAAndTheTariff) {
    EXPECT_THAT(
        Rows(path, "SELECT typeof(deviceaddress), * FROM applicationinfo"),
        ElementsAre("text|1|USER|HOME||no label|no label|no label|no label|no label|no label|no label|"
                    "NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL| | | | | | | "));
    EXPECT_THAT(Rows(path, "SELECT * FROM applications"),
                ElementsAre("1|USER|HOME|0.126|0.128|0.134||NULL|1200|NULL|NULL|NULL"));
}

TEST_F(SchemaTest, CreationStopsAtTheFirstErrorAndOverwritesNothing) {
    const std::string before = folder.Read(u"vrq1.db3"_s);
    EXPECT_THAT(CreateTables(path).Error().toStdString(), HasSubstr("table applicationinfo already exists"));
    EXPECT_EQ(folder.Read(u"vrq1.db3"_s), before);

    Execute(path, "DROP TABLE applicationinfo");
    EXPECT_THAT(CreateTables(path).Error().toStdString(), HasSubstr("table applications already exists"));
    EXPECT_THAT(Tables(), testing::SizeIs(3)) << "nothing stays of what was begun";
    const std::string unreachable = folder.Path(u"no/such/folder.db3"_s).toStdString();
    EXPECT_THAT(CreateTables(unreachable).Error().toStdString(), HasSubstr(unreachable));
}

TEST_F(SchemaTest, ANewFileAppearsWholeWhateverAKilledProgramLeft) {
    folder.Write(u"other.db3.new"_s, "half a file");
    folder.Write(u"other.db3.new-journal"_s, "and its journal");
    EXPECT_TRUE(CreateTables(folder.Path(u"other.db3"_s).toStdString()));
    EXPECT_THAT(folder.Entries(), ElementsAre("other.db3", "vrq1.db3"));
    EXPECT_EQ(CheckDatabaseFile(folder.Path(u"other.db3"_s)).verdict, FileVerdict::Fine);
}

TEST_F(SchemaTest, TablesThatAreMissingAreMadeAndNothingElseIsTouched) {
    const QString file = folder.Path(u"vrq1.db3"_s);
    const auto mend = [&file] {
        const MendedTables mended = MendTables(file);
        EXPECT_EQ(mended.check.verdict, FileVerdict::Fine) << mended.check.text.toStdString();
        return mended.names.join(u' ').toStdString();
    };
    EXPECT_EQ(mend(), "");
    Execute(path, "UPDATE applications SET kwhcost1 = 9");
    Execute(path, "UPDATE applicationinfo SET ch1alias = 'Roof'");
    for (const std::string table : {"monitordata_hourly", "monitordata_minute", "applicationinfo"}) {
        Execute(path, "DROP TABLE " + table);
        EXPECT_EQ(mend(), table);
    }
    EXPECT_THAT(Rows(path, "SELECT kwhcost1 FROM applications"), ElementsAre("9"));
    EXPECT_THAT(Rows(path, "SELECT id, ch1alias FROM applicationinfo"), ElementsAre("1|no label"));
    const std::string columns = Columns("monitordata_minute");

    folder.Write(u"vrq1.db3"_s, "");  // as a start leaves it that was cut short
    EXPECT_EQ(mend(), "applicationinfo applications monitordata_hourly monitordata_minute");
    EXPECT_EQ(Columns("monitordata_minute"), columns);
    EXPECT_THAT(Rows(path, "SELECT kwhcost1 FROM applications"), ElementsAre("0.126"));

    folder.Write(u"vrq1.db3"_s, "");
    Execute(path, "CREATE TABLE songs (name)");
    EXPECT_EQ(mend(), "") << "another program's";
    EXPECT_THAT(Tables(), ElementsAre("songs"));
    Execute(path, "CREATE TABLE APPLICATIONS (mine)");
    const auto other = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(other.GetTable("BEGIN IMMEDIATE").Ok());
    EXPECT_EQ(MendTables(file).check.verdict, FileVerdict::Locked);
}

TEST_F(SchemaTest, TheVirtualDeviceIsAddedOnceWithTheLabelsOfTheInstallation) {
    using enum InstallationType;
    for (const auto& [type, labels] : std::vector<std::pair<InstallationType, std::string>>{
             {ConsumptionOnly,
              "Main Panel Consumption|Not Used|Not Used|Other (Un-Monitored) Loads|Virtual Channel 1|"
              "Virtual Channel 2|Virtual Channel 3"},
             {NetMetering,
              "Net Energy|Energy Sold|Energy Bought|Energy Generated|Energy Consumed|Virtual Channel 2|"
              "Virtual Channel 3"}}) {
        Execute(path, "DELETE FROM applicationinfo WHERE id <> 1");
        // Neither the same nor the other type adds a second row, or changes the labels of the first.
        for (const InstallationType each : {type, ConsumptionOnly, NetMetering})
            EXPECT_TRUE(CreateVD1(database, each, op));
        EXPECT_THAT(Rows(path, "SELECT * FROM applicationinfo WHERE id <> 1"),
                    ElementsAre("9|USER|HOME|999999|" + labels +
                                "|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL| | | | | | | "));
    }
    Execute(path, "UPDATE applicationinfo SET id = 4 WHERE id = 9");
    EXPECT_TRUE(CreateVD1(database, ConsumptionOnly, op));
    EXPECT_THAT(Rows(path, "SELECT id FROM applicationinfo"), ElementsAre("1", "4")) << "known in any row";
    EXPECT_THAT(op.Messages(), IsEmpty());

    Execute(path, "DROP TABLE applicationinfo");
    EXPECT_FALSE(CreateVD1(database, ConsumptionOnly, op));
    EXPECT_THAT(op.Messages(), ElementsAre("no such table: applicationinfo"));
}

TEST_F(SchemaTest, TheMinuteTableIsMadeOnceAndSaysHowItWent) {
    {
        // Another writer: reading is possible, making a table is not.
        const auto other = CaptureDatabase::OpenFile(path, false);
        ASSERT_TRUE(other.GetTable("BEGIN IMMEDIATE").Ok());
        EXPECT_FALSE(CreateNewMinuteTable(database, op));
    }
    EXPECT_TRUE(CreateNewMinuteTable(database, op));
    Execute(path, "INSERT INTO minutedata(ch1wma) VALUES (5)");
    EXPECT_TRUE(CreateNewMinuteTable(database, op));
    EXPECT_THAT(Rows(path, "SELECT id, ch1wma FROM minutedata"), ElementsAre("1|5"));
    folder.Write(u"vrq1.db3"_s, std::string(4096, 'x'));
    EXPECT_FALSE(CreateNewMinuteTable(database, op));
    EXPECT_THAT(op.Messages(), ElementsAre("There was an error creating new \"Minute\" table. Try again.",
                                           "The new \"Minute\" table has been created successfuly.",
                                           "The table already exists.", "file is not a database"));
}

TEST_F(SchemaTest, PowerTablesWaitForTheCountdownAndExistingOnesAreKept) {
    writer.WriteSQL("");
    SettleBursts(writer);
    clock.AdvanceSeconds(9);
    EXPECT_FALSE(CreatePowerTables(database, writer, op));
    EXPECT_THAT(Tables(), testing::SizeIs(4));

    clock.AdvanceSeconds(1);
    {
        const auto other = CaptureDatabase::OpenFile(path, false);
        ASSERT_TRUE(other.GetTable("BEGIN IMMEDIATE").Ok());
        EXPECT_FALSE(CreatePowerTables(database, writer, op));
    }
    Texts said = {"The tables are not made while a write to the database is due; try again in 1 seconds.",
                  "error creating power table", "database is locked", "error creating energy table",
                  "database is locked"};
    for (const auto& [existing, message] :
         std::vector<std::pair<std::string, const char*>>{{"minute_power", "error creating power table"},
                                                          {"minute_energy", "error creating energy table"}}) {
        Execute(path, "DROP TABLE IF EXISTS minute_power");
        Execute(path, "DROP TABLE IF EXISTS minute_energy");
        Execute(path, "CREATE TABLE " + existing + " (mine)");
        EXPECT_FALSE(CreatePowerTables(database, writer, op));
        said.insert(said.end(), {message, "table " + existing + " already exists"});
        EXPECT_EQ(Columns(existing), "mine ");
        EXPECT_THAT(Tables(), testing::SizeIs(6)) << "the other one is made";
    }
    EXPECT_EQ(op.Messages(), said);
}

}  // namespace
}  // namespace corvane
