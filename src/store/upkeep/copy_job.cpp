#include "store/upkeep/copy_job.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "store/whole_file.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

constexpr int kPagesAtATime = 256;  // 1 MiB of most files

/// The copy until it is whole; gone, where nobody came to keep it.
class Partial {
public:
    explicit Partial(const std::string& target) : path_(target + ".partial") { Remove(); }
    ~Partial() { Remove(); }
    Partial(const Partial&) = delete;
    Partial& operator=(const Partial&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }

private:
    void Remove() {
        std::error_code ignored;
        fs::remove(path_, ignored);
        fs::remove(path_ + "-journal", ignored);
    }

    std::string path_;
};

/// Copies the session's database to `path`. An error text, or empty.
std::string Copy(SqlSession& session, const std::string& path) {
    const auto& source = session.Database();
    if (!source) return "unable to open database file";
    // An open transaction of its own keeps the source as it is until the copy ends; records wait meanwhile.
    for (const char* statement : {"BEGIN", "SELECT COUNT(*) FROM sqlite_master"}) {
        if (const QueryResult result = source.GetTable(statement); !result.Ok()) return result.errorText;
    }
    const auto target = CaptureDatabase::OpenFile(path, true);
    if (!target) return "unable to make the file " + path;
    sqlite3_backup* backup = sqlite3_backup_init(target.Handle(), "main", source.Handle(), "main");
    int code = backup != nullptr ? SQLITE_OK : SQLITE_ERROR;
    while (code == SQLITE_OK && !session.MustStop()) {
        code = sqlite3_backup_step(backup, kPagesAtATime);
        const int pages = sqlite3_backup_pagecount(backup);
        if (pages > 0) session.Tell(100 * (pages - sqlite3_backup_remaining(backup)) / pages);
    }
    sqlite3_backup_finish(backup);
    if (code == SQLITE_DONE) return {};
    return session.MustStop() ? SqlWorker::kInterrupted : path + ": " + sqlite3_errmsg(target.Handle());
}

/// Holds a database so that nobody else can use it, and no file of its journal is left. An error text, or
/// empty.
std::string TakeAlone(const CaptureDatabase::Connection& database) {
    if (!database) return "unable to open database file";
    for (const char* statement : {"PRAGMA journal_mode=DELETE", "BEGIN EXCLUSIVE"}) {
        if (const QueryResult result = database.GetTable(statement); !result.Ok()) return result.errorText;
    }
    return {};
}

}  // namespace

SqlJob CopyJob(std::string to, std::vector<std::string> obsolete) {
    return [to = std::move(to), obsolete = std::move(obsolete)](SqlSession& session) {
        session.Begin(u"Copying the database to %1"_s.arg(QString::fromStdString(to)));
        const Partial partial(to);
        QueryResult result;
        result.errorText = Copy(session, partial.Path());
        if (result.Ok()) result.errorText = PutInPlace(partial.Path(), to, Existing::Replaced);
        for (const std::string& path : obsolete) {
            std::error_code error;
            if (result.Ok() && path != to) fs::remove(path, error);
            if (error) result.errorText = path + ": " + error.message();
        }
        return result;
    };
}

SqlJob ReplaceJob(std::string current) {
    return [current = std::move(current)](SqlSession& session) {
        session.Begin(u"Restoring %1"_s.arg(QString::fromStdString(current)));
        const Partial partial(current);
        QueryResult result;
        result.errorText = Copy(session, partial.Path());
        if (!result.Ok()) return result;
        const auto replaced = CaptureDatabase::OpenFile(current, false);
        result.errorText = TakeAlone(replaced);
        if (result.Ok()) result.errorText = PutInPlace(partial.Path(), current, Existing::Replaced);
        return result;
    };
}

}  // namespace corvane
