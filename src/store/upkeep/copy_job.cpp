#include "store/upkeep/copy_job.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "store/schema.h"
#include "store/whole_file.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

constexpr int kPagesAtATime = 256;  // 1 MiB of most files

/// The copy until it is whole; gone, where nobody came to keep it.
class Partial {
public:
    explicit Partial(std::string target) : target_(std::move(target)), path_(target_ + kPartialEnding) {
        RemovePartial(target_);
    }
    ~Partial() { RemovePartial(target_); }
    Partial(const Partial&) = delete;
    Partial& operator=(const Partial&) = delete;

    /// Makes the empty file, with the rights of `like`, or for this user alone where there is none. An error
    /// text, or empty.
    [[nodiscard]] std::string Make(const std::optional<std::string>& like) const {
        struct stat rights {};
        const bool known = like.has_value() && stat(like->c_str(), &rights) == 0;
        const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (file < 0) return path_ + ": " + std::strerror(errno);
        // Where the group cannot be kept, its rights would be another's.
        const bool sameGroup = known && fchown(file, static_cast<uid_t>(-1), rights.st_gid) == 0;
        if (known) fchmod(file, rights.st_mode & (sameGroup ? 0777 : 0707));
        close(file);
        return {};
    }

    [[nodiscard]] const std::string& Path() const { return path_; }

private:
    std::string target_;
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

void RemovePartial(const std::string& to) {
    std::error_code ignored;
    fs::remove(to + kPartialEnding, ignored);
    fs::remove(to + kPartialEnding + "-journal", ignored);
}

SqlJob CopyJob(std::string to, std::vector<std::string> obsolete) {
    return [to = std::move(to), obsolete = std::move(obsolete)](SqlSession& session) {
        session.Begin(u"Copying the database to %1"_s.arg(QString::fromStdString(to)));
        const Partial partial(to);
        QueryResult result;
        result.errorText = partial.Make(std::nullopt);
        if (result.Ok()) result.errorText = Copy(session, partial.Path());
        if (result.Ok()) result.errorText = PutInPlace(partial.Path(), to, Existing::Replaced);
        for (const std::string& path : obsolete) {
            std::error_code error;
            if (result.Ok() && path != to) fs::remove(path, error);
            if (error) result.errorText = path + ": " + error.message();
        }
        return result;
    };
}

SqlJob CheckJob() {
    return [](SqlSession& session) {
        const auto& database = session.Database();
        if (!database) return QueryResult::Failure("unable to open database file");
        session.Begin(u"Looking for damage in the backup"_s);
        QueryResult check = database.GetTable("PRAGMA quick_check(1)");
        if (!check.Ok()) return check;
        const std::string found = check.rows.empty() ? "" : check.rows.front().front().value_or("");
        return QueryResult::Failure(found == "ok" ? WrongTables(database)
                                                  : "it is damaged: " + found.substr(found.find('\n') + 1));
    };
}

SqlJob ReplaceJob(std::string current) {
    return [current = std::move(current)](SqlSession& session) {
        session.Begin(u"Restoring %1"_s.arg(QString::fromStdString(current)));
        const std::string place = fs::canonical(current).string();
        const Partial partial(place);
        QueryResult result;
        result.errorText = partial.Make(current);
        if (result.Ok()) result.errorText = Copy(session, partial.Path());
        if (!result.Ok()) return result;
        const auto replaced = CaptureDatabase::OpenFile(place, false);
        result.errorText = TakeAlone(replaced);
        if (result.Ok()) result.errorText = PutInPlace(partial.Path(), place, Existing::Replaced);
        return result;
    };
}

}  // namespace corvane
