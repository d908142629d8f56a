#include "history/history_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/number_entry.h"
#include "history/device_records.h"
#include "store/channel_labels.h"
#include "store/schema.h"
#include "store/sql_cursor.h"

namespace corvane {

namespace {

constexpr int kMostDevices = 200;  ///< that are offered, of a file of which others may have made anything

struct HourlyReading {
    WallTime time;
    ChannelEnergies kwh;
};

/// The values of all channels in the row, from `column` on; NaN for what is none, and for one that no `Value`
/// holds.
template <typename Value>
std::array<Value, kChannels> ValuesAt(const SqlCursor& row, std::size_t column) {
    std::array<Value, kChannels> values{};
    for (Value& value : values) {
        const double number = row.Number(static_cast<int>(column++));
        const bool fits = std::abs(number) <= static_cast<double>(std::numeric_limits<Value>::max());
        value = fits ? static_cast<Value>(number) : std::numeric_limits<Value>::quiet_NaN();
    }
    return values;
}

class HistoryRead {
public:
    explicit HistoryRead(DeviceHistory& history)
        : history_(history),
          span_{.address = history.address, .from = history.from, .to = history.to},
          signedCh1_(history.address == kVirtualDevice) {}

    /// The error text, empty where all was read.
    std::string Run(const CaptureDatabase::Connection& database) {
        using Read = std::string (HistoryRead::*)(const CaptureDatabase::Connection&);
        std::vector<Read> reads = {&HistoryRead::ForgetIfRenumbered, &HistoryRead::ReadTariff,
                                   &HistoryRead::ReadHourly, &HistoryRead::ReadMinutes};
        if (history_.detail == Detail::Hours)
            reads = {&HistoryRead::ReadHourly, &HistoryRead::ReadNewestMinute};
        for (const Read read : reads)
            if (std::string error = (this->*read)(database); !error.empty()) return error;
        FillUpTo(history_.to);
        history_.power.Sort();
        return {};
    }

private:
    /// Where the table was emptied or rebuilt, all is read again.
    std::string ForgetIfRenumbered(const CaptureDatabase::Connection& database) {
        SqlCursor newest(database, "SELECT MAX(rowid) FROM monitordata_minute");
        if (!newest.Next() || newest.Integer(0) >= history_.newestId) return newest.ErrorText();
        history_ = {
            .address = history_.address, .from = history_.from, .to = history_.to, .detail = history_.detail};
        return {};
    }

    std::string ReadTariff(const CaptureDatabase::Connection& database) {
        SqlCursor rows(database,
                       "SELECT kwhcost1, kwhcost2, kwhcost3, kwhtime1, kwhtime2, kwhtime3 FROM applications "
                       "WHERE id = 1");
        Tariff tariff;
        if (rows.Next()) {
            for (int band = 0; band < 3; ++band) {
                const auto index = static_cast<std::size_t>(band);
                tariff.prices[index] = std::isnan(rows.Number(band)) ? 0 : rows.Number(band);
                tariff.begins[index] = FullHour(rows.Text(3 + band)).value_or(tariff.begins[index]);
            }
        }
        history_.tariff = tariff;
        return rows.ErrorText();
    }

    std::string ReadHourly(const CaptureDatabase::Connection& database) {
        const auto last = history_.energy.LastTime();
        std::string error =
            WalkHourlyRecords(database, span_, ChannelColumns("kwh"), [&](const DeviceRecord& record) {
                if (last && record.time <= *last) return;
                hourly_.push_back({record.time, ValuesAt<double>(record.row, DeviceRecord::kFirstValue)});
            });
        std::ranges::stable_sort(hourly_, {}, &HourlyReading::time);
        return error;
    }

    std::string ReadMinutes(const CaptureDatabase::Connection& database) {
        WalkedBefore before{.id = history_.newestId};
        if (!history_.power.times.empty()) before.time = history_.power.times.back();
        const std::string columns = ChannelColumns("watt").append(",").append(ChannelColumns("kwh"));
        return WalkMinuteRecords(database, span_, columns, before, [this](const DeviceRecord& record) {
            history_.newestId = record.id;
            history_.power.Add(record.time, ValuesAt<float>(record.row, DeviceRecord::kFirstValue));
            AddReadings(record, DeviceRecord::kFirstValue + kChannels);
        });
    }

    std::string ReadNewestMinute(const CaptureDatabase::Connection& database) {
        return TakeNewestMinuteRecord(
            database, span_, ChannelColumns("kwh"),
            [this](const DeviceRecord& record) { AddReadings(record, DeviceRecord::kFirstValue); });
    }

    /// The meter readings of a minute record, which stand in its row from `column` on.
    void AddReadings(const DeviceRecord& record, std::size_t column) {
        FillUpTo(record.time);
        history_.energy.Add(record.time, ValuesAt<double>(record.row, column), signedCh1_);
    }

    /// Hourly readings go where the next minute record, at `time`, leaves a gap.
    void FillUpTo(WallTime time) {
        const auto last = history_.energy.LastTime();
        if (last && time - *last <= kPowerGap) return;
        for (; nextHourly_ < hourly_.size() && hourly_[nextHourly_].time < time; ++nextHourly_) {
            const HourlyReading& reading = hourly_[nextHourly_];
            if (!last || reading.time > *last) history_.energy.Add(reading.time, reading.kwh, signedCh1_);
        }
    }

    DeviceHistory& history_;
    const RecordSpan span_;
    const bool signedCh1_;
    std::vector<HourlyReading> hourly_;
    std::size_t nextHourly_ = 0;
};

}  // namespace

SqlJob ReadHistory(std::shared_ptr<DeviceHistory> history) {
    return [history = std::move(history)](SqlSession& session) {
        QueryResult result;
        result.errorText = HistoryRead(*history).Run(session.Database());
        return result;
    };
}

SqlJob ReadDevices() {
    return [](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "unable to open database file"};
        // The hourly records know every device, and are few.
        std::string sql = "SELECT * FROM (SELECT CAST(deviceaddress AS TEXT) AS address, id, ";
        sql.append(ChannelColumns("alias"))
            .append(" FROM applicationinfo WHERE deviceaddress <> '' UNION ALL ");
        sql.append("SELECT DISTINCT CAST(deviceaddress AS TEXT), 0");
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            sql.append(", ''");
        sql.append(" FROM monitordata_hourly WHERE deviceaddress NOT IN (SELECT deviceaddress FROM ");
        sql.append("applicationinfo WHERE deviceaddress IS NOT NULL)) ORDER BY id = 0, id, address LIMIT ");
        sql.append(std::to_string(kMostDevices));
        return session.Database().GetTable(sql);
    };
}

std::vector<HistoryDevice> DevicesOf(const QueryResult& rows) {
    std::vector<HistoryDevice> devices;
    for (const auto& row : rows.rows) {
        HistoryDevice& device = devices.emplace_back();
        device.address = row[0].value_or("");
        device.id = ParseInteger<int>(row[1].value_or("")).value_or(0);
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            device.labels[channel] =
                GivenLabel(QString::fromStdString(row[2 + channel].value_or(""))).toStdString();
    }
    return devices;
}

}  // namespace corvane
