#include "history/history_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "store/channel_labels.h"
#include "store/schema.h"
#include "store/sql_cursor.h"

namespace corvane {

namespace {

const std::string kEnergyColumns = "ch1kwh,ch2kwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh";
const std::string kPowerColumns = "ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,aux5watt";

struct HourlyReading {
    WallTime time;
    ChannelEnergies kwh;
};

ChannelEnergies EnergiesAt(const SqlCursor& rows, int column) {
    ChannelEnergies kwh{};
    for (double& value : kwh)
        value = rows.Number(column++);
    return kwh;
}

/// The condition for the records of the device in its span.
std::string Wanted(const DeviceHistory& history) {
    return " WHERE deviceaddress = " + SqlQuoted(history.address) + " AND date >= '" +
           StampText(history.from) + "' AND date < '" + StampText(history.to) + "'";
}

class HistoryRead {
public:
    explicit HistoryRead(DeviceHistory& history)
        : history_(history), signedCh1_(history.address == kVirtualDevice) {}

    /// The error text, empty where all was read.
    std::string Run(const CaptureDatabase::Connection& database) {
        ForgetIfRenumbered(database);
        for (const auto read :
             {&HistoryRead::ReadTariff, &HistoryRead::ReadHourly, &HistoryRead::ReadMinutes})
            if (std::string error = (this->*read)(database); !error.empty()) return error;
        FillUpTo(history_.to);
        history_.power.Sort();
        return {};
    }

private:
    /// Where the table was emptied or made anew, all is read again.
    void ForgetIfRenumbered(const CaptureDatabase::Connection& database) {
        SqlCursor newest(database, "SELECT MAX(rowid) FROM monitordata_minute");
        if (!newest.Next() || newest.Integer(0) >= history_.newestId) return;
        history_ = {.address = history_.address, .from = history_.from, .to = history_.to};
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
        SqlCursor rows(database, "SELECT date," + kEnergyColumns + " FROM monitordata_hourly" +
                                     Wanted(history_) + " ORDER BY rowid");
        while (rows.Next())
            if (const auto time = ParseStamp(rows.Text(0))) hourly_.push_back({*time, EnergiesAt(rows, 1)});
        std::ranges::stable_sort(hourly_, {}, &HourlyReading::time);
        if (const auto last = history_.energy.LastTime())
            std::erase_if(hourly_, [last](const HourlyReading& reading) { return reading.time <= *last; });
        return rows.ErrorText();
    }

    std::string ReadMinutes(const CaptureDatabase::Connection& database) {
        SqlCursor rows(database, "SELECT rowid,date," + kPowerColumns + "," + kEnergyColumns +
                                     " FROM monitordata_minute" + Wanted(history_) + " AND rowid > " +
                                     std::to_string(history_.newestId) + " ORDER BY rowid");
        while (rows.Next()) {
            history_.newestId = rows.Integer(0);
            const auto time = ParseStamp(rows.Text(1));
            if (!time) continue;
            std::array<float, kHistoryChannels> watts{};
            for (int channel = 0; channel < static_cast<int>(kHistoryChannels); ++channel)
                watts[static_cast<std::size_t>(channel)] = static_cast<float>(rows.Number(2 + channel));
            history_.power.Add(*time, watts);
            FillUpTo(*time);
            history_.energy.Add(*time, EnergiesAt(rows, 2 + static_cast<int>(kHistoryChannels)), signedCh1_);
        }
        return rows.ErrorText();
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
    bool signedCh1_;
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
        return session.Database().GetTable(
            "SELECT * FROM (SELECT CAST(deviceaddress AS TEXT) AS address, id, ch1alias, ch2alias, "
            "aux1alias, aux2alias, aux3alias, aux4alias, aux5alias FROM applicationinfo "
            "WHERE deviceaddress <> '' UNION ALL "
            "SELECT DISTINCT CAST(deviceaddress AS TEXT), 0, '', '', '', '', '', '', '' FROM "
            "monitordata_hourly WHERE deviceaddress NOT IN (SELECT deviceaddress FROM applicationinfo)) "
            "ORDER BY id = 0, id, address");
    };
}

std::vector<HistoryDevice> DevicesOf(const QueryResult& rows) {
    std::vector<HistoryDevice> devices;
    for (const auto& row : rows.rows) {
        HistoryDevice& device = devices.emplace_back();
        device.address = row[0].value_or("");
        device.id = std::atoi(row[1].value_or("0").c_str());
        for (std::size_t channel = 0; channel < kHistoryChannels; ++channel)
            device.labels[channel] = ChannelLabelOf(row[2 + channel].value_or(""));
    }
    return devices;
}

}  // namespace corvane
