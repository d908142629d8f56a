#include "window/setup/port_search_box.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <utility>

#include "app/settings.h"
#include "base/operator.h"
#include "link/serial_link.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

PortSearchBox::PortSearchBox(SerialPorts& ports, std::vector<SerialLink*> links, Settings& settings,
                             Clock& clock, Actions& actions)
    : ports_(ports),
      links_(std::move(links)),
      settings_(settings),
      clock_(clock),
      autoOpen_(new QCheckBox(u"Open the serial connections when the program starts"_s)),
      found_(PaleLabel()) {
    connect(autoOpen_, &QCheckBox::clicked, this, [this, &actions](bool on) {
        actions.Done(settings_.Apply(kAutoOpen, SettingsStore::BoolText(on)));
    });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(ActionButton(u"Find COM Port"_s, actions, [this](Operator& op) { return FindPorts(op); }));
    row->addWidget(found_, 1);
    row->addWidget(autoOpen_);
}

QCoro::Task<Outcome> PortSearchBox::FindPorts(Operator& op) {
    found_->setText(u"Looking for ports..."_s);
    const auto ports = co_await FindPort(ports_, settings_.Store(), links_, clock_);
    std::vector<FoundPort> usable;
    QStringList lines;
    for (const FoundPort& port : ports) {
        if (port.Usable()) usable.push_back(port);
        lines.append(u"%1: %2 %3"_s.arg(port.number).arg(port.path, PortStateText(port.state, port.path)));
    }
    found_->setText(lines.join(u'\n'));
    if (usable.empty()) op.Show(kNoPortFound);
    Q_EMIT Found(usable);
    co_return Outcome::Success();
}

void PortSearchBox::Refresh() {
    autoOpen_->setChecked(settings_.Store().IsOn(kAutoOpen));
}

}  // namespace corvane
