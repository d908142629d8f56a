#include "window/setup/connections_page.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "app/program.h"
#include "link/port_finder.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"
#include "window/setup/raw_panel.h"
#include "window/setup/serial_link_box.h"
#include "window/setup/tcp_link_box.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kAutoOpenKey = u"AutoOpen"_s;

}  // namespace

ConnectionsPage::ConnectionsPage(Program& program, Actions& actions)
    : program_(program), raw_(new RawPanel(program)) {
    QVBoxLayout* page = ScrolledLayout(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    for (TcpLink* link : {&program.tcpA, &program.tcpB})
        row->addWidget(tcpLinks_.emplace_back(new TcpLinkBox(*link, program, actions)), 1);
    for (SerialLink* link : program.SerialLinks())
        row->addWidget(serialLinks_.emplace_back(new SerialLinkBox(*link, program, actions)), 1);
    page->addLayout(row);
    page->addWidget(PortSearch(actions));
    page->addWidget(raw_, 1);
}

QWidget* ConnectionsPage::PortSearch(Actions& actions) {
    autoOpen_ = new QCheckBox(u"Open the serial connections when the program starts"_s);
    connect(autoOpen_, &QCheckBox::clicked, this,
            [this](bool on) { program_.settings.SaveSetting(kAutoOpenKey, on); });
    auto* search = new QWidget;
    auto* row = new QHBoxLayout(search);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(ActionButton(u"Find COM Port"_s, actions, [this](Operator& op) { return FindPorts(op); }));
    found_ = PaleLabel();
    row->addWidget(found_, 1);
    row->addWidget(autoOpen_);
    return search;
}

QCoro::Task<Outcome> ConnectionsPage::FindPorts(Operator& op) {
    found_->setText(u"Looking for ports..."_s);
    const auto links = program_.SerialLinks();
    const auto ports = co_await FindPort(program_.serialPorts, program_.settings, links, program_.clock);
    std::vector<FoundPort> usable;
    QStringList lines;
    for (const FoundPort& port : ports) {
        const bool opened = port.state == PortState::Free || port.state == PortState::OwnLink;
        if (opened) usable.push_back(port);
        lines.append(u"%1: %2 %3"_s.arg(port.number).arg(port.path, PortStateText(port.state, port.path)));
    }
    found_->setText(lines.join(u'\n'));
    if (usable.empty()) op.Show(u"No COM Port Found"_s);
    for (SerialLinkBox* box : serialLinks_)
        box->Offer(usable);
    co_return Outcome::Success();
}

void ConnectionsPage::Refresh() {
    for (TcpLinkBox* box : tcpLinks_)
        box->Refresh();
    for (SerialLinkBox* box : serialLinks_)
        box->Refresh();
    autoOpen_->setChecked(program_.settings.GetBool(kAutoOpenKey, false));
    raw_->Refresh();
}

}  // namespace corvane
