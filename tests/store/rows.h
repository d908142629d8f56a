// What an outside reader of the database sees.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/capture_database.h"

namespace corvane {

/// The rows of a query, each as its cells joined by "|", with "NULL" for NULL. An error fails the test.
inline std::vector<std::string> Rows(const std::string& path, const std::string& sql) {
    const auto connection = CaptureDatabase::OpenFile(path, false);
    if (!connection) {
        ADD_FAILURE() << path << " cannot be opened";
        return {};
    }
    const QueryResult result = connection.GetTable(sql);
    EXPECT_EQ(result.errorText, "") << sql;
    std::vector<std::string> rows;
    for (const auto& cells : result.rows) {
        std::string& text = rows.emplace_back();
        for (const auto& cell : cells) {
            if (&cell != &cells.front()) text += '|';  // "a" + std::string warns at -O3, wrongly, in GCC 12
            text += cell.value_or("NULL");
        }
    }
    return rows;
}

/// Runs a statement that must succeed.
inline void Execute(const std::string& path, const std::string& sql) {
    (void)Rows(path, sql);
}

}  // namespace corvane
