#include "demo/demo.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/clock.h"
#include "demo/demo_history.h"
#include "link/device_slots.h"
#include "link/framer.h"
#include "link/tcp_link.h"
#include "measure/channel_groups.h"
#include "measure/virtual_device.h"
#include "store/capture_database.h"
#include "store/channel_labels.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "store/upkeep/database_files.h"
#include "web/web_setup.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kInterval = 2;  ///< seconds
constexpr int kDaysBefore = 7;

struct DemoDevice {
    const char* serial;
    MonitorSerial monitor;
    const MonitorModel* model;
    const char* scenario;
    ChannelLabels labels;
};

const std::array<DemoDevice, 3> kDevices = {{
    {"301234",
     {.unitId = 3, .number = 1234},
     &kFiveChannel,
     "solar-day",
     {u"House"_s, u"Solar roof"_s, u"Refrigerator"_s, u"Water heater"_s, u"Air conditioning"_s, u"Laundry"_s,
      u"Kitchen"_s}},
    {"400123", {.unitId = 4, .number = 123}, &kTwoChannel, "flats", {u"Flat A"_s, u"Flat B"_s}},
    {"500042",
     {.unitId = 5, .number = 42},
     &kFiveChannel,
     "workshop",
     {u"Workshop"_s, u"Lathe"_s, u"Light"_s, u"Compressor"_s, u"Saw"_s, u"Heating"_s, u"Fan"_s}},
}};

}  // namespace

Outcome DemoFolder::Prepare(const LocalTime& now) {
    if (!folder_.isValid()) return Outcome::Failure(folder_.errorString());
    const std::string database = folder_.filePath(u"vrq1.db3"_s).toStdString();
    if (Outcome made = CreateTables(database); !made) return made;
    SettingsStore settings(Where().settingsFile);
    settings.Save(kDatabaseEstablished, true);
    // It takes nobody's ports.
    for (const QString& server : SettingMembers(kTcpLatch))
        settings.Save(kTcpLatch, true, {.member = server});
    settings.Save(kWebEnabled, false);
    settings.Save(kNetMetering, true);
    settings.Save(kDeviceQuantity, static_cast<int>(kDevices.size()));
    ChannelGroups groups(settings);
    for (const auto& [group, channel] :
         {std::pair(ChannelGroup::MainPanel, u"A:CH1"_s), std::pair(ChannelGroup::Generator, u"A:CH2"_s)}) {
        if (Outcome chosen = groups.Choose(group, {channel}); !chosen) return chosen;
    }
    const CaptureDatabase file(database);
    for (int slot = 1; slot <= static_cast<int>(kDevices.size()); ++slot) {
        const DemoDevice& device = kDevices[static_cast<std::size_t>(slot - 1)];
        settings.Save(kDeviceSerial, QString::fromLatin1(device.serial), {.slot = slot});
        sql::RowLabels labels;
        std::ranges::transform(device.labels, labels.begin(), &QString::toStdString);
        (void)file.Run("DELETE FROM applicationinfo WHERE id = " + std::to_string(slot));
        const QueryResult row = file.Run(sql::NewDeviceRow(std::to_string(slot), device.serial, labels));
        if (!row.Ok()) return Outcome::Failure(QString::fromStdString(row.errorText));
        monitors_.emplace_back(MonitorConfig{.model = device.model,
                                             .serial = device.monitor,
                                             .scenario = FindScenario(device.scenario),
                                             .interval = kSecondsPerRecord,
                                             .startSecondOfDay = (now.hour * 60 + now.minute) * 60});
    }
    const LocalTime minuteBegin = LocalTimeAt(now.unixSeconds - now.second);
    return WriteDemoHistory(monitors_, kDaysBefore, minuteBegin, settings, file);
}

Options DemoFolder::Where() const {
    return {.dataFolder = folder_.path(), .settingsFile = folder_.filePath(u"corvane.ini"_s)};
}

DemoMonitors::DemoMonitors(Framer& framer, const Clock& clock, std::vector<SimulatedMonitor> monitors)
    : framer_(framer), monitors_(std::move(monitors)) {
    for (SimulatedMonitor& monitor : monitors_)
        monitor.SetInterval(kInterval);
    connect(&clock, &Clock::SecondPassed, this, &DemoMonitors::OnSecond);
}

void DemoMonitors::OnSecond() {
    if (seconds_++ % kInterval != 0) return;
    for (SimulatedMonitor& monitor : monitors_) {
        for (const std::uint8_t byte : monitor.NextPacket())
            framer_.ProcessByte(kStreamTcpA, byte);
    }
}

}  // namespace corvane
