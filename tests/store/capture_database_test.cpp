#include "store/capture_database.h"

#include <gtest/gtest.h>

#include "store/rows.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(CaptureDatabase, QuotedTextComesBackAsItWasAndNullIsNoText) {
    const TempFolder folder;
    const std::string path = folder.Path(u"Zähler 1.db3"_s).toStdString();
    ASSERT_TRUE(CaptureDatabase::OpenFile(path, true).GetTable("CREATE TABLE t (label TEXT)").Ok());
    std::vector<std::vector<QueryResult::Cell>> expected = {{std::nullopt}};
    Execute(path, "INSERT INTO t VALUES (NULL)");
    for (const std::string text : {"", "NULL", "Joe's", "''", "x'); DROP TABLE t; --", "Küche €\n"}) {
        Execute(path, "INSERT INTO t VALUES (" + SqlQuoted(text) + ")");
        expected.push_back({text});
    }
    EXPECT_EQ(CaptureDatabase(path).Run("SELECT label FROM t ORDER BY rowid").rows, expected);
    EXPECT_EQ(CaptureDatabase(path).Run("SELECT 'cut").errorText, "unrecognized token: \"'cut\"");
}

}  // namespace
}  // namespace corvane
