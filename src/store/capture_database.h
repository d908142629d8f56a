// The capture database: one SQLite file, opened for one statement at a time and closed again.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;

namespace corvane {

/// The rows of a statement as text, and what went wrong with it.
struct QueryResult {
    using Cell = std::optional<std::string>;  ///< nothing for NULL
    std::vector<std::vector<Cell>> rows;
    std::string errorText;  ///< empty = success, else SQLite's own words

    static QueryResult Failure(std::string text) { return {.rows = {}, .errorText = std::move(text)}; }

    [[nodiscard]] bool Ok() const { return errorText.empty(); }

    /// Whether another program holds the file, which nothing is wrong with.
    [[nodiscard]] bool Locked() const { return errorText == kLocked; }

    static constexpr const char* kLocked = "database is locked";
};

class CaptureDatabase {
public:
    /// An open file; closed when it goes out of scope.
    class Connection {
    public:
        explicit Connection(sqlite3* handle) : handle_(handle) {}
        ~Connection();
        Connection(Connection&& other) noexcept;
        Connection& operator=(Connection&&) = delete;

        /// False where the file could not be opened; no statement may be run then.
        explicit operator bool() const { return handle_ != nullptr; }

        /// Runs one complete SQL text. A lock held by another program is not waited for: the error text is
        /// then "database is locked".
        [[nodiscard]] QueryResult GetTable(const std::string& sql) const;

        /// For what SQLite offers beside statements; null where the file could not be opened.
        [[nodiscard]] sqlite3* Handle() const { return handle_; }

    private:
        sqlite3* handle_;
    };

    explicit CaptureDatabase(std::string path) : databasePath_(std::move(path)) {}

    [[nodiscard]] const std::string& databasePath() const { return databasePath_; }
    void UseFile(std::string path) { databasePath_ = std::move(path); }

    /// Opens the current file. A file that is missing is not made.
    [[nodiscard]] Connection Open() const { return OpenFile(databasePath_, false); }

    /// Opens any file, and makes it where `create` is set and it is missing.
    [[nodiscard]] static Connection OpenFile(const std::string& path, bool create);

    /// Opens the current file, runs one statement, and closes it.
    [[nodiscard]] QueryResult Run(const std::string& sql) const;

private:
    std::string databasePath_;
};

/// `text` as an SQL literal in single quotes; quotes within it are doubled.
[[nodiscard]] std::string SqlQuoted(std::string_view text);

}  // namespace corvane
