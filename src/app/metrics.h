// What the program tells of the monitors and of itself to programs that collect metrics.
#pragma once

#include <QByteArray>

#include <array>
#include <map>

#include "app/loop_delay.h"
#include "base/metrics_writer.h"
#include "link/framer.h"
#include "store/channel_labels.h"

namespace corvane {

class CaptureDatabase;
class DbWriter;
class Measurement;
class MonitorLink;

class Metrics {
public:
    using Links = std::array<const MonitorLink*, kStreams>;

    /// Everything that is referred to must outlive it.
    Metrics(const Measurement& measurement, const Links& links, const Framer& framer, const DbWriter& writer,
            const CaptureDatabase& database)
        : measurement_(measurement), links_(links), framer_(framer), writer_(writer), database_(database) {}

    /// All of them. Energies are counters, of import and of export each: what a channel took in, and what it
    /// gave. Of a monitor that is off line there are counters alone.
    [[nodiscard]] QByteArray Text(MetricsFormat format);

private:
    void AddMonitors(MetricsWriter& writer);
    void AddProgram(MetricsWriter& writer) const;

    const Measurement& measurement_;
    const Links links_;
    const Framer& framer_;
    const DbWriter& writer_;
    const CaptureDatabase& database_;
    std::map<int, ChannelLabels>
        labels_;  ///< as they were last read: a locked database is no reason to drop them
    LoopDelay loopDelay_;
};

}  // namespace corvane
