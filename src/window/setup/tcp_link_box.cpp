#include "window/setup/tcp_link_box.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

#include "app/settings.h"
#include "link/tcp_link.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/setting_widgets.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

StateLine::Light LightOf(TcpLink& link) {
    const bool active = link.TakeActivity();
    switch (link.State()) {
        case SocketState::Closed:
            return StateLine::Light::Off;
        case SocketState::Connected:
            return active ? StateLine::Light::Active : StateLine::Light::On;
        case SocketState::Error:
            return StateLine::Light::Fault;
        default:
            return StateLine::Light::Waiting;
    }
}

}  // namespace

TcpLinkBox::TcpLinkBox(TcpLink& link, Settings& settings, Actions& actions)
    : QGroupBox(link.Name()),
      link_(link),
      settings_(settings),
      actions_(actions),
      state_(new StateLine(link.Name())) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 2, 2, 2);
    column->addWidget(state_);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    column->addLayout(form);
    if (link.CanConnectOut()) AddDirection(form);
    AddPort(form);
    column->addStretch();
    column->addWidget(Buttons());
}

void TcpLinkBox::AddDirection(QFormLayout* form) {
    direction_ = new QComboBox;
    direction_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    direction_->setAccessibleName(link_.Name() + u": Mode"_s);
    direction_->addItem(u"The gateway calls"_s, u"server"_s);
    direction_->addItem(u"Calls the gateway"_s, u"client"_s);
    connect(direction_, &QComboBox::activated, this, [this](int index) {
        const QString mode = direction_->itemData(index).toString();
        actions_.Done(settings_.Apply(kTcpModeB, mode));
        Refresh();
    });
    form->addRow(u"Mode"_s, direction_);
    host_ = AddSettingEntry(form, u"Host"_s, settings_, actions_, kTcpHostB);
    host_->setAccessibleName(link_.Name() + u": Host"_s);
}

void TcpLinkBox::AddPort(QFormLayout* form) {
    port_ = AddEntry(form, u"Port"_s);
    port_->setAccessibleName(link_.Name() + u": Port"_s);
    connect(port_, &QLineEdit::editingFinished, this, [this] {
        if (!port_->isModified()) return;
        port_->setModified(false);
        actions_.Done(settings_.Apply(link_.PortSetting(), port_->text()));
        Refresh();
    });
}

QWidget* TcpLinkBox::Buttons() {
    listen_ = new QPushButton;
    connect(listen_, &QPushButton::clicked, this, [this] {
        if (Idle()) {
            link_.Listen();
        } else {
            link_.Disconnect();
        }
        Refresh();
    });
    disconnect_ = new QPushButton(u"Disconnect"_s);
    disconnect_->setAccessibleName(link_.Name() + u": Disconnect"_s);
    connect(disconnect_, &QPushButton::clicked, this, [this] {
        link_.Disconnect();
        Refresh();
    });
    return Row({listen_, disconnect_});
}

bool TcpLinkBox::Idle() const {
    return link_.State() == SocketState::Closed || link_.State() == SocketState::Error;
}

void TcpLinkBox::Refresh() {
    const bool serves = !link_.ConnectsOut();
    const QString port = settings_.Store().Value(link_.PortSetting());
    QStringList notices;
    if (link_.State() == SocketState::Error) notices.append(link_.ErrorText());
    if (!link_.Notice().isEmpty()) notices.append(link_.Notice());
    if (serves && link_.LocalPort() != 0 && port != QString::number(link_.LocalPort()))
        notices.append(u"Port %1 from the next Listen on."_s.arg(port));
    state_->Show(LightOf(link_), StateText(link_), notices.join(u' '));

    listen_->setText(link_.Caption());
    listen_->setAccessibleName(link_.Name() + u": "_s + link_.Caption());
    listen_->setEnabled(link_.State() != SocketState::Connected);
    disconnect_->setEnabled(!Idle() || !settings_.Store().IsOn(kTcpLatch, {.member = link_.Letter()}));
    if (!port_->isModified()) port_->setText(port);
    if (direction_ == nullptr) return;
    direction_->setCurrentIndex(serves ? 0 : 1);
    host_->setEnabled(!serves);
}

}  // namespace corvane
