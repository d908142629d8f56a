// A demonstration: simulated monitors inside the program, in a folder that goes with it.
#pragma once

#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <vector>

#include "app/options.h"
#include "base/local_time.h"
#include "base/outcome.h"
#include "sim/simulated_monitor.h"

namespace corvane {

class Clock;
class Framer;

/// The folder of a demonstration: a database with the records of the last days, and settings that bind the
/// simulated monitors.
class DemoFolder {
public:
    /// The failure is that the folder cannot be made.
    Outcome Prepare(const LocalTime& now);

    [[nodiscard]] Options Where() const;

    /// The monitors as they stand after those days.
    [[nodiscard]] std::vector<SimulatedMonitor> Monitors() const { return monitors_; }

private:
    QTemporaryDir folder_;
    std::vector<SimulatedMonitor> monitors_;
};

/// Lets the monitors send a packet every two seconds, straight into the framer.
class DemoMonitors : public QObject {
    Q_OBJECT

public:
    DemoMonitors(Framer& framer, const Clock& clock, std::vector<SimulatedMonitor> monitors);

private:
    void OnSecond();

    Framer& framer_;
    std::vector<SimulatedMonitor> monitors_;
    int seconds_ = 0;
};

}  // namespace corvane
