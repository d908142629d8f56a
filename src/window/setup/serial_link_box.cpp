#include "window/setup/serial_link_box.h"

#include <QComboBox>
#include <QFormLayout>
#include <QPushButton>

#include "app/settings.h"
#include "link/port_finder.h"
#include "link/serial_link.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// A narrow list; what it lists may be wider.
QComboBox* Choice(const QString& name) {
    auto* choice = new QComboBox;
    choice->setAccessibleName(name);
    choice->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    choice->setMinimumContentsLength(8);
    choice->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return choice;
}

}  // namespace

SerialLinkBox::SerialLinkBox(SerialLink& link, Settings& settings, Actions& actions)
    : QGroupBox(link.Name()),
      link_(link),
      settings_(settings),
      actions_(actions),
      state_(new StateLine(link.Name())),
      port_(Choice(link.Name() + u": Port"_s)),
      baudRate_(Choice(link.Name() + u": Baud rate"_s)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 2, 2, 2);
    column->addWidget(state_);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(u"Port"_s, port_);
    form->addRow(u"Baud rate"_s, baudRate_);
    column->addLayout(form);
    column->addStretch();
    column->addWidget(Buttons());
    for (const int rate : SerialLink::kBaudRates)
        baudRate_->addItem(QString::number(rate));
    Offer({});
    connect(port_, &QComboBox::activated, this, [this] {
        // "None" cannot be saved: it only means that none is chosen yet.
        const QString number = port_->currentData().toString();
        if (!number.isEmpty()) actions_.Done(settings_.Apply(kComPort, number, Place()));
    });
    connect(baudRate_, &QComboBox::activated, this,
            [this] { actions_.Done(settings_.Apply(kBaudRate, baudRate_->currentText(), Place())); });
    connect(&settings.Store(), &SettingsStore::Changed, this, &SerialLinkBox::ShowChosen);
}

QWidget* SerialLinkBox::Buttons() {
    QPushButton* open = ActionButton(u"Open"_s, actions_, [this](Operator&) { return Open(); });
    open->setAccessibleName(link_.Name() + u": Open"_s);
    close_ = new QPushButton(u"Close"_s);
    close_->setAccessibleName(link_.Name() + u": Close"_s);
    connect(close_, &QPushButton::clicked, this, [this] {
        link_.CloseCOM();
        Refresh();
    });
    return Row({open, close_});
}

QCoro::Task<Outcome> SerialLinkBox::Open() {
    const Outcome opened = co_await link_.OpenCOM(port_->currentData().toString(), baudRate_->currentText());
    Refresh();
    co_return opened;
}

void SerialLinkBox::Offer(const std::vector<FoundPort>& ports) {
    port_->clear();
    port_->addItem(u"None"_s, QString());
    for (const FoundPort& port : ports) {
        QString text = u"%1  %2"_s.arg(port.number).arg(port.path);
        if (!port.product.isEmpty()) text += u"  "_s + port.product;
        port_->addItem(text, QString::number(port.number));
    }
    ShowChosen();
}

SettingPlace SerialLinkBox::Place() const {
    return {.member = link_.Letter()};
}

void SerialLinkBox::ShowChosen() {
    // The file of the settings may have been written by hand.
    QString port = settings_.Store().Value(kComPort, Place());
    if (!CheckComPort(port, settings_.Store())) port.clear();
    QString rate = settings_.Store().Value(kBaudRate, Place());
    if (!CheckBaudRate(rate, settings_.Store())) rate.clear();
    if (port_->findData(port) < 0)
        port_->addItem(u"%1  %2"_s.arg(port, ComDevice(port.toInt(), settings_.Store())), port);
    port_->setCurrentIndex(port_->findData(port));
    baudRate_->setCurrentIndex(baudRate_->findText(rate));
}

void SerialLinkBox::Refresh() {
    const bool active = link_.TakeActivity();
    const bool waiting = !link_.Notice().isEmpty();
    using Light = StateLine::Light;
    const Light closed = waiting ? Light::Fault : Light::Off;
    const Light open = active ? Light::Active : Light::On;
    state_->Show(link_.IsOpen() ? open : closed, StateText(link_), link_.Notice());
    close_->setEnabled(link_.IsOpen() || waiting);
}

}  // namespace corvane
