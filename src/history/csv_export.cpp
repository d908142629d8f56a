#include "history/csv_export.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/number_format.h"
#include "store/sql_cursor.h"

namespace corvane {

namespace {

constexpr std::size_t kFlushAt = 1 << 20;
constexpr std::int64_t kRowsBetweenLooks = 1024;

/// A file that gets its name when it is whole, and is gone where it never came to that.
class CsvFile {
public:
    explicit CsvFile(std::string path)
        : path_(std::move(path)), partial_(path_ + ".partial"), file_(std::fopen(partial_.c_str(), "wb")) {
        if (file_ == nullptr) Fail();
    }
    ~CsvFile() {
        if (file_ == nullptr) return;
        std::fclose(file_);
        std::remove(partial_.c_str());
    }
    CsvFile(const CsvFile&) = delete;
    CsvFile& operator=(const CsvFile&) = delete;

    void Add(std::string_view text) {
        Separate();
        if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
            buffer_ += text;
            return;
        }
        buffer_ += '"';
        for (const char c : text) {
            buffer_ += c;
            if (c == '"') buffer_ += c;
        }
        buffer_ += '"';
    }
    void Add(double value) {
        Separate();
        if (!std::isnan(value)) buffer_ += ShortestText(value);
    }
    void Add(float value) {
        Separate();
        if (!std::isnan(value)) buffer_ += ShortestText(value);
    }

    void EndRow() {
        buffer_ += "\r\n";
        inRow_ = false;
        ++rows_;
        if (buffer_.size() >= kFlushAt) Flush();
    }

    /// Rows so far, that of the names among them.
    [[nodiscard]] std::int64_t Rows() const { return rows_; }
    [[nodiscard]] bool Ok() const { return errorText_.empty(); }

    /// Gives the file its name. The result of the job.
    QueryResult Finish() {
        Flush();
        if (Ok() && std::fclose(std::exchange(file_, nullptr)) != 0) Fail();
        std::error_code error;
        if (Ok()) std::filesystem::rename(partial_, path_, error);
        if (error) errorText_ = path_ + ": " + error.message();
        if (!Ok()) std::remove(partial_.c_str());
        return {.rows = {{std::to_string(rows_ - 1)}}, .errorText = errorText_};
    }

private:
    void Separate() {
        if (std::exchange(inRow_, true)) buffer_ += ',';
    }
    void Flush() {
        if (Ok() && std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size()) Fail();
        buffer_.clear();
    }
    void Fail() { errorText_ = path_ + ": " + std::strerror(errno); }

    std::string path_;
    std::string partial_;
    std::FILE* file_;
    std::string buffer_;
    bool inRow_ = false;
    std::int64_t rows_ = 0;
    std::string errorText_;
};

/// Tells how far the job is. False where it is to stop.
bool GoOn(SqlSession& session, const CsvFile& file, std::int64_t expected) {
    if (file.Rows() % kRowsBetweenLooks != 0) return true;
    if (expected > 0)
        session.Tell(static_cast<int>(std::min<std::int64_t>(99, 100 * file.Rows() / expected)));
    return !session.MustStop() && file.Ok();
}

void AddCell(CsvFile& file, const SqlCursor& row, int column) {
    if (row.Type(column) == SQLITE_FLOAT)
        file.Add(row.Number(column));
    else
        file.Add(row.Text(column));
}

}  // namespace

SqlJob ExportQuery(std::string path, std::string sql, std::int64_t rows) {
    return [path = std::move(path), sql = std::move(sql), rows](SqlSession& session) {
        SqlCursor cursor(session.Database(), sql);
        if (!cursor.ErrorText().empty()) return QueryResult::Failure(cursor.ErrorText());
        CsvFile file(path);
        for (int column = 0; column < cursor.Columns(); ++column)
            file.Add(cursor.ColumnName(column));
        file.EndRow();
        while (file.Ok() && cursor.Next()) {
            for (int column = 0; column < cursor.Columns(); ++column)
                AddCell(file, cursor, column);
            file.EndRow();
            if (!GoOn(session, file, rows)) break;
        }
        if (session.MustStop()) return QueryResult::Failure(SqlWorker::kInterrupted);
        return cursor.ErrorText().empty() ? file.Finish() : QueryResult::Failure(cursor.ErrorText());
    };
}

SqlJob ExportPower(std::string path, std::shared_ptr<const DeviceHistory> history, ShownChannels channels,
                   WallTime from, WallTime to) {
    return [path = std::move(path), history = std::move(history), channels = std::move(channels), from,
            to](SqlSession& session) {
        const PowerHistory& power = history->power;
        const auto first = std::ranges::lower_bound(power.times, from) - power.times.begin();
        const auto last = std::ranges::lower_bound(power.times, to) - power.times.begin();
        CsvFile file(path);
        file.Add("time");
        for (const auto& name : channels)
            if (name) file.Add(*name + " W");
        file.EndRow();
        for (auto row = static_cast<std::size_t>(first); row < static_cast<std::size_t>(last); ++row) {
            file.Add(StampText(power.times[row]));
            for (std::size_t channel = 0; channel < kChannels; ++channel)
                if (channels[channel]) file.Add(power.watts[channel][row]);
            file.EndRow();
            if (!GoOn(session, file, last - first)) break;
        }
        return session.MustStop() ? QueryResult::Failure(SqlWorker::kInterrupted) : file.Finish();
    };
}

SqlJob ExportBars(std::string path, std::vector<EnergyBar> bars, ShownChannels channels) {
    return [path = std::move(path), bars = std::move(bars), channels = std::move(channels)](SqlSession&) {
        CsvFile file(path);
        for (const char* name : {"from", "to", "seconds known"})
            file.Add(name);
        for (const char* measure : {" kWh", " cost"})
            for (const auto& name : channels)
                if (name) file.Add(*name + measure);
        file.EndRow();
        for (const EnergyBar& bar : bars) {
            file.Add(StampText(bar.from));
            file.Add(StampText(bar.to));
            file.Add(static_cast<double>(bar.covered));
            for (const ChannelEnergies* values : {&bar.kwh, &bar.cost})
                for (std::size_t channel = 0; channel < kChannels; ++channel)
                    if (channels[channel]) file.Add((*values)[channel]);
            file.EndRow();
        }
        return file.Finish();
    };
}

}  // namespace corvane
