#include "store/capture_database.h"

#include <sqlite3.h>

#include <cstddef>

namespace corvane {

CaptureDatabase::Connection::Connection(Connection&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

CaptureDatabase::Connection::~Connection() {
    sqlite3_close(handle_);
}

CaptureDatabase::Connection CaptureDatabase::OpenFile(const std::string& path, bool create) {
    if (path.empty()) return Connection(nullptr);  // SQLite would open a temporary database of its own
    sqlite3* handle = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
    if (sqlite3_open_v2(path.c_str(), &handle, flags, nullptr) != SQLITE_OK) {
        sqlite3_close(handle);
        handle = nullptr;
    }
    return Connection(handle);
}

QueryResult CaptureDatabase::Connection::GetTable(const std::string& sql) const {
    QueryResult result;
    char** cells = nullptr;
    int rows = 0;
    int columns = 0;
    char* error = nullptr;
    if (sqlite3_get_table(handle_, sql.c_str(), &cells, &rows, &columns, &error) != SQLITE_OK) {
        result.errorText = error != nullptr ? error : sqlite3_errmsg(handle_);
    }
    result.rows.reserve(static_cast<std::size_t>(rows));
    char** cell = cells + columns;  // the first row holds the names of the columns
    for (int row = 0; row < rows; ++row) {
        auto& texts = result.rows.emplace_back();
        texts.reserve(static_cast<std::size_t>(columns));
        for (int column = 0; column < columns; ++column, ++cell) {
            texts.push_back(*cell != nullptr ? QueryResult::Cell(*cell) : std::nullopt);
        }
    }
    sqlite3_free_table(cells);
    sqlite3_free(error);
    return result;
}

QueryResult CaptureDatabase::Run(const std::string& sql) const {
    const Connection connection = Open();
    if (!connection) return {.rows = {}, .errorText = "unable to open database file " + databasePath_};
    return connection.GetTable(sql);
}

std::string SqlQuoted(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c;
        if (c == '\'') quoted += c;
    }
    return quoted + "'";
}

}  // namespace corvane
