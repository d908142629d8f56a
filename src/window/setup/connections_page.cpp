#include "window/setup/connections_page.h"

#include <QHBoxLayout>

#include <utility>

#include "window/parts/widgets.h"
#include "window/setup/port_search_box.h"
#include "window/setup/raw_panel.h"
#include "window/setup/serial_link_box.h"
#include "window/setup/tcp_link_box.h"

namespace corvane {

ConnectionsPage::ConnectionsPage(std::vector<TcpLinkBox*> tcpLinks, std::vector<SerialLinkBox*> serialLinks,
                                 PortSearchBox* search, RawPanel* raw)
    : tcpLinks_(std::move(tcpLinks)), serialLinks_(std::move(serialLinks)), search_(search), raw_(raw) {
    QVBoxLayout* page = ScrolledLayout(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    for (TcpLinkBox* box : tcpLinks_)
        row->addWidget(box, 1);
    for (SerialLinkBox* box : serialLinks_) {
        row->addWidget(box, 1);
        connect(search_, &PortSearchBox::Found, box, &SerialLinkBox::Offer);
    }
    page->addLayout(row);
    page->addWidget(search_);
    page->addWidget(raw_, 1);
}

void ConnectionsPage::Refresh() {
    for (TcpLinkBox* box : tcpLinks_)
        box->Refresh();
    for (SerialLinkBox* box : serialLinks_)
        box->Refresh();
    search_->Refresh();
    raw_->Refresh();
}

}  // namespace corvane
