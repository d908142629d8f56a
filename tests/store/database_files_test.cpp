#include "store/database_files.h"

#include <QCoroTask>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

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

const char* const kUseIt = "Would you like to set it as the default system file?";
const char* const kProceed = "Would you like to proceed?";
const char* const kDelete = "Would you like to delete the file and try again?";

struct DatabaseFilesTest : testing::Test {
    TempFolder folder;  ///< the data folder
    TempFolder elsewhere;
    SettingsStore settings{elsewhere.Path(u"corvane.ini"_s)};
    CaptureDatabase database{""};
    DatabaseFiles files{database, settings, folder.Path()};
    ScriptedOperator op;

    Outcome Start() {
        std::optional<Outcome> outcome;
        QCoro::waitFor([](DatabaseFilesTest& test, std::optional<Outcome>& result) -> QCoro::Task<> {
            result = co_await test.files.GetDBfile2(test.op);
        }(*this, outcome));
        return outcome.value();
    }
    bool Create(const QString& path) { return QCoro::waitFor(files.CreateNewDB(path, op)); }

    [[nodiscard]] std::string Setting(const QString& key) const {
        return settings.GetSetting(key, u"absent"_s).toStdString();
    }

    static void MakeDatabase(const QString& path) { ASSERT_TRUE(CreateTables(path.toStdString())); }
};

TEST_F(DatabaseFilesTest, TheFirstStartMakesAFileInTheDataFolder) {
    op.WillAnswer(kUseIt, Answer::Yes);
    op.WillAnswer(kProceed, Answer::Yes);
    EXPECT_EQ(Start().Error().toStdString(), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(database.databasePath(), folder.Path(u"vrq1.db3"_s).toStdString());
    EXPECT_THAT(Rows(database.databasePath(), "SELECT id FROM applicationinfo"), ElementsAre("1"));
    EXPECT_EQ(Setting(u"DBfile"_s), "vrq1.db3") << "a bare name, so that the folder can be moved";
    EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    for (const Question& question : op.Questions())
        EXPECT_EQ(question.safe, Answer::Yes) << "a service that cannot ask starts with a new file";
}

TEST_F(DatabaseFilesTest, TheStoredFileIsTakenWithoutAWord) {
    const struct {
        QString stored;
        QString file;
        std::string remembered;
    } cases[] = {
        {u"home.db3"_s, folder.Path(u"home.db3"_s), "home.db3"},
        {folder.Path(u"Zähler 2.db3"_s), folder.Path(u"Zähler 2.db3"_s), "Zähler 2.db3"},
        {elsewhere.Path(u"other.db3"_s), elsewhere.Path(u"other.db3"_s),
         elsewhere.Path(u"other.db3"_s).toStdString()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.toStdString());
        MakeDatabase(c.file);
        settings.SaveSetting(u"DBfile"_s, c.stored);
        EXPECT_EQ(Start().Error().toStdString(), "");
        EXPECT_EQ(database.databasePath(), c.file.toStdString());
        EXPECT_EQ(Setting(u"DBfile"_s), c.remembered);
        EXPECT_EQ(Setting(u"DBestablished"_s), "True");
    }
    EXPECT_THAT(op.Messages(), IsEmpty());
}

TEST_F(DatabaseFilesTest, AnEstablishedFileThatIsGoneIsNotReplaced) {
    settings.SaveSetting(u"DBfile"_s, u"home.db3"_s);
    settings.SaveSetting(u"DBestablished"_s, true);
    const Outcome started = Start();
    EXPECT_THAT(started.Error().toStdString(), HasSubstr(folder.Path(u"home.db3"_s).toStdString()));
    EXPECT_THAT(started.Error().toStdString(),
                HasSubstr("This program requires a valid database file to operate. "
                          "The program will now close."));
    EXPECT_THAT(folder.Entries(), IsEmpty());
    EXPECT_EQ(database.databasePath(), "");
    EXPECT_EQ(Setting(u"DBfile"_s), "home.db3");
}

TEST_F(DatabaseFilesTest, AFileThatIsNoCaptureDatabaseIsRefusedAndLeftAlone) {
    const QString foreign = elsewhere.Path(u"foreign.db3"_s);
    {
        const auto connection = CaptureDatabase::OpenFile(foreign.toStdString(), true);
        ASSERT_TRUE(connection.GetTable("CREATE TABLE guests (name)").Ok());
    }
    const struct {
        std::string bytes;
        const char* error;
    } cases[] = {
        {"", "no such table: applicationinfo"},
        {"not a database, but long enough to be taken for one by its length: " + std::string(100, 'x'),
         "file is not a database"},
        {elsewhere.Read(u"foreign.db3"_s), "no such table: applicationinfo"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.error);
        folder.Write(u"vrq1.db3"_s, c.bytes);
        const Outcome started = Start();
        for (const char* part : {c.error, "vrq1.db3",
                                 "A proper database file is required to run this program. The program will "
                                 "now terminate."})
            EXPECT_THAT(started.Error().toStdString(), HasSubstr(part));
        EXPECT_EQ(folder.Read(u"vrq1.db3"_s), c.bytes);
        EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
        EXPECT_EQ(database.databasePath(), "");
        EXPECT_EQ(Setting(u"DBestablished"_s), "absent");
    }
}

TEST_F(DatabaseFilesTest, AFolderInPlaceOfTheFileIsRefused) {
    for (const QString& stored : {u""_s, u"."_s}) {
        settings.SaveSetting(u"DBfile"_s, stored);
        EXPECT_FALSE(Start());
        EXPECT_THAT(folder.Entries(), IsEmpty());
    }
}

TEST_F(DatabaseFilesTest, AFirstStartWithoutARightToMakeTheFileFails) {
    folder.Write(u"blocked"_s, "mine");
    settings.SaveSetting(u"DBfile"_s, u"blocked/vrq1.db3"_s);
    op.WillAnswer(kDelete, Answer::No);
    EXPECT_THAT(Start().Error().toStdString(),
                HasSubstr("This program requires a valid database file to operate."));
    EXPECT_EQ(folder.Read(u"blocked"_s), "mine");
    EXPECT_EQ(Setting(u"DBestablished"_s), "absent");
}

TEST_F(DatabaseFilesTest, ANewFileComesIntoForceOnlyAfterTwoConsents) {
    const QString current = folder.Path(u"vrq1.db3"_s);
    MakeDatabase(current);
    ASSERT_TRUE(Start());
    const struct {
        QString name;
        std::vector<Answer> answers;
        bool inForce;
    } cases[] = {
        {u"a.db3"_s, {Answer::No}, false},
        {u"b.db3"_s, {Answer::Yes, Answer::No}, false},
        {u"c.db3"_s, {Answer::Cancel}, false},
        {u"d.db3"_s, {Answer::Yes, Answer::Yes}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        op.WillAnswer(kUseIt, c.answers.front());
        if (c.answers.size() > 1) op.WillAnswer(kProceed, c.answers.back());
        EXPECT_EQ(Create(folder.Path(c.name)), c.inForce);
        const QString inForce = c.inForce ? c.name : u"vrq1.db3"_s;
        EXPECT_EQ(database.databasePath(), folder.Path(inForce).toStdString());
        EXPECT_EQ(Setting(u"DBfile"_s), inForce.toStdString());
        EXPECT_THAT(Rows(folder.Path(c.name).toStdString(), "SELECT id FROM applications"), ElementsAre("1"));
    }
    for (const Question& question : op.Questions())
        EXPECT_EQ(question.safe, Answer::No) << "one that cannot be asked keeps the file in force";
}

TEST_F(DatabaseFilesTest, TheQuestionsOfANewFile) {
    op.WillAnswer("", Answer::Yes);
    op.WillAnswer("", Answer::Yes);
    ASSERT_TRUE(Create(folder.Path(u"new.db3"_s)));
    ASSERT_EQ(op.Questions().size(), 2U);
    EXPECT_EQ(op.Questions()[0].text.toStdString(),
              "The database has been created successfuly. Would you like to set it as the default system "
              "file?");
    EXPECT_EQ(op.Questions()[1].text.toStdString(),
              "If you use this new file, you will need to do the following:\n"
              "1. Configure the number of channels.\n"
              "2. Assign new labels.\n"
              "3. Change the dashboard database path and filename, if using the dashboard.\n"
              "\n"
              "Would you like to proceed?");
}

TEST_F(DatabaseFilesTest, AFailedCreationDeletesTheFileOnlyWhenToldTo) {
    const QString path = folder.Path(u"old.db3"_s);
    const struct {
        Answer answer;
        bool kept;
    } cases[] = {{Answer::No, true}, {Answer::Cancel, true}, {Answer::Yes, false}};
    MakeDatabase(path);
    const std::string before = folder.Read(u"old.db3"_s);
    for (const auto& c : cases) {
        op.WillAnswer(kDelete, c.answer);
        EXPECT_FALSE(Create(path));
        ASSERT_FALSE(op.Messages().empty());
        EXPECT_THAT(op.Messages().back(), HasSubstr("table applicationinfo already exists"));
        const Question& question = op.Questions().back();
        EXPECT_THAT(question.text.toStdString(),
                    HasSubstr(path.toStdString() + "\n\nThere was an error creating the database file."));
        EXPECT_EQ(question.safe, Answer::No) << "data are never deleted unasked";
        ASSERT_EQ(QFile::exists(path), c.kept);
        if (c.kept) {
            EXPECT_EQ(folder.Read(u"old.db3"_s), before);
        }
    }
    EXPECT_EQ(database.databasePath(), "");
    EXPECT_EQ(Setting(u"DBfile"_s), "absent");
}

}  // namespace
}  // namespace corvane
