#include "store/database_files.h"

#include <QCoroTask>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "rows.h"
#include "store/capture_database.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const char* const kUseIt =
    "The database has been created successfuly. Would you like to set it as the default system file?";
const char* const kProceed =
    "If you use this new file, you will need to do the following:\n"
    "1. Configure the number of channels.\n"
    "2. Assign new labels.\n"
    "3. Change the dashboard database path and filename, if using the dashboard.\n"
    "\n"
    "Would you like to proceed?";
const char* const kDelete =
    "There was an error creating the database file. Would you like to delete the file and try again?";

struct DatabaseFilesTest : testing::Test {
    TempFolder folder;  ///< the data folder
    TempFolder elsewhere;
    SettingsStore settings{elsewhere.Path(u"corvane.ini"_s)};
    CaptureDatabase database{""};
    DatabaseFiles files{database, settings, folder.Path()};
    ScriptedOperator op;

    /// What a start fails with; empty where it succeeds.
    std::string Start() {
        std::string error = "never ended";
        QCoro::waitFor([](DatabaseFilesTest& test, std::string& result) -> QCoro::Task<> {
            result = (co_await test.files.GetDBfile2(test.op)).Error().toStdString();
        }(*this, error));
        return error;
    }
    bool Create(const QString& path) { return QCoro::waitFor(files.CreateNewDB(path, op)); }

    [[nodiscard]] std::string Setting(const QString& key) const {
        return settings.GetSetting(key, u"absent"_s).toStdString();
    }
};

TEST_F(DatabaseFilesTest, TheFirstStartMakesAFileInTheDataFolder) {
    op.WillAnswer(kUseIt, Answer::Yes);
    op.WillAnswer(kProceed, Answer::Yes);
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(database.databasePath(), folder.Path(u"vrq1.db3"_s).toStdString());
    EXPECT_THAT(Rows(database.databasePath(), "SELECT id FROM applicationinfo"), ElementsAre("1"));
    EXPECT_EQ(Setting(u"DBfile"_s), "vrq1.db3") << "a bare name, so that the folder can be moved";
    EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    for (const Question& question : op.Questions())
        EXPECT_EQ(question.safe, Answer::Yes) << "a service that cannot ask starts with a new file";
}

TEST_F(DatabaseFilesTest, TheStoredFileIsTakenWithoutAWordAndNotReplacedWhenItIsGone) {
    const QString bare = u"home.db3"_s;
    const QString inside = folder.Path(u"Zähler 2.db3"_s);
    const QString outside = elsewhere.Path(u"other.db3"_s);
    for (const auto& [stored, file, remembered] :
         std::vector<std::array<QString, 3>>{{bare, folder.Path(bare), bare},
                                             {inside, inside, u"Zähler 2.db3"_s},
                                             {outside, outside, outside}}) {
        SCOPED_TRACE(stored.toStdString());
        ASSERT_TRUE(CreateTables(file.toStdString()));
        settings.SaveSetting(u"DBfile"_s, stored);
        EXPECT_EQ(Start(), "");
        EXPECT_EQ(database.databasePath(), file.toStdString());
        EXPECT_EQ(Setting(u"DBfile"_s), remembered.toStdString());
        EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    }
    EXPECT_THAT(op.Messages(), IsEmpty());

    ASSERT_TRUE(QFile::remove(outside));
    const std::string error = Start();
    EXPECT_THAT(error, HasSubstr(outside.toStdString()));
    EXPECT_THAT(error, HasSubstr("This program requires a valid database file to operate. "
                                 "The program will now close."));
    EXPECT_FALSE(QFile::exists(outside));
    EXPECT_EQ(Setting(u"DBfile"_s), outside.toStdString());
}

TEST_F(DatabaseFilesTest, WhatIsNoCaptureDatabaseIsRefusedAndLeftAlone) {
    for (const auto& [bytes, error] : std::vector<std::pair<std::string, const char*>>{
             {"", "no such table: applicationinfo"},
             {"not a database, but long enough: " + std::string(100, 'x'), "file is not a database"}}) {
        folder.Write(u"vrq1.db3"_s, bytes);
        const std::string refusal = Start();
        for (const char* part : {error, "vrq1.db3",
                                 "A proper database file is required to run this program. The program will "
                                 "now terminate."})
            EXPECT_THAT(refusal, HasSubstr(part));
        EXPECT_EQ(folder.Read(u"vrq1.db3"_s), bytes);
    }
    settings.SaveSetting(u"DBfile"_s, u"."_s);
    EXPECT_NE(Start(), "") << "a folder in place of the file";
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(database.databasePath(), "");
    EXPECT_EQ(Setting(u"DBestablished"_s), "absent");
}

TEST_F(DatabaseFilesTest, ANewFileComesIntoForceOnlyAfterTwoConsents) {
    ASSERT_TRUE(CreateTables(folder.Path(u"vrq1.db3"_s).toStdString()));
    ASSERT_EQ(Start(), "");
    for (const auto& [name, answers] :
         std::vector<std::pair<QString, std::vector<Answer>>>{{u"a.db3"_s, {Answer::No}},
                                                              {u"b.db3"_s, {Answer::Yes, Answer::No}},
                                                              {u"c.db3"_s, {Answer::Cancel}},
                                                              {u"d.db3"_s, {Answer::Yes, Answer::Yes}}}) {
        SCOPED_TRACE(name.toStdString());
        op.WillAnswer(kUseIt, answers.front());
        if (answers.size() > 1) op.WillAnswer(kProceed, answers.back());
        const bool taken = answers.back() == Answer::Yes;
        EXPECT_EQ(Create(folder.Path(name)), taken);
        const QString inForce = taken ? name : u"vrq1.db3"_s;
        EXPECT_EQ(database.databasePath(), folder.Path(inForce).toStdString());
        EXPECT_EQ(Setting(u"DBfile"_s), inForce.toStdString());
        EXPECT_THAT(Rows(folder.Path(name).toStdString(), "SELECT id FROM applications"), ElementsAre("1"));
    }
    for (const Question& question : op.Questions())
        EXPECT_EQ(question.safe, Answer::No) << "one that cannot be asked keeps the file in force";
}

TEST_F(DatabaseFilesTest, AFailedCreationDeletesTheFileOnlyWhenToldTo) {
    const QString path = folder.Path(u"old.db3"_s);
    ASSERT_TRUE(CreateTables(path.toStdString()));
    const std::string before = folder.Read(u"old.db3"_s);
    for (const Answer answer : {Answer::No, Answer::Cancel, Answer::Yes}) {
        EXPECT_EQ(folder.Read(u"old.db3"_s), before);
        op.WillAnswer(path.toStdString() + "\n\n" + kDelete, answer);
        EXPECT_FALSE(Create(path));
        ASSERT_FALSE(op.Messages().empty());
        EXPECT_THAT(op.Messages().back(), HasSubstr("table applicationinfo already exists"));
        EXPECT_EQ(op.Questions().back().safe, Answer::No) << "data are never deleted unasked";
    }
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(Setting(u"DBfile"_s), "absent");
}

}  // namespace
}  // namespace corvane
