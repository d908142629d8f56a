#include "store/error_log.h"

#include <QCoroTask>
#include <QDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

const QString kFile = u"ErrorsCorvane.log"_s;

struct ErrorLogTest : testing::Test {
    TempFolder folder;
    FakeClock clock;
    ErrorLog log{folder.Path(), u"Corvane"_s, clock};

    void WriteLines(int count) const {
        std::string text;
        for (int i = 1; i <= count; ++i)
            text += "line " + std::to_string(i) + "\n";
        folder.Write(kFile, text);
    }
};

TEST_F(ErrorLogTest, AppendsOneLineOfFourColumnsAFault) {
    log.LogError(6, u"Overflow"_s, u"  in DisplayData Küche"_s);
    clock.AdvanceSeconds(3600);
    log.LogError(-2147221504, u""_s, u"x"_s);
    EXPECT_EQ(log.Path().toStdString(), folder.Path(kFile).toStdString());
    EXPECT_EQ(folder.Read(kFile),
              "6\tOverflow\t  in DisplayData Küche\t2 Mar 2026 10:20:30\n"
              "-2147221504\t\tx\t2 Mar 2026 11:20:30\n");
}

TEST_F(ErrorLogTest, TabsAndLineEndsInTextsDoNotBreakTheColumns) {
    log.LogError(1, u"a\tb\r\nc"_s, u"\td\n"_s);
    const std::string text = folder.Read(kFile);
    EXPECT_EQ(text.substr(0, text.rfind('\t')), "1\ta b  c\t d ");
}

TEST_F(ErrorLogTest, TheOlderLogHasItsOwnFile) {
    log.LogOld(u"first"_s, u"second"_s);
    log.LogOld(u"third\n"_s, u"fourth, too"_s);
    EXPECT_EQ(folder.Read(u"errorLog.txt"_s), "first, second\nthird , fourth, too\n");
    EXPECT_THAT(folder.Entries(), ElementsAre("errorLog.txt"));
}

TEST_F(ErrorLogTest, AppendsToWhatEarlierRunsWrote) {
    folder.Write(kFile, "earlier\n");
    log.LogError(1, u"a"_s, u"b"_s);
    EXPECT_EQ(folder.Read(kFile), "earlier\n1\ta\tb\t2 Mar 2026 10:20:30\n");
}

TEST_F(ErrorLogTest, AFolderThatIsGoneDisturbsNobody) {
    ErrorLog lost(folder.Path(u"gone"_s), u"Corvane"_s, clock);
    lost.LogError(1, u"a"_s, u"b"_s);
    lost.LogOld(u"a"_s, u"b"_s);
    EXPECT_TRUE(lost.Load().lines.empty());
    EXPECT_EQ(lost.Load().message.toStdString(), "");
    EXPECT_TRUE(folder.Entries().empty());
}

TEST_F(ErrorLogTest, TheViewerListsWholeLinesOldestFirst) {
    const struct {
        const char* text;
        QStringList lines;
    } cases[] = {
        {"", {}},
        {"one\n", {u"one"_s}},
        {"1\ta\tb\tc\n2\tKüche\tb\tc\n", {u"1\ta\tb\tc"_s, u"2\tKüche\tb\tc"_s}},
        {"one\n\ncut off", {u"one"_s, u""_s, u"cut off"_s}},
    };
    for (const auto& c : cases) {
        folder.Write(kFile, c.text);
        EXPECT_EQ(log.Load().lines, c.lines) << c.text;
    }
}

TEST_F(ErrorLogTest, TheViewerTakesAtMost32001Lines) {
    // The folder and "Errors" stand without a separator between them.
    const std::string tooLarge =
        "File is too large. Use notepad to view file: " + folder.Path().toStdString() + "ErrorsCorvane.log";
    const struct {
        int lines;
        int listed;
        std::string message;
    } cases[] = {
        {32000, 32000, ""},
        {32001, 32001, tooLarge},
        {40000, 32001, tooLarge},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        WriteLines(c.lines);
        const auto listing = log.Load();
        ASSERT_EQ(listing.lines.size(), c.listed);
        EXPECT_EQ(listing.lines.front().toStdString(), "line 1");
        EXPECT_EQ(listing.lines.back().toStdString(), "line " + std::to_string(c.listed));
        EXPECT_EQ(listing.message.toStdString(), c.message);
    }
}

struct ErrorLogDeletionTest : ErrorLogTest {
    ScriptedOperator op;

    /// Deletes the log with `answer`, and tells the failure, or "" where there was none.
    std::string Delete(Answer answer) {
        op.WillAnswer(
            "Are you sure you want to delete the \"Error Log Fille\" containing the current list of "
            "errors?",
            answer);
        std::string error = "never ended";
        QCoro::waitFor([](ErrorLog& errors, Operator& user, std::string& result) -> QCoro::Task<> {
            result = (co_await errors.Delete(user)).Error().toStdString();
        }(log, op, error));
        return error;
    }
};

TEST_F(ErrorLogDeletionTest, TheLogIsDeletedOnlyOnYes) {
    WriteLines(3);
    for (const Answer answer : {Answer::No, Answer::Cancel}) {
        EXPECT_EQ(Delete(answer), "");
        EXPECT_EQ(log.Load().lines.size(), 3);
    }
    EXPECT_EQ(Delete(Answer::Yes), "");
    EXPECT_TRUE(folder.Entries().empty());
    EXPECT_EQ(Delete(Answer::Yes), "") << "there is none any more";
    for (const Question& question : op.Questions())
        EXPECT_EQ(question.safe, Answer::No);
}

TEST_F(ErrorLogDeletionTest, ALogThatCannotBeDeletedIsNamed) {
    ASSERT_TRUE(QDir(folder.Path()).mkpath(kFile + u"/kept"_s));  // a folder in its place
    EXPECT_THAT(Delete(Answer::Yes), testing::StartsWith(log.Path().toStdString() + ": "));
    EXPECT_THAT(folder.Entries(), ElementsAre(kFile.toStdString()));
}

}  // namespace
}  // namespace corvane
