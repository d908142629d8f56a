#include "store/error_log.h"

#include <QCoroTask>
#include <QDir>

#include <gmock/gmock.h>

#include <algorithm>

#include "support/fake_clock.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kFile = u"ErrorsCorvane.log"_s;

struct ErrorLogTest : testing::Test {
    TempFolder folder;
    FakeClock clock;
    ErrorLog log{folder.Path(), u"Corvane"_s, clock};
};

TEST_F(ErrorLogTest, AppendsOneLineOfFourColumnsAFault) {
    folder.Write(kFile, "of an earlier run\n");
    log.LogError(6, u"Overflow"_s, u"  in DisplayData Küche"_s);
    clock.AdvanceSeconds(3600);
    log.LogError(-2147221504, u""_s, u"a\tb\r\nc\n"_s);
    EXPECT_EQ(folder.Read(kFile),
              "of an earlier run\n"
              "6\tOverflow\t  in DisplayData Küche\t2026-03-02 10:20:30\n"
              "-2147221504\t\ta b  c \t2026-03-02 11:20:30\n");
    EXPECT_EQ(log.Path().toStdString(), folder.Path(kFile).toStdString());

    EXPECT_THAT(folder.Entries(), testing::ElementsAre(kFile.toStdString()));
}

// A folder in the place of the file, so that not even an administrator can write it.
TEST_F(ErrorLogTest, WhatCannotBeAppendedGoesToTheOlderLogAndBothAreTheUsersAlone) {
    ASSERT_TRUE(QDir(folder.Path()).mkpath(kFile));
    log.LogError(6, u"third\n"_s, u"fourth, too"_s);
    EXPECT_EQ(folder.Read(u"errorLog.txt"_s), "2026-03-02 10:20:30 third , fourth, too\n");
    EXPECT_EQ(Rights(folder.Path(u"errorLog.txt"_s)), "600");
    ASSERT_TRUE(QDir(folder.Path()).rename(u"errorLog.txt"_s, u"kept.txt"_s));
    ASSERT_TRUE(QDir(folder.Path()).mkpath(u"errorLog.txt"_s));
    for (int i = 0; i <= 100; ++i)
        log.LogError(6, u"waits"_s, QString::number(i));
    ASSERT_TRUE(QDir(folder.Path()).rmdir(kFile));
    log.LogError(6, u"third"_s, u"fourth"_s);
    EXPECT_EQ(Rights(log.Path()), "600");
    const QStringList lines = log.LastLines(200);
    ASSERT_EQ(lines.size(), 101);
    EXPECT_EQ(lines.front(), u"6\twaits\t1\t2026-03-02 10:20:30"_s);
    EXPECT_EQ(lines.back(), u"6\tthird\tfourth\t2026-03-02 10:20:30"_s);
}

TEST_F(ErrorLogTest, TheLastLinesAreTheNewestHoweverLongTheLogIs) {
    EXPECT_EQ(log.LastLines(2), QStringList());
    for (const int count : {1, 2, 40000}) {
        std::string text;
        for (int i = 1; i <= count; ++i)
            text += "line " + std::to_string(i) + "\n";
        folder.Write(kFile, text);
        QStringList expected = {u"line %1"_s.arg(count)};
        if (count > 1) expected.prepend(u"line %1"_s.arg(count - 1));
        EXPECT_EQ(log.LastLines(2), expected);
        EXPECT_EQ(log.LastLines(20000).size(), std::min(count, 20000));
    }
}

TEST_F(ErrorLogTest, AFullLogBecomesTheOlderOneAndBothAreShownAndDeleted) {
    const QString older = u"ErrorsCorvane.1.log"_s;
    for (const std::string round : {"first", "second"}) {
        folder.Write(kFile, round + std::string(ErrorLog::kMostBytes - 40 - round.size(), '\n'));
        log.LogError(0, u"fits"_s, u""_s);
        EXPECT_TRUE(folder.Read(kFile).starts_with(round));
        log.LogError(0, u"does not"_s, u""_s);
        EXPECT_EQ(folder.Read(kFile), "0\tdoes not\t\t2026-03-02 10:20:30\n");
        EXPECT_TRUE(folder.Read(older).starts_with(round));
    }
    EXPECT_THAT(folder.Entries(), testing::ElementsAre(older.toStdString(), kFile.toStdString()));
    EXPECT_EQ(log.LastLines(2),
              (QStringList{u"0\tfits\t\t2026-03-02 10:20:30"_s, u"0\tdoes not\t\t2026-03-02 10:20:30"_s}));
    folder.Write(older, "1\n2\n");
    EXPECT_EQ(log.Load().lines, (QStringList{u"1"_s, u"2"_s, u"0\tdoes not\t\t2026-03-02 10:20:30"_s}));
    ScriptedOperator op;
    op.WillAnswer("Are you sure", Answer::Yes);
    EXPECT_TRUE(QCoro::waitFor(log.Delete(op)));
    EXPECT_TRUE(folder.Entries().empty());
}

TEST_F(ErrorLogTest, TheViewerListsAtMost32001LinesOldestFirst) {
    folder.Write(kFile, "1\tKüche\n\ncut off");
    EXPECT_EQ(log.Load().lines, (QStringList{u"1\tKüche"_s, u""_s, u"cut off"_s}));
    // The folder and "Errors" stand without a separator between them.
    const std::string tooLarge =
        "File is too large. Use notepad to view file: " + folder.Path().toStdString() + "ErrorsCorvane.log";
    for (const int count : {0, 32000, 32001, 40000}) {
        SCOPED_TRACE(count);
        std::string text;
        for (int i = 1; i <= count; ++i)
            text += "line " + std::to_string(i) + "\n";
        folder.Write(kFile, text);
        const auto listing = log.Load();
        ASSERT_EQ(listing.lines.size(), std::min(count, 32001));
        EXPECT_EQ(listing.message.toStdString(), count > 32000 ? tooLarge : "");
        if (count > 0) {
            EXPECT_EQ(listing.lines.back().toStdString(), "line " + std::to_string(listing.lines.size()));
        }
    }
}

TEST_F(ErrorLogTest, IsDeletedOnlyOnYesAndAFailureIsNamed) {
    ScriptedOperator op;
    const auto deletion = [&](Answer answer) {
        op.WillAnswer(
            "Are you sure you want to delete the \"Error Log Fille\" containing the current list of errors?",
            answer);
        std::string error = "never ended";
        QCoro::waitFor([](ErrorLog& errors, Operator& user, std::string& result) -> QCoro::Task<> {
            result = (co_await errors.Delete(user)).Error().toStdString();
        }(log, op, error));
        return error;
    };
    for (const Answer answer : {Answer::No, Answer::Cancel, Answer::Yes}) {
        folder.Write(kFile, "0\tx\n");
        EXPECT_EQ(deletion(answer), "");
        EXPECT_EQ(folder.Entries().empty(), answer == Answer::Yes);
        EXPECT_EQ(op.Questions().back().safe, Answer::No);
    }
    EXPECT_EQ(deletion(Answer::Yes), "") << "there is none any more";
    ASSERT_TRUE(QDir(folder.Path()).mkpath(kFile + u"/kept"_s));  // a folder in its place
    EXPECT_THAT(deletion(Answer::Yes), testing::StartsWith(log.Path().toStdString() + ": "));
}

}  // namespace
}  // namespace corvane
