// Tables of cases that stand in a text file beside their test.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

struct DataRow {
    std::string line;  ///< as it stands in the file, with its number: for messages
    std::vector<std::string> cells;
};

/// The rows below "== title" in the .txt file named as the calling test, their cells divided by " | ". Empty
/// lines and those that begin with "#" are none.
inline std::vector<DataRow> DataRows(std::string_view title,
                                     std::source_location test = std::source_location::current()) {
    std::string path = test.file_name();
    std::ifstream file(path.replace(path.rfind('.'), std::string::npos, ".txt"));
    std::vector<DataRow> rows;
    std::string line;
    bool found = false;
    for (int number = 1; std::getline(file, line); ++number) {
        if (line.starts_with("== ")) found = line.substr(3) == title;
        if (!found || line.empty() || line.starts_with("#") || line.starts_with("== ")) continue;
        DataRow& row = rows.emplace_back();
        row.line.append(path).append(":").append(std::to_string(number)).append(": ").append(line);
        line += ' ';  // the last cell may be empty
        for (std::size_t end = 0; (end = line.find(" | ")) != std::string::npos; line.erase(0, end + 3))
            row.cells.push_back(line.substr(0, end));
        if (!line.empty()) line.pop_back();
        row.cells.push_back(line);
    }
    EXPECT_FALSE(rows.empty()) << path << " has no rows of " << title;
    return rows;
}

}  // namespace corvane
