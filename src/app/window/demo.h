// A demonstration: simulated monitors inside the program, in a folder that goes with it.
#pragma once

#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <vector>

#include "app/options.h"
#include "base/outcome.h"
#include "sim/simulated_monitor.h"

namespace corvane {

class Program;

/// The folder of a demonstration: an empty database, and settings that bind the simulated monitors.
class DemoFolder {
public:
    /// The failure is that the folder cannot be made.
    Outcome Prepare();

    [[nodiscard]] Options Where() const;

private:
    QTemporaryDir folder_;
};

/// Lets three monitors send a packet every two seconds, straight into the framer.
class DemoMonitors : public QObject {
    Q_OBJECT

public:
    explicit DemoMonitors(Program& program);

private:
    void OnSecond();

    Program& program_;
    std::vector<SimulatedMonitor> monitors_;
    int seconds_ = 0;
};

}  // namespace corvane
