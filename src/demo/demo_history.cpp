#include "demo/demo_history.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "base/clock.h"
#include "link/device_slots.h"
#include "link/framer.h"
#include "measure/measurement.h"
#include "measure/readings_sink.h"
#include "measure/record_writer.h"
#include "sim/simulated_monitor.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kMinutesPerDay = 24 * 60;

/// Goes from minute to minute as fast as can be.
class PastClock final : public Clock {
public:
    explicit PastClock(std::int64_t unixSeconds) : now_(LocalTimeAt(unixSeconds)) {}
    void NextMinute() { now_ = LocalTimeAt(now_.unixSeconds + kSecondsPerRecord); }
    [[nodiscard]] LocalTime Now() const override { return now_; }
    [[nodiscard]] std::int64_t Monotonic() const override { return now_.unixSeconds * 1000; }

private:
    void Arm() override {}

    LocalTime now_;
};

class Records final : public ReadingsSink {
public:
    explicit Records(const CaptureDatabase::Connection& database) : database_(database) { Run("BEGIN"); }

    void OnReadings(const DeviceReadings& readings) override {
        if (readings.elapsed == 0) return;  // the first packet: no power is known yet
        Run(sql::MinuteRow(readings));
        if (readings.time.minute == 0) Run(sql::HourlyRow(readings));
    }

    Outcome Finish() {
        Run("COMMIT");
        return error_.empty() ? Outcome::Success() : Outcome::Failure(QString::fromStdString(error_));
    }

private:
    void Run(const std::string& statement) {
        if (error_.empty()) error_ = database_.GetTable(statement).errorText;
    }

    const CaptureDatabase::Connection& database_;
    std::string error_;
};

}  // namespace

Outcome WriteDemoHistory(std::span<SimulatedMonitor> monitors, int days, const LocalTime& until,
                         SettingsStore& settings, const CaptureDatabase& database) {
    const int minutes = days * kMinutesPerDay;
    PastClock clock(until.unixSeconds - std::int64_t{minutes} * kSecondsPerRecord);
    const DeviceSlots slots(settings, database);
    const QFileInfo file(QString::fromStdString(database.databasePath()));
    ErrorLog errors(file.path(), QCoreApplication::applicationName(), clock);
    Measurement measurement(slots, settings, errors, clock);
    const CaptureDatabase::Connection connection = database.Open();
    if (!connection) return Outcome::Failure(u"The database of the demo could not be opened."_s);
    Records records(connection);
    measurement.AddSink(records);
    for (int minute = 0; minute < minutes; ++minute) {
        for (SimulatedMonitor& monitor : monitors)
            measurement.DisplayData(kStreamTcpA, monitor.NextPacket());
        clock.NextMinute();
    }
    return records.Finish();
}

}  // namespace corvane
