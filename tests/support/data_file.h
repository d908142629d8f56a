// Tables of cases that stand in the text file named as the test, beside it.
#pragma once

#include <string>
#include <vector>

#include "support/data_lines.h"

namespace corvane {

struct DataRow {
    std::string line;  ///< as it stands in the file, with its number: for messages
    std::vector<std::string> cells;
};

/// The rows below "== title", their cells divided by " | ".
inline std::vector<DataRow> DataRows(const std::string& title, const char* test = __builtin_FILE()) {
    QString path = QString::fromUtf8(test);
    path.replace(path.lastIndexOf(u'.'), path.size(), QStringLiteral(".txt"));
    std::vector<DataRow> rows;
    for (const DataLine& line : LinesOf(path, title)) {
        DataRow& row = rows.emplace_back(DataRow{.line = line.place, .cells = {}});
        QString text = line.text;
        if (text.endsWith(u'|')) text += u' ';  // the last cell is empty
        for (const QString& cell : text.split(QStringLiteral(" | ")))
            row.cells.push_back(cell.toStdString());
    }
    return rows;
}

}  // namespace corvane
