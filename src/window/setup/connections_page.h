// The connections to the monitors: two over TCP, three over serial ports, and the bytes that come in.
#pragma once

#include <vector>

#include "window/page.h"

namespace corvane {

class PortSearchBox;
class RawPanel;
class SerialLinkBox;
class TcpLinkBox;

class ConnectionsPage final : public Page {
    Q_OBJECT

public:
    /// The boxes become the page's. Ports that are found are offered to all of `serialLinks`.
    ConnectionsPage(std::vector<TcpLinkBox*> tcpLinks, std::vector<SerialLinkBox*> serialLinks,
                    PortSearchBox* search, RawPanel* raw);

    void Refresh() override;

private:
    std::vector<TcpLinkBox*> tcpLinks_;
    std::vector<SerialLinkBox*> serialLinks_;
    PortSearchBox* search_;
    RawPanel* raw_;
};

}  // namespace corvane
