#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QPushButton>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "support/settings_by_key.h"
#include "window/person.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

const QString kPage = u"database"_s;
class DatabasePageTest : public WindowTest {
protected:
    /// The page over 120 minute rows, half a minute apart, and an hourly row of a serial number that is
    /// short.
    void OpenWithRows() {
        Open(kPage);
        Execute(
            path,
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT 120) INSERT INTO "
            "monitordata_minute(date, deviceaddress, ch1watt) SELECT datetime('2026-01-10 10:00', (30 * "
            "i) || ' seconds'), 300001, i FROM n; INSERT INTO monitordata_hourly(deviceaddress) VALUES (12)");
        Find<QDateEdit>(kPage, u"First day"_s)->setDate(QDate(2026, 1, 9));
        Find<QDateEdit>(kPage, u"Last day"_s)->setDate(QDate(2026, 1, 11));
        Enter(kPage, u"Days"_s, u"1"_s);
    }

    /// Whether a label of the page says so, once a second has passed.
    bool Says(const QString& part) {
        clock.AdvanceSeconds(1);
        const auto labels = window_->findChild<QWidget*>(kPage)->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [&](const QLabel* label) { return label->text().contains(part); });
    }

    std::vector<std::string> Backups() {
        clock.AdvanceSeconds(1);
        const auto* box = Find<QComboBox>(kPage, u"Backup to restore"_s);
        std::vector<std::string> names;
        names.reserve(static_cast<std::size_t>(box->count()));
        for (int i = 0; i < box->count(); ++i)
            names.push_back(box->itemText(i).toStdString());
        return names;
    }

    /// Of the status bar; null while it is not shown.
    QPushButton* CancelButton() {
        for (QPushButton* button : window_->findChildren<QPushButton*>()) {
            if (button->text() == u"Cancel"_s && button->isVisible()) return button;
        }
        return nullptr;
    }

    [[nodiscard]] std::vector<std::string> MinuteRows() const {
        return Rows(path, "SELECT COUNT(*) FROM monitordata_minute");
    }

    const std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
};

TEST_F(DatabasePageTest, TheReturnKeyAndNoLoseNothing) {
    OpenWithRows();
    Click(kPage, u"Back up"_s);
    Through({{"The database has been backed up:"}});
    EXPECT_THAT(Backups(), ElementsAre("vrq1_bak1.db3"));
    const std::string before = folder.Read(u"vrq1.db3"_s);
    const auto files = folder.Entries();
    const struct {
        QString button;
        std::vector<Step> steps;
    } cases[] = {
        {u"Back up"_s,
         {{"Would you like to keep the older backups", Cancel},
          {"The database file has not been backed up! Cancel was selected."}}},
        {u"Back up"_s,
         {{"Would you like to keep the older backups", No},
          {"will be deleted"},
          {"has not been backed up!"}}},
        {u"Restore..."_s,
         {{"Are you sure you want to replace"}, {"The current database file has not been replaced."}}},
        {u"Delete older..."_s, {{"older than 1 days"}, {"Deletion aborted."}}},
        {u"Set to 0"_s, {{"Select a kWh value!"}}},
        {u"Repair hourly table..."_s,
         {{"back up the current database", No}, {"Are you sure"}, {"The hourly table was not repaired."}}},
        {u"Repair minute table..."_s,
         {{"back up the current database", No}, {"Are you sure"}, {"The minute table was not repaired."}}},
        {u"Repair serial numbers..."_s, {{"12 would become 100001"}, {"12 is too short"}}},
        {u"Reset labels..."_s, {{"all of the assigned Labels"}, {"The labels stay as they are."}}},
        {u"Empty the database..."_s, {{"Are you willing to lose all"}, {"Deletion aborted."}}},
        {u"Empty the database..."_s,
         {{"Are you willing", Yes},
          {"advised to backup", No},
          {"will now be deleted"},
          {"Aborting process"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.button.toStdString());
        auto* button = Find<QAbstractButton>(kPage, c.button);
        Click(kPage, c.button);
        EXPECT_NE(button->isEnabled(), c.steps.size() > 1) << "one thing at a time";
        Through(c.steps);
        EXPECT_TRUE(SpinUntil([button] { return button->isEnabled(); }));
        EXPECT_TRUE(folder.Read(u"vrq1.db3"_s) == before);
        EXPECT_EQ(folder.Entries(), files);
    }
}

TEST_F(DatabasePageTest, ABackupBringsBackWhatWasDeleted) {
    OpenWithRows();
    EXPECT_THAT(Backups(), ElementsAre());
    Click(kPage, u"Back up"_s);
    Through({{"The database has been backed up:"}});
    EXPECT_THAT(Backups(), ElementsAre("vrq1_bak1.db3"));
    Click(kPage, u"Empty the database..."_s);
    Through({{"Are you willing", Yes},
             {"advised to backup", No},
             {"will now be deleted", Yes},
             {"Your database is now empty."}});
    EXPECT_THAT(MinuteRows(), ElementsAre("0"));
    Click(kPage, u"Restore..."_s);
    Through({{"vrq1_bak1.db3", Yes}, {"The database has been restored from:"}});
    EXPECT_THAT(MinuteRows(), ElementsAre("120"));
    EXPECT_THAT(Backups(), ElementsAre("vrq1_bak1.db3", "vrq1_bak2.db3")) << "what was replaced is kept";
}

TEST_F(DatabasePageTest, AnotherFileIsTakenOnlyWithConsentAndShownWithItsOwnBackups) {
    for (const QString& backup : {u"vrq1_bak1.db3"_s, u"other_bak1.db3"_s})
        folder.Write(backup, "");
    OpenWithRows();
    const auto choose = [this](const QString& button, const QString& file, const std::vector<Step>& steps) {
        Click(kPage, button);
        EnterFile(folder.Path(file));
        Through(steps);
    };
    choose(u"New..."_s, u"vrq1.db3"_s, {{"Do you wish to overwrite it?"}, {"no file was made."}});
    choose(u"New..."_s, u"other.db3"_s, {{"set it as the default system file?"}});
    choose(u"Open..."_s, u"other.db3"_s, {{"Are you sure"}, {"file has not been replaced."}});
    folder.Write(u"text.db3"_s, "no database");
    choose(u"Open..."_s, u"text.db3"_s,
           {{"Are you sure", Yes}, {"search again?", No}, {"not been replaced"}});
    EXPECT_TRUE(Says(u"/vrq1.db3 ("_s));
    EXPECT_THAT(MinuteRows(), ElementsAre("120"));
    EXPECT_THAT(Backups(), ElementsAre("vrq1_bak1.db3"));

    choose(u"Open..."_s, u"other.db3"_s, {{"Are you sure", Yes}});
    EXPECT_TRUE(Says(u"/other.db3 ("_s));
    EXPECT_THAT(Backups(), ElementsAre("other_bak1.db3"));
}

TEST_F(DatabasePageTest, CondensingShowsHowFarItIsAndCanBeCancelled) {
    OpenWithRows();
    const auto reader = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(reader.GetTable("BEGIN EXCLUSIVE").Ok());  // holds the work until it was cancelled
    Click(kPage, u"Condense"_s);
    Through({{"This process may take several seconds"}});
    EXPECT_EQ(CancelButton(), nullptr);
    clock.AdvanceSeconds(2);
    ASSERT_NE(CancelButton(), nullptr);
    EXPECT_FALSE(Find<QAbstractButton>(kPage, u"Delete"_s)->isEnabled()) << "one thing at a time";
    QTest::mouseClick(CancelButton(), Qt::LeftButton);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(reader.GetTable("ROLLBACK").Ok());
    Through({{"interrupted"}});
    EXPECT_THAT(MinuteRows(), ElementsAre("120"));
    EXPECT_EQ(CancelButton(), nullptr);

    for (const auto& [button, said, left] : {std::tuple(u"Condense"_s, "Condensed: 60 rows are gone.", "60"),
                                             std::tuple(u"Delete"_s, "Deleted: 60 rows are gone.", "0")}) {
        Click(kPage, button);
        Through({{said}});
        EXPECT_THAT(MinuteRows(), ElementsAre(left)) << said;
    }
}

TEST_F(DatabasePageTest, WritingIsSwitchedAndItsFrequencyChecked) {
    Open(kPage);
    Enter(kPage, u"Seconds between writes"_s, u"2"_s);
    for (const auto& [text, refusal] : {std::pair(u"61"_s, "Not within acceptable range of 3 to 60 seconds"),
                                        std::pair(u"0"_s, "Not within acceptable range of 3 to 60 seconds"),
                                        std::pair(u"often"_s, "Must be a numeric value")}) {
        Enter(kPage, u"Seconds between writes"_s, text);
        Through({{refusal}});
        EXPECT_EQ(Find<QLineEdit>(kPage, u"Seconds between writes"_s)->text(), u"10"_s);
        EXPECT_EQ(KeptByKey(program_->settings, u"DBwriteFrequency"_s), u"2"_s);
    }
    for (const bool on : {false, true}) {
        QTest::mouseClick(Find<QCheckBox>(kPage, u"Write to SQLite3"_s), Qt::LeftButton, {}, QPoint(8, 8));
        EXPECT_EQ(program_->dbWriter.Enabled(), on);
    }
}

TEST_F(DatabasePageTest, HowTheLastWriteWentIsShown) {
    Open(kPage);
    const QLabel* last = nullptr;
    for (const QLabel* label : window_->findChild<QWidget*>(kPage)->findChildren<QLabel*>()) {
        if (label->accessibleName() == u"Last write"_s) last = label;
    }
    ASSERT_NE(last, nullptr);
    const auto write = [this](const std::string& statement) {
        program_->dbWriter.ForceNextBurst();
        program_->dbWriter.WriteSQL(statement);
        clock.AdvanceSeconds(1);
    };
    const std::string good = "INSERT INTO monitordata_minute(date) VALUES ('now')";
    write(good);
    EXPECT_EQ(last->text(), u"DB Write OK"_s);
    const QString green = last->styleSheet();

    const auto reader = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(reader.GetTable("BEGIN EXCLUSIVE").Ok());
    write(good);
    EXPECT_EQ(last->text(), u"-"_s);
    EXPECT_NE(last->styleSheet(), green);
    EXPECT_TRUE(Says(u"DB Buffer = 1"_s));
    for (const auto& [button, said] :
         {std::pair(u"Test column types"_s, "database is locked\n\ndatabase is locked"),
          std::pair(u"Create minute table"_s, "database is locked")}) {
        Click(kPage, button);
        Through({{said}});
    }
    ASSERT_TRUE(reader.GetTable("ROLLBACK").Ok());
    write(good);
    EXPECT_EQ(last->styleSheet(), green);
    EXPECT_TRUE(Says(u"DB Buffer = 0"_s));
    write("INSERT INTO missing VALUES (1)");
    write(good);
    EXPECT_TRUE(Says(u"   no such table: missing"_s));
    EXPECT_NE(last->styleSheet(), green);
}

TEST_F(DatabasePageTest, WhereTheFileIsGoneItIsSaidAndNoOtherIsMade) {
    OpenWithRows();
    ASSERT_TRUE(QFile::remove(folder.Path(u"vrq1.db3"_s)));
    Find<QComboBox>(kPage, u"Highest proper kWh value"_s)->setCurrentText(u"1000"_s);
    const char* const kGone = "unable to open database file";
    const std::pair<QString, std::vector<Step>> cases[] = {
        {u"Back up"_s, {{kGone}}},
        {u"Condense"_s, {{"Error DB2"}}},
        {u"Delete"_s, {{"Error DB2"}}},
        {u"Delete older..."_s, {{"older than 1 days", Yes}, {"Error DB2"}}},
        {u"Set to 0"_s, {{"Error DB2"}}},
        {u"Test column types"_s, {{kGone}}},
        {u"Repair minute table..."_s, {{"back up", No}, {"Are you sure", Yes}, {"Error DB2"}}},
        {u"Repair serial numbers..."_s, {{"Error DB2"}}},
        {u"Create power tables"_s, {{"atabase"}}},
        {u"Create minute table"_s, {{kGone}}},
    };
    for (const auto& [button, steps] : cases) {
        SCOPED_TRACE(button.toStdString());
        Click(kPage, button);
        Through(steps);
        EXPECT_FALSE(QFile::exists(folder.Path(u"vrq1.db3"_s)));
    }
}

TEST_F(DatabasePageTest, ATaskOfTheNightIsSwitchedOnOnlyWithAProperCountOfDays) {
    Open(kPage);
    const std::tuple<QString, const NightlyRuns::Task*, int> tasks[] = {
        {u"Condense data older than days"_s, &NightlyRuns::kCondense, 7},
        {u"Delete data older than days"_s, &NightlyRuns::kDelete, 31}};
    for (const auto& [name, task, days] : tasks) {
        SCOPED_TRACE(name.toStdString());
        const NightlyRuns& runs = program_->nightlyRuns;
        auto* on = Find<QCheckBox>(kPage, name);
        auto* entry = Find<QLineEdit>(kPage, name);
        EXPECT_EQ(entry->text(), QString::number(days));
        for (const auto& [text, refusal] : {std::pair(u"1501"_s, "Number of days is too high."),
                                            std::pair(u"0"_s, "Must be 1 day or greater."),
                                            std::pair(u"week"_s, "Must be a numeric value")}) {
            entry->setText(text);
            QTest::mouseClick(on, Qt::LeftButton, {}, QPoint(8, 8));
            Through({{refusal}});
            EXPECT_FALSE(on->isChecked());
            EXPECT_FALSE(runs.IsOn(*task));
            EXPECT_EQ(entry->text(), QString::number(days)) << "the old count holds";
        }
        QTest::mouseClick(on, Qt::LeftButton, {}, QPoint(8, 8));
        EXPECT_TRUE(runs.IsOn(*task));
        Enter(kPage, name, u"90"_s);
        EXPECT_EQ(runs.Days(*task), 90);
        QTest::mouseClick(on, Qt::LeftButton, {}, QPoint(8, 8));
        EXPECT_FALSE(runs.IsOn(*task));
    }
}

}  // namespace
}  // namespace corvane
