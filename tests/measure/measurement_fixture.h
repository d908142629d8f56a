// A measurement with its surroundings: slot A is bound to serial text 301234, slot B to 405678.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "link/device_slots.h"
#include "measure/measurement.h"
#include "measure/readings_sink.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/packets.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {

class MeasurementFixture : public testing::Test {
protected:
    MeasurementFixture() {
        using namespace Qt::StringLiterals;
        Set(u"DevSerial"_s, u"301234"_s, u"0"_s);
        Set(u"DevSerial"_s, u"405678"_s, u"1"_s);
        StartMeasurement();
    }

    void Set(const QString& key, const QString& value, const QString& section = kStartupSection) {
        KeepByKey(settings_, key, value, section);
    }

    /// Begins as the program does when it starts: nothing is known but the settings.
    void StartMeasurement() {
        measurement_ = std::make_unique<Measurement>(slots_, settings_, errorLog_, clock_);
    }

    void Send(const MonitorState& state) { measurement_->DisplayData(1, PacketOf(state)); }

    [[nodiscard]] const DeviceReadings& Of(int slot) const { return measurement_->Readings(slot); }
    [[nodiscard]] const DeviceReadings& A() const { return Of(1); }
    [[nodiscard]] std::string PathOf(const QString& file) const { return folder_.Path(file).toStdString(); }

    TempFolder folder_;
    FakeClock clock_;
    SettingsStore settings_{folder_.Path(QStringLiteral("settings.ini"))};
    ErrorLog errorLog_{folder_.Path(), QStringLiteral("Test"), clock_};
    CaptureDatabase database_{PathOf(QStringLiteral("capture.db3"))};
    DeviceSlots slots_{settings_, database_};
    std::unique_ptr<Measurement> measurement_;
};

}  // namespace corvane
