#include "measure/record_writer.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/number_format.h"
#include "measure/readings.h"
#include "measure/virtual_channels.h"
#include "store/capture_database.h"
#include "store/db_writer.h"

namespace corvane {
namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kFirstHourLead = 61 * 60;
constexpr std::size_t kMostUndecided = DbBuffer::kMax;

/// Channels that stand side by side: `end` is the one behind the last.
struct ChannelRange {
    std::size_t begin;
    std::size_t end;
};
constexpr ChannelRange kEvery = {0, kChannels};
constexpr ChannelRange kMain = {0, kMainChannels};
constexpr ChannelRange kAux = {kMainChannels, kChannels};

/// What a column holds of a channel.
using ChannelValue = std::string (*)(const ChannelReadings&);

/// A channel without power in this packet has 0 in the row.
constexpr ChannelValue kRowWatts = [](const ChannelReadings& channel) {
    return std::to_string(channel.absolute.watts.value_or(0));
};
constexpr ChannelValue kRowAmps = [](const ChannelReadings& channel) { return ShortestText(channel.amps); };
constexpr ChannelValue kRowKwh = [](const ChannelReadings& channel) {
    return ShortestText(channel.absolute.Kwh());
};
constexpr ChannelValue kRowKwhPolarized = [](const ChannelReadings& channel) {
    return ShortestText(channel.polarized.Kwh());
};
constexpr ChannelValue kRowCounter = [](const ChannelReadings& channel) {
    return ShortestText(channel.absolute.Lifetime());
};
constexpr ChannelValue kRowCounterPolarized = [](const ChannelReadings& channel) {
    return ShortestText(channel.polarized.Lifetime());
};

/// An insert statement: its columns, and their values beside them.
class Insert {
public:
    Insert(const char* table, const std::string& date, const DeviceReadings& readings)
        : readings_(readings), columns_("insert into "), values_(") values ('") {
        columns_ += table;
        columns_ += "(date";
        values_ += date;
        values_ += '\'';
    }

    Insert& Add(const std::string& column, const std::string& value) {
        columns_ += ',';
        columns_ += column;
        values_ += ',';
        values_ += value;
        return *this;
    }
    Insert& Add(std::size_t channel, const char* columnEnd, ChannelValue value) {
        return Add(ChannelColumn(channel, columnEnd), value(readings_.channels[channel]));
    }
    Insert& Add(ChannelRange channels, const char* columnEnd, ChannelValue value) {
        for (std::size_t channel = channels.begin; channel < channels.end; ++channel)
            Add(channel, columnEnd, value);
        return *this;
    }
    Insert& AddSerial() { return Add("deviceaddress", readings_.serial); }
    Insert& AddVolt() { return Add("volt", ShortestText(readings_.volt)); }
    Insert& AddOnline() { return Add("online", "1"); }

    [[nodiscard]] std::string Text() const { return columns_ + values_ + ")"; }

private:
    const DeviceReadings& readings_;
    std::string columns_;
    std::string values_;
};

}  // namespace

std::string sql::MinuteRow(const DeviceReadings& readings) {
    return Insert("monitordata_minute", DateTimeText(readings.time), readings)
        .Add(kEvery, "watt", kRowWatts)
        .Add(kMain, "kwh", kRowKwh)
        .Add(kMain, "amps", kRowAmps)
        .AddVolt()
        .Add(kAux, "kwh", kRowKwh)
        .Add(kMain, "awsc", kRowCounter)
        .Add(kMain, "pwsc", kRowCounterPolarized)
        .Add(kAux, "awsc", kRowCounter)
        .Add("secondscounter", std::to_string(readings.seconds.value_or(0)))
        .AddOnline()
        .AddSerial()
        .Text();
}

std::string sql::PowerRow(const DeviceReadings& readings) {
    return Insert("minute_power", DateMinuteText(readings.time), readings)
        .AddSerial()
        .Add(kEvery, "watt", kRowWatts)
        .AddVolt()
        .Text();
}

std::string sql::EnergyRow(const DeviceReadings& readings) {
    // The list names ch2Pkwh twice, each time with its value, and ch1Pkwh never: on purpose.
    return Insert("minute_energy", DateMinuteText(readings.time), readings)
        .AddSerial()
        .Add(0, "Akwh", kRowKwh)
        .Add(1, "Pkwh", kRowKwhPolarized)
        .Add(1, "Akwh", kRowKwh)
        .Add(1, "Pkwh", kRowKwhPolarized)
        .Add(kAux, "kwh", kRowKwh)
        .Text();
}

std::string sql::HourlyRow(const DeviceReadings& readings) {
    return Insert("monitordata_hourly", DateTimeText(readings.time), readings)
        .AddSerial()
        .Add(kMain, "kwh", kRowKwh)
        .Add(kMain, "kwhp", kRowKwhPolarized)
        .Add(kAux, "kwh", kRowKwh)
        .AddOnline()
        .Text();
}

RecordWriter::RecordWriter(DbWriter& writer, const CaptureDatabase& database,
                           const VirtualChannels& virtualChannels, const Clock& clock)
    : writer_(writer), database_(database), virtualChannels_(virtualChannels) {
    const LocalTime start = clock.Now();
    due_.fill({.minute = start.minute, .lastHour = start.unixSeconds - kFirstHourLead});
}

void RecordWriter::LookForMinuteTables() {
    const QueryResult found = database_.Run(
        "SELECT lower(name) FROM sqlite_master WHERE type = 'table' AND lower(name) IN ('minute_power', "
        "'minute_energy')");
    tablesKnown_ = found.Ok();
    if (!tablesKnown_) return;
    const auto exists = [&found](const char* table) {
        return std::ranges::any_of(found.rows, [table](const auto& row) { return row.front() == table; });
    };
    hasPowerTable_ = exists("minute_power");
    hasEnergyTable_ = exists("minute_energy");
    for (const MinuteRow& row : std::exchange(undecided_, {}))
        WriteWhereTableIs(row);
}

void RecordWriter::GiveUpUndecided() {
    LookForMinuteTables();
    for (const MinuteRow& row : std::exchange(undecided_, {}))
        writer_.GiveUp(row.statement);
}

void RecordWriter::OnReadings(const DeviceReadings& readings) {
    if (!writer_.Enabled()) return;
    Due& due = due_[static_cast<std::size_t>(readings.slot - 1)];
    // The first packet after a start has no power; as a record it would look as if all had been switched off.
    const bool minuteDue = readings.time.minute != due.minute && readings.HasPower();
    const std::int64_t now = readings.time.unixSeconds;
    const bool hourDue = now > due.lastHour + kHour || now < due.lastHour;
    const bool withVirtual = virtualChannels_.GoWith(readings.slot);
    if (withVirtual && hourDue) virtualHourDue_ = true;
    if (minuteDue) due.minute = readings.time.minute;
    if (hourDue) due.lastHour = now;
    DueRows rows{.readings = readings, .virtualRow = {}, .minute = minuteDue, .hour = hourDue};
    if (withVirtual && (minuteDue || virtualHourDue_)) rows.virtualRow = virtualChannels_.RowWith(readings);
    if (rows.virtualRow.has_value()) rows.virtualHour = std::exchange(virtualHourDue_, false);
    if (!minuteDue && !hourDue && !rows.virtualHour) return;
    if (!holding_) {
        WriteRows(rows);
    } else if (held_.size() < kMostHeld) {
        held_.push_back(std::move(rows));
    } else {
        if (minuteDue) writer_.GiveUp(sql::MinuteRow(readings));
        if (hourDue) writer_.GiveUp(sql::HourlyRow(readings));
    }
}

void RecordWriter::Release(const std::function<void(DeviceReadings&)>& correct) {
    holding_ = false;
    for (DueRows& rows : std::exchange(held_, {})) {
        correct(rows.readings);
        if (rows.virtualRow.has_value()) correct(*rows.virtualRow);
        WriteRows(rows);
    }
}

void RecordWriter::WriteRows(const DueRows& rows) {
    if (rows.minute) {
        if (!tablesKnown_) LookForMinuteTables();
        WriteMinute(rows.readings);
        if (rows.virtualRow.has_value()) WriteMinute(*rows.virtualRow);
    }
    if (rows.hour) writer_.WriteSQL(sql::HourlyRow(rows.readings));
    if (rows.virtualHour) writer_.WriteSQL(sql::HourlyRow(*rows.virtualRow));
}

void RecordWriter::WriteMinute(const DeviceReadings& readings) {
    writer_.WriteSQL(sql::MinuteRow(readings));
    if (hasPowerTable_ || !tablesKnown_) WriteWhereTableIs({false, sql::PowerRow(readings)});
    if (hasEnergyTable_ || !tablesKnown_) WriteWhereTableIs({true, sql::EnergyRow(readings)});
}

void RecordWriter::WriteWhereTableIs(const MinuteRow& row) {
    if (tablesKnown_) {
        if (row.energy ? hasEnergyTable_ : hasPowerTable_) writer_.WriteSQL(row.statement);
    } else if (undecided_.size() < kMostUndecided) {
        undecided_.push_back(row);
    } else {
        writer_.GiveUp(row.statement);
    }
}

}  // namespace corvane
