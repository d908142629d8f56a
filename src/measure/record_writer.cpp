#include "measure/record_writer.h"

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

/// The values of an insert statement, joined by commas.
class ValueList {
public:
    ValueList& Add(const std::string& text) {
        text_ += ',';
        text_ += text;
        return *this;
    }
    ValueList& Add(double value) { return Add(ShortestText(value)); }

    /// A row without power for this packet holds 0.
    ValueList& AddWatts(const DeviceReadings& readings) {
        for (const auto& channel : readings.channels)
            Add(channel.absolute.watts.value_or(0));
        return *this;
    }
    ValueList& AddAuxKwh(const DeviceReadings& readings) {
        for (std::size_t aux = kMainChannels; aux < kChannels; ++aux)
            Add(readings.channels[aux].absolute.Kwh());
        return *this;
    }

    [[nodiscard]] const std::string& Text() const { return text_; }

private:
    std::string text_;
};

}  // namespace

std::string sql::MinuteRow(const DeviceReadings& readings) {
    const auto& [ch1, ch2, aux1, aux2, aux3, aux4, aux5] = readings.channels;
    ValueList values;
    values.AddWatts(readings)
        .Add(ch1.absolute.Kwh())
        .Add(ch2.absolute.Kwh())
        .Add(ShortestText(ch1.amps))
        .Add(ShortestText(ch2.amps))
        .Add(readings.volt)
        .AddAuxKwh(readings)
        .Add(ch1.absolute.Lifetime())
        .Add(ch2.absolute.Lifetime())
        .Add(ch1.polarized.Lifetime())
        .Add(ch2.polarized.Lifetime())
        .Add(aux1.absolute.Lifetime())
        .Add(aux2.absolute.Lifetime())
        .Add(aux3.absolute.Lifetime())
        .Add(aux4.absolute.Lifetime())
        .Add(aux5.absolute.Lifetime())
        .Add(readings.seconds.value_or(0))
        .Add("1")
        .Add(readings.serial);
    return "insert into monitordata_minute(date,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,aux5watt,"
           "ch1kwh,ch2kwh,ch1amps,ch2amps,volt,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh,ch1awsc,ch2awsc,"
           "ch1pwsc,"
           "ch2pwsc,aux1awsc,aux2awsc,aux3awsc,aux4awsc,aux5awsc,secondscounter,online,deviceaddress) values "
           "('" +
           DateTimeText(readings.time) + "'" + values.Text() + ")";
}

std::string sql::PowerRow(const DeviceReadings& readings) {
    ValueList values;
    values.Add(readings.serial).AddWatts(readings).Add(readings.volt);
    return "insert into minute_power(date,deviceaddress,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,"
           "aux5watt,volt) values ('" +
           DateMinuteText(readings.time) + "'" + values.Text() + ")";
}

std::string sql::EnergyRow(const DeviceReadings& readings) {
    const auto& channels = readings.channels;
    ValueList values;
    values.Add(readings.serial)
        .Add(channels[0].absolute.Kwh())
        .Add(channels[1].polarized.Kwh())
        .Add(channels[1].absolute.Kwh())
        .Add(channels[1].polarized.Kwh())
        .AddAuxKwh(readings);
    // The list names ch2Pkwh twice, each time with its value, and ch1Pkwh never: on purpose.
    return "insert into "
           "minute_energy(date,deviceaddress,ch1Akwh,ch2Pkwh,ch2Akwh,ch2Pkwh,aux1kwh,aux2kwh,aux3kwh,"
           "aux4kwh,aux5kwh) values ('" +
           DateMinuteText(readings.time) + "'" + values.Text() + ")";
}

std::string sql::HourlyRow(const DeviceReadings& readings) {
    const auto& channels = readings.channels;
    ValueList values;
    values.Add(readings.serial)
        .Add(channels[0].absolute.Kwh())
        .Add(channels[1].absolute.Kwh())
        .Add(channels[0].polarized.Kwh())
        .Add(channels[1].polarized.Kwh())
        .AddAuxKwh(readings)
        .Add("1");
    return "insert into monitordata_hourly(date,deviceaddress,ch1kwh,ch2kwh,ch1kwhp,ch2kwhp,aux1kwh,aux2kwh,"
           "aux3kwh,aux4kwh,aux5kwh,online) values ('" +
           DateTimeText(readings.time) + "'" + values.Text() + ")";
}

RecordWriter::RecordWriter(DbWriter& writer, const VirtualChannels& virtualChannels, const Clock& clock)
    : writer_(writer), virtualChannels_(virtualChannels) {
    const LocalTime start = clock.Now();
    due_.fill({.minute = start.minute, .lastHour = start.unixSeconds - kFirstHourLead});
}

void RecordWriter::LookForMinuteTables(const CaptureDatabase& database) {
    const auto exists = [&database](const char* table) {
        return !database
                    .Run("SELECT name FROM sqlite_master WHERE type = 'table' AND name = " + SqlQuoted(table))
                    .rows.empty();
    };
    hasPowerTable_ = exists("minute_power");
    hasEnergyTable_ = exists("minute_energy");
}

void RecordWriter::OnReadings(const DeviceReadings& readings) {
    if (!writer_.Enabled()) return;
    Due& due = due_[static_cast<std::size_t>(readings.slot - 1)];
    const bool minuteDue = readings.time.minute != due.minute;
    const bool hourDue = readings.time.unixSeconds > due.lastHour + kHour;
    if (!minuteDue && !hourDue) return;
    const auto virtualRow = virtualChannels_.RowWith(readings);
    if (minuteDue) {
        due.minute = readings.time.minute;
        WriteMinute(readings);
        if (virtualRow.has_value()) WriteMinute(*virtualRow);
    }
    if (hourDue) {
        due.lastHour = readings.time.unixSeconds;
        writer_.WriteSQL(sql::HourlyRow(readings));
        if (virtualRow.has_value()) writer_.WriteSQL(sql::HourlyRow(*virtualRow));
    }
}

void RecordWriter::WriteMinute(const DeviceReadings& readings) {
    writer_.WriteSQL(sql::MinuteRow(readings));
    if (hasPowerTable_) writer_.WriteSQL(sql::PowerRow(readings));
    if (hasEnergyTable_) writer_.WriteSQL(sql::EnergyRow(readings));
}

}  // namespace corvane
