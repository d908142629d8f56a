// Any values in the tables of the database, which other programs write to as well: everything that reads them
// back.
//
// An input is a byte that chooses who reads, then cells: a byte that tells which kind of value comes, then
// it. Each row of a table takes as many as it has columns; kind 0 is what the program itself would write
// there.
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fuzz/quick_folder.h"
#include "fuzz/require.h"
#include "history/csv_export.h"
#include "history/history_reader.h"
#include "history/table_rows.h"
#include "link/device_slots.h"
#include "measure/stored_energies.h"
#include "store/channel_labels.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// The values that an input gives, one after the other.
class Cells {
public:
    explicit Cells(std::span<const std::uint8_t> input) : input_(input) {}

    [[nodiscard]] bool AtEnd() const { return input_.empty(); }

    std::uint8_t Byte() {
        if (input_.empty()) return 0;
        const std::uint8_t byte = input_.front();
        input_ = input_.subspan(1);
        return byte;
    }

    void Bind(sqlite3_stmt* statement, int column, const std::string& usual) {
        const std::uint8_t kind = Byte();
        switch (kind % 8) {
            case 1:
                sqlite3_bind_null(statement, column);
                break;
            case 2:
                sqlite3_bind_int64(statement, column, Plain<std::int64_t>());
                break;
            case 3:
                sqlite3_bind_double(statement, column, Plain<double>());
                break;
            case 4:
                sqlite3_bind_int64(statement, column, Byte() * 1000);
                break;
            case 5:
            case 6: {
                const std::size_t length = std::min<std::size_t>(kind / 8, input_.size());
                const auto* bytes = reinterpret_cast<const char*>(input_.data());
                if (kind % 8 == 5)
                    sqlite3_bind_text(statement, column, bytes, static_cast<int>(length), SQLITE_TRANSIENT);
                else
                    sqlite3_bind_blob(statement, column, bytes, static_cast<int>(length), SQLITE_TRANSIENT);
                input_ = input_.subspan(length);
                break;
            }
            default:
                sqlite3_bind_text(statement, column, usual.c_str(), -1, SQLITE_TRANSIENT);
        }
    }

private:
    template <typename Value>
    Value Plain() {
        Value value{};
        const std::size_t length = std::min(sizeof value, input_.size());
        if (length > 0) std::memcpy(&value, input_.data(), length);
        input_ = input_.subspan(length);
        return value;
    }

    std::span<const std::uint8_t> input_;
};

class House {
public:
    House() {
        REQUIRE(CreateTables(path_));
        settings_.Save(kDeviceSerial, u"301234"_s, {.slot = 1});
        Run("PRAGMA synchronous=OFF");
        Run("PRAGMA journal_mode=MEMORY");
        for (const char* table :
             {"monitordata_minute", "monitordata_hourly", "applicationinfo", "applications"}) {
            tables_.push_back(Table(table));
            emptying_.push_back(Prepared(std::string("DELETE FROM ") + table));
        }
    }

    void Take(std::span<const std::uint8_t> input) {
        Cells cells(input);
        const std::uint8_t reader = cells.Byte();
        Fill(cells);
        switch (reader % 5) {
            case 0:
                return ReadStored();
            case 1:
                return ReadNames(session_);
            case 2:
                return ReadTable(session_, reader < 128 ? "monitordata_minute" : "applicationinfo");
            default:
                return ReadPast(session_, reader < 128 ? Detail::Minutes : Detail::Hours);
        }
    }

private:
    struct Insert {
        sqlite3_stmt* statement;
        std::vector<std::string> usual;  ///< by column
    };

    static void Step(sqlite3_stmt* statement) {
        (void)sqlite3_step(statement);
        sqlite3_reset(statement);
    }

    sqlite3_stmt* Prepared(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        REQUIRE(sqlite3_prepare_v2(file_.Handle(), sql.c_str(), -1, &statement, nullptr) == SQLITE_OK);
        return statement;
    }

    void Run(const char* sql) { REQUIRE(file_.GetTable(sql).Ok()); }

    Insert Table(const std::string& name) {
        Insert insert{};
        std::string places;
        std::string columns;
        for (const auto& row : file_.GetTable("PRAGMA table_info(" + name + ")").rows) {
            const std::string& column = row[1].value();
            if (column == "id" && name.starts_with("monitordata")) continue;
            columns += (columns.empty() ? "" : ",") + column;
            places += places.empty() ? "?" : ",?";
            insert.usual.emplace_back(column == "date"            ? "2026-03-02 10:20:30"
                                      : column == "deviceaddress" ? "301234"
                                                                  : "1");
        }
        const std::string sql =
            "INSERT OR REPLACE INTO " + name + " (" + columns + ") VALUES (" + places + ")";
        insert.statement = Prepared(sql);
        return insert;
    }

    void Fill(Cells& cells) {
        for (sqlite3_stmt* statement : emptying_)
            Step(statement);
        for (int row = 0; row < 12 && !cells.AtEnd(); ++row) {
            const Insert& insert = tables_[cells.Byte() % tables_.size()];
            int column = 0;
            for (const std::string& usual : insert.usual)
                cells.Bind(insert.statement, ++column, usual);
            Step(insert.statement);  // a row that the table refuses is not there
        }
        Step(commit_);
    }

    void ReadStored() {
        stored_.Forget();
        const auto& readings = stored_.Of(1);
        if (!readings.has_value()) return;
        for (const StoredChannel& channel : *readings)
            REQUIRE(std::isfinite(channel.absolute) && std::isfinite(channel.polarized));
    }

    void ReadNames(SqlSession& session) const {
        for (const auto& [slot, labels] : ReadChannelLabels(database_))
            REQUIRE(slot >= 1 && slot <= kSlots);
        (void)ReadChannelTexts(database_, 1);
        (void)DevicesOf(ReadDevices()(session));
    }

    void ReadPast(SqlSession& session, Detail detail) const {
        const auto history = std::make_shared<DeviceHistory>();
        history->address = "301234";
        history->from = *ParseStamp("2026-03-01 00:00:00");
        history->to = *ParseStamp("2026-03-04 00:00:00");
        history->detail = detail;
        (void)ReadHistory(history)(session);
        const auto& times = history->power.times;
        REQUIRE(std::ranges::is_sorted(times));
        REQUIRE(times.empty() || (times.front() >= history->from && times.back() < history->to));
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            REQUIRE(TraceOf(history->power, channel, history->from, history->to, 10).size() <=
                    2 * times.size() + 12);
        for (const CalendarUnit unit : {CalendarUnit::Hour, CalendarUnit::Week}) {
            const EnergyBars bars = history->energy.Bars(unit, history->from, history->to, history->tariff);
            for (const EnergyBar& bar : bars.bars) {
                REQUIRE(bar.from < bar.to && bar.covered >= 0 && bar.covered <= bar.to - bar.from);
                REQUIRE(std::ranges::all_of(bar.kwh, [](double kwh) { return std::isfinite(kwh); }));
            }
        }
        const std::string csv = folder_.Path(u"past.csv"_s).toStdString();
        REQUIRE(ExportPower(csv, history, {"CH1"}, history->from, history->to)(session).Ok());
    }

    static void ReadTable(SqlSession& session, const char* table) {
        const auto rows = std::make_shared<TableRows>();
        rows->filter = {
            .table = table, .address = "301234", .firstDay = "2026-03-01", .endDay = "2026-03-04"};
        REQUIRE(FindRows(rows)(session).Ok());
        REQUIRE(ReadRows(*rows, 0, 5)(session).rows.size() == std::min<std::size_t>(rows->ids.size(), 5));
    }

    QuickFolder folder_;
    std::string path_ = folder_.Path(u"vrq1.db3"_s).toStdString();
    FakeClock clock_;
    CaptureDatabase database_{path_};
    CaptureDatabase::Connection file_ = CaptureDatabase::OpenFile(path_, true);
    std::vector<Insert> tables_;
    std::vector<sqlite3_stmt*> emptying_ = {Prepared("BEGIN")};
    sqlite3_stmt* commit_ = Prepared("COMMIT");
    SettingsStore settings_{folder_.Path(u"corvane.ini"_s)};
    DeviceSlots slots_{settings_, database_};
    StoredEnergies stored_{database_, slots_, clock_};
    SqlWorker worker_;
    SqlSession session_{worker_, path_, {}, std::chrono::milliseconds(0)};
};

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The library's own counting of its memory takes a lock at each piece: a tenth of the time.
    static const int plain = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    REQUIRE(plain == SQLITE_OK);
    static corvane::House house;
    house.Take({data, size});
    return 0;
}
