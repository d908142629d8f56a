#include "link/port_finder.h"

#include <algorithm>

#include "base/clock.h"
#include "link/serial_link.h"

namespace corvane {

QCoro::Task<std::vector<FoundPort>> FindPort(SerialPorts& ports, const SettingsStore& settings,
                                             std::span<SerialLink* const> links, Clock& clock) {
    std::vector<FoundPort> found;
    for (int number = 1; number <= kComPorts; ++number) {
        const QString path = ComDevice(number, settings);
        const bool own =
            std::ranges::any_of(links, [&path](const SerialLink* link) { return link->Uses(path); });
        const PortState state = own ? PortState::OwnLink : ports.TestPort(path);
        if (state != PortState::Missing) found.push_back({number, path, state, ports.Product(path)});
        const bool goOn = co_await clock.DLY(1);
        if (!goOn) break;
    }
    co_return found;
}

}  // namespace corvane
