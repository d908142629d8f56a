#include "store/sql_cursor.h"

#include <sqlite3.h>

#include <cmath>
#include <cstddef>
#include <limits>

namespace corvane {

SqlCursor::SqlCursor(const CaptureDatabase::Connection& connection, const std::string& sql)
    : connection_(connection) {
    if (!connection_)
        errorText_ = "unable to open database file";
    else if (sqlite3_prepare_v2(connection_.Handle(), sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK)
        errorText_ = sqlite3_errmsg(connection_.Handle());
}

SqlCursor::~SqlCursor() {
    sqlite3_finalize(statement_);
}

bool SqlCursor::Next() {
    if (statement_ == nullptr || !errorText_.empty()) return false;
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) errorText_ = sqlite3_errmsg(connection_.Handle());
    return false;
}

int SqlCursor::Columns() const {
    return sqlite3_column_count(statement_);
}

std::string_view SqlCursor::ColumnName(int column) const {
    return sqlite3_column_name(statement_, column);
}

std::int64_t SqlCursor::Integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double SqlCursor::Number(int column) const {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    if (Type(column) == SQLITE_NULL) return kNone;
    const double number = sqlite3_column_double(statement_, column);
    return std::isfinite(number) ? number : kNone;
}

std::string_view SqlCursor::Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (text == nullptr) return {};
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

int SqlCursor::Type(int column) const {
    return sqlite3_column_type(statement_, column);
}

}  // namespace corvane
