#include "store/capture_database.h"

#include <gtest/gtest.h>

#include "rows.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

struct CaptureDatabaseTest : testing::Test {
    TempFolder folder;
    std::string path = folder.Path(u"Zähler 1.db3"_s).toStdString();
    CaptureDatabase database{path};

    void SetUp() override {
        const auto connection = CaptureDatabase::OpenFile(path, true);
        ASSERT_TRUE(connection);
        ASSERT_TRUE(connection.GetTable("CREATE TABLE t (id INTEGER PRIMARY KEY, label TEXT)").Ok());
    }
};

TEST_F(CaptureDatabaseTest, NullIsNeitherTheEmptyTextNorTheWord) {
    using Row = std::vector<QueryResult::Cell>;
    Execute(path, "INSERT INTO t VALUES (1, NULL), (2, ''), (3, 'NULL'), (4, 'Küche')");
    const QueryResult result = database.Run("SELECT id, label FROM t ORDER BY id");
    EXPECT_EQ(result.errorText, "");
    EXPECT_EQ(result.rows, (std::vector<Row>{{"1", std::nullopt}, {"2", ""}, {"3", "NULL"}, {"4", "Küche"}}));
}

TEST_F(CaptureDatabaseTest, AQueryWithoutRowsSucceeds) {
    const QueryResult result = database.Run("SELECT id FROM t");
    EXPECT_TRUE(result.Ok());
    EXPECT_TRUE(result.rows.empty());
}

TEST_F(CaptureDatabaseTest, ErrorsComeInTheWordsOfTheDatabase) {
    const struct {
        const char* sql;
        const char* error;
    } cases[] = {
        {"SELECT id FROM nowhere", "no such table: nowhere"},
        {"SELECT volt FROM t", "no such column: volt"},
        {"INSERT INTO t VALUES (1)", "table t has 2 columns but 1 values were supplied"},
        {"SELECT 'cut", "unrecognized token: \"'cut\""},
    };
    for (const auto& c : cases) {
        const QueryResult result = database.Run(c.sql);
        EXPECT_EQ(result.errorText, c.error);
        EXPECT_TRUE(result.rows.empty()) << c.sql;
    }
}

TEST_F(CaptureDatabaseTest, ALockIsNotWaitedForAndEndsWithTheConnection) {
    {
        const auto other = CaptureDatabase::OpenFile(path, false);
        ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
        EXPECT_EQ(database.Run("SELECT id FROM t").errorText, "database is locked");
    }
    EXPECT_EQ(database.Run("SELECT id FROM t").errorText, "");
}

TEST_F(CaptureDatabaseTest, OnlyCreateMakesAFile) {
    const std::string missing = folder.Path(u"missing.db3"_s).toStdString();
    const CaptureDatabase other(missing);
    EXPECT_FALSE(other.Open());
    EXPECT_NE(other.Run("SELECT 1").errorText.find(missing), std::string::npos);
    EXPECT_FALSE(CaptureDatabase("").Open());
    EXPECT_FALSE(CaptureDatabase::OpenFile(folder.Path(u"no/such/folder.db3"_s).toStdString(), true));
    EXPECT_EQ(folder.Entries(), std::vector<std::string>{"Zähler 1.db3"});
}

TEST_F(CaptureDatabaseTest, QuotedTextComesBackAsItWasAndRunsNothing) {
    const char* const texts[] = {
        "",
        "Kitchen",
        "Joe's",
        "'",
        "''",
        "a\nb;--",
        "x'); DROP TABLE t; --",
        "x','y'),(99,(SELECT group_concat(sql) FROM sqlite_master",
        R"(back\slash "double" `tick` %_)",
        "Küche €",
    };
    for (const std::string text : texts) {
        Execute(path, "INSERT INTO t(label) VALUES (" + SqlQuoted(text) + ")");
        EXPECT_EQ(Rows(path, "SELECT label FROM t"), std::vector<std::string>{text});
        Execute(path, "DELETE FROM t WHERE label = " + SqlQuoted(text));
        EXPECT_EQ(Rows(path, "SELECT count(*) FROM t"), std::vector<std::string>{"0"}) << text;
    }
}

}  // namespace
}  // namespace corvane
