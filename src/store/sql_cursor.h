// Walks the rows of a query without keeping them: for more rows than memory should hold.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/capture_database.h"

struct sqlite3_stmt;

namespace corvane {

/// Reads one complete SQL text. The connection must outlive it.
class SqlCursor {
public:
    SqlCursor(const CaptureDatabase::Connection& connection, const std::string& sql);
    ~SqlCursor();
    SqlCursor(const SqlCursor&) = delete;
    SqlCursor& operator=(const SqlCursor&) = delete;

    /// Goes to the next row, the first at first. False where there is none, or reading failed.
    [[nodiscard]] bool Next();

    /// What went wrong; empty where nothing did.
    [[nodiscard]] const std::string& ErrorText() const { return errorText_; }

    [[nodiscard]] int Columns() const;
    [[nodiscard]] std::string_view ColumnName(int column) const;

    // Of the row it stands on. A text holds until the next row.
    [[nodiscard]] std::int64_t Integer(int column) const;
    [[nodiscard]] double Number(int column) const;  ///< NaN for NULL, and for what is not finite
    [[nodiscard]] std::string_view Text(int column) const;
    [[nodiscard]] int Type(int column) const;  ///< SQLite's code of the cell's type

private:
    const CaptureDatabase::Connection& connection_;
    sqlite3_stmt* statement_ = nullptr;
    std::string errorText_;
};

}  // namespace corvane
