#include "store/upkeep/database_files.h"

#include <QCoroTask>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "store/upkeep/maintenance_fixture.h"
#include "support/settings_by_key.h"

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

const char* const kNotFound = "Database Not Found";
const char* const kSearch = "Would you like to Search or Create a new one?";
const char* const kAgain =
    "The chosen database file is incorrect or corrupted. Would you like to search again?";
const char* const kFileName = "Enter a database filename to create.";
const char* const kSelect = "Select Database File";
const char* const kReplace = "Are you sure you want to replace:";
const char* const kOverwrite = "already exits.\nDo you wish to overwrite it?";
const char* const kBackupFirst = "Would you like to make a backup of the database file before deleting it?";

struct DatabaseFilesTest : MaintenanceFixture {
    DatabaseFiles files{database, settings, writer, backups, folder.Path()};

    /// A data folder where no program ever ran.
    DatabaseFilesTest() {
        QFile::remove(QString::fromStdString(path));
        database.UseFile("");
    }

    /// What a start fails with; empty where it succeeds.
    std::string Start() {
        std::string error = "never ended";
        QCoro::waitFor([](DatabaseFilesTest& test, std::string& result) -> QCoro::Task<> {
            result = (co_await test.files.GetDBfile2(test.op)).Error().toStdString();
        }(*this, error));
        return error;
    }
    bool Create(const QString& target) { return QCoro::waitFor(files.CreateNewDB(target, op)); }

    [[nodiscard]] std::string Setting(const QString& key) const {
        return KeptByKey(settings, key, u"absent"_s).toStdString();
    }
};

TEST_F(DatabaseFilesTest, TheFirstStartMakesAFileInTheDataFolder) {
    op.WillAnswer(kNotFound, Answer::No);
    op.WillEnter(kFileName, u"vrq1"_s);
    op.WillAnswer(kUseIt, Answer::Yes);
    op.WillAnswer(kProceed, Answer::Yes);
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(database.databasePath(), folder.Path(u"vrq1.db3"_s).toStdString());
    EXPECT_THAT(Rows(database.databasePath(), "SELECT id FROM applicationinfo"), ElementsAre("1"));
    EXPECT_EQ(Setting(u"DBfile"_s), "vrq1.db3") << "a bare name, so that the folder can be moved";
    EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    EXPECT_EQ(op.Questions().front().no, u"Create New"_s);
    EXPECT_EQ(op.Questions().front().safe, Answer::No) << "a service that cannot ask starts with a new file";
    for (const std::size_t consent : {2U, 3U})
        EXPECT_EQ(op.Questions().at(consent).safe, Answer::Yes);
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
        KeepByKey(settings, u"DBfile"_s, stored);
        EXPECT_EQ(Start(), "");
        EXPECT_EQ(database.databasePath(), file.toStdString());
        EXPECT_EQ(Setting(u"DBfile"_s), remembered.toStdString());
        EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    }
    EXPECT_THAT(op.Messages(), IsEmpty());

    ASSERT_TRUE(QFile::remove(outside));
    op.WillAnswer(kNotFound, Answer::Yes);
    op.WillEnter(kSelect, std::nullopt);
    op.WillAnswer(kSearch, Answer::No);
    const std::string error = Start();
    EXPECT_EQ(op.Questions().at(0).safe, Answer::Yes) << "nothing new beside what is missing";
    EXPECT_EQ(op.Questions().at(2).safe, Answer::No);
    EXPECT_EQ(op.Messages().back(),
              "No database file found. Click the database tab and locate the \".db3\" database file.");
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
        op.WillAnswer(kAgain, Answer::No);
        EXPECT_EQ(Start(),
                  "A proper database file is required to run this program. The program will now terminate.");
        for (const char* part : {error, "vrq1.db3"})
            EXPECT_THAT(op.Messages().back(), HasSubstr(part));
        EXPECT_EQ(folder.Read(u"vrq1.db3"_s), bytes);
    }
    KeepByKey(settings, u"DBfile"_s, u"."_s);
    op.WillAnswer(kAgain, Answer::No);
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
        writer.WriteSQL("insert into monitordata_hourly(date) values ('of before')");
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
        EXPECT_EQ(question.safe, Answer::No) << "one that cannot be asked keeps the file in use";
    writer.Flush();
    EXPECT_THAT(Rows(path, "SELECT COUNT(*) FROM monitordata_hourly"), ElementsAre("5"))
        << "what was captured before the change, the first record twice";
    EXPECT_THAT(Rows(database.databasePath(), "SELECT id FROM monitordata_hourly"), IsEmpty());
}

TEST_F(DatabaseFilesTest, AFailedCreationDeletesTheFileOnlyWhenToldTo) {
    const QString old = folder.Path(u"old.db3"_s);
    ASSERT_TRUE(CreateTables(old.toStdString()));
    const std::string before = folder.Read(u"old.db3"_s);
    for (const Answer answer : {Answer::No, Answer::Cancel, Answer::Yes}) {
        EXPECT_EQ(folder.Read(u"old.db3"_s), before);
        op.WillAnswer(old.toStdString() + "\n\n" + kDelete, answer);
        EXPECT_FALSE(Create(old));
        ASSERT_FALSE(op.Messages().empty());
        EXPECT_THAT(op.Messages().back(), HasSubstr("table applicationinfo already exists"));
        EXPECT_EQ(op.Questions().back().safe, Answer::No) << "data are never deleted unasked";
    }
    EXPECT_FALSE(QFile::exists(old));
    EXPECT_EQ(Setting(u"DBfile"_s), "absent");
}

TEST_F(DatabaseFilesTest, AUserMaySearchAtTheStartUntilAGoodFileIsFound) {
    folder.Write(u"broken.db3"_s, "not a database, but long enough");
    ASSERT_TRUE(CreateTables(elsewhere.Path(u"good.db3"_s).toStdString()));
    op.WillAnswer(kNotFound, Answer::Yes);
    op.WillEnter(kSelect, u"nowhere.db3"_s);
    op.WillAnswer(kSearch, Answer::Yes);
    op.WillAnswer(kNotFound, Answer::Yes);
    op.WillEnter(kSelect, u"broken.db3"_s);
    op.WillAnswer(kAgain, Answer::Yes);
    op.WillEnter(kSelect, elsewhere.Path(u"good.db3"_s));
    EXPECT_EQ(Start(), "");
    EXPECT_EQ(Setting(u"DBfile"_s), elsewhere.Path(u"good.db3"_s).toStdString());
}

TEST_F(DatabaseFilesTest, AnotherFileIsOpenedOnlyWhenItIsGoodAndTheUserIsSure) {
    for (const QString& name : {u"vrq1.db3"_s, u"Other.DB3"_s, u"text.db"_s})
        ASSERT_TRUE(CreateTables(folder.Path(name).toStdString()));
    folder.Write(u"broken.db3"_s, "not a database, but long enough");
    ASSERT_EQ(Start(), "");
    const auto open = [this](const QString& name) {
        op.WillEnter(kSelect, name);
        return Result(files.OpenDatabase(op));
    };
    const std::string kept = "The current database file has not been replaced.";
    EXPECT_EQ(open(folder.Path(u"vrq1.db3"_s)), "");
    EXPECT_EQ(op.Messages().back(), "You have selected the existing file...... Database file is unchanged.");
    EXPECT_EQ(open(u"text.db"_s), "The selected file is not a valid VRQ database file.");
    EXPECT_EQ(open(u" "_s), kept);
    for (const auto& [name, answers] : {std::pair{u"Other.DB3"_s, std::vector{kReplace}},
                                        {u"broken.db3"_s, std::vector{kReplace, kAgain}}}) {
        op.WillEnter(kSelect, name);
        for (const char* question : answers)
            op.WillAnswer(question, question == answers.back() ? Answer::No : Answer::Yes);
        EXPECT_EQ(Result(files.OpenDatabase(op)), kept);
        EXPECT_EQ(Setting(u"DBfile"_s), "vrq1.db3");
    }

    // Records from before the change go to the file that was in use.
    writer.WriteSQL("insert into monitordata_hourly(date) values ('first')");
    writer.WriteSQL("insert into monitordata_hourly(date) values ('second')");
    settings.Save(kDatabaseEnabled, false);
    op.WillAnswer("The \"Write to SQLite3\" option is currently not checked.", Answer::Yes);
    op.WillEnter(kSelect, u"Other.DB3"_s);
    op.WillAnswer(kReplace, Answer::Yes);
    EXPECT_EQ(Result(files.OpenDatabase(op)), "");
    EXPECT_TRUE(writer.Enabled());
    EXPECT_TRUE(files.TestValidDBfile());
    EXPECT_EQ(Setting(u"DBfile"_s), "Other.DB3");
    EXPECT_THAT(Rows(path, "SELECT DISTINCT date FROM monitordata_hourly"), ElementsAre("first", "second"));
    writer.Flush();
    EXPECT_THAT(Rows(database.databasePath(), "SELECT date FROM monitordata_hourly"), IsEmpty());
}

TEST_F(DatabaseFilesTest, AFileIsOverwrittenByANewOneOnlyAfterAskingAndSavedIfWanted) {
    ASSERT_TRUE(CreateTables(path));
    Execute(path, "UPDATE applications SET kwhcost1='9'");
    ASSERT_EQ(Start(), "");
    const std::string cost = "SELECT kwhcost1 FROM applications";
    op.WillEnter(kFileName, u"vrq1"_s);
    op.WillAnswer(kOverwrite, Answer::No);
    EXPECT_EQ(Result(files.NewDatabase(op)), path + " stays as it is; no file was made.");
    EXPECT_THAT(Rows(path, cost), ElementsAre("9"));
    folder.Write(u"vrq1_bak1.db3"_s, "an older one");
    for (const char* date : {"first", "second"})
        writer.WriteSQL("insert into monitordata_hourly(date) values ('" + std::string(date) + "')");
    int adopted = 0;
    QObject::connect(&files, &DatabaseFiles::Adopted, &files, [&adopted] { ++adopted; });
    for (const Answer keep : {Answer::Cancel, Answer::Yes}) {
        EXPECT_THAT(Rows(path, cost), ElementsAre("9")) << "a backup that was wanted must succeed";
        op.WillEnter(kFileName, u"vrq1.db3"_s);
        op.WillAnswer(kOverwrite, Answer::Yes);
        op.WillAnswer(kBackupFirst, Answer::Yes);
        op.WillAnswer("keep the older backups", keep);
        if (keep == Answer::Yes) op.WillAnswer(kUseIt, Answer::No);
        EXPECT_EQ(Result(files.NewDatabase(op)).empty(), keep == Answer::Yes);
        EXPECT_EQ(adopted, keep == Answer::Yes ? 1 : 0) << "the file in use has other tables now";
    }
    EXPECT_THAT(Rows(path, cost), ElementsAre("0.126"));
    writer.Flush();
    EXPECT_THAT(Rows(path, "SELECT date FROM monitordata_hourly"), IsEmpty());
    const std::string backup = folder.Path(u"vrq1_bak2.db3"_s).toStdString();
    EXPECT_THAT(Rows(backup, cost), ElementsAre("9"));
    EXPECT_THAT(Rows(backup, "SELECT DISTINCT date FROM monitordata_hourly"), ElementsAre("first", "second"));

    ASSERT_TRUE(QDir(folder.Path()).mkpath(u"folder.db3/kept"_s));
    for (const auto& [name, answer, error] :
         std::vector<std::tuple<std::optional<QString>, Answer, std::string>>{
             {std::nullopt, Answer::No, "No file was named; none was made."},
             {u"folder"_s, Answer::Yes, "cannot be deleted: "}}) {
        op.WillEnter(kFileName, name);
        if (answer == Answer::Yes) {
            op.WillAnswer(kOverwrite, Answer::Yes);
            op.WillAnswer(kBackupFirst, Answer::No);
        }
        EXPECT_THAT(Result(files.NewDatabase(op)), HasSubstr(error));
    }
}

TEST_F(DatabaseFilesTest, AddressesThatDifferFromTheBoundSerialsAreCorrectedIfWanted) {
    ASSERT_TRUE(CreateTables(path));
    ASSERT_EQ(Start(), "");
    KeepByKey(settings, u"DevSerial"_s, u"000301"_s, u"0"_s);
    KeepByKey(settings, u"DevSerial"_s, u"302"_s, u"1"_s);
    const char* const kMismatch =
        "The device serial number does not match that of the database configuration. Would you like to "
        "correct this?";
    const std::string address = "SELECT deviceaddress FROM applicationinfo";
    for (const auto& [answer, after] : {std::pair{Answer::No, ""}, {Answer::Yes, "301"}}) {
        op.WillAnswer(kMismatch, answer);
        EXPECT_EQ(Result(files.VerifyDBdeviceAdrs(1, op)), "");
        EXPECT_THAT(Rows(path, address), ElementsAre(after));
    }
    for (const int position : {1, 2})  // the same number now, and a device without a row
        EXPECT_EQ(Result(files.VerifyDBdeviceAdrs(position, op)), "");
}

}  // namespace
}  // namespace corvane
