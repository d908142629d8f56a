// The command line of the simulated monitor.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <variant>

#include "sim/command_listener.h"
#include "sim/packet_sender.h"
#include "sim/simulated_monitor.h"

namespace corvane {

struct ConnectTo {
    QString host;
    std::uint16_t port = 0;
};

struct ListenOn {
    std::uint16_t port = 0;  ///< 0: the system chooses
};

struct LinkPty {
    QString link;
};

struct OpenPort {
    QString device;
    std::int32_t baud = 0;
};

struct SimOptions {
    MonitorConfig monitor;
    MonitorFaults faults;
    std::variant<ConnectTo, ListenOn, LinkPty, OpenPort> line;
    Pace pace;
};

/// What to print instead of starting, and how to end.
struct SimOptionsExit {
    QString text;
    int code;
};

/// `arguments` begins with the program's name.
[[nodiscard]] std::variant<SimOptions, SimOptionsExit> ParseSimOptions(const QStringList& arguments);

}  // namespace corvane
