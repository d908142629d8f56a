#include "window/first_steps.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QHostInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/settings.h"
#include "base/clock.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "link/port_finder.h"
#include "link/serial_link.h"
#include "link/tcp_link.h"
#include "measure/measurement.h"
#include "store/channel_labels.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

enum PageId { kPlacePage, kFoundPage, kNamePage, kReadyPage };

}  // namespace

bool FirstSteps::AreDue(const DeviceSlots& slots, const SettingsStore& settings) {
    for (int slot = 1; slot <= kSlots; ++slot) {
        if (!slots.Bound(slot).isEmpty()) return false;
    }
    return settings.IsOn(kFirstStepsWanted);
}

FirstSteps::FirstSteps(const FirstLinks& links, DeviceSlots& slots, const CaptureDatabase& database,
                       Settings& settings, Clock& clock, Actions& actions, QWidget* parent)
    : QWizard(parent),
      links_(links),
      slots_(slots),
      database_(database),
      settings_(settings),
      actions_(actions) {
    setWindowTitle(u"First steps"_s);
    setWizardStyle(QWizard::ModernStyle);
    setPage(kPlacePage, PlacePage());
    setPage(kFoundPage, FoundPage());
    setPage(kNamePage, NamePage());
    setPage(kReadyPage, ReadyPage());
    connect(this, &QWizard::currentIdChanged, this, &FirstSteps::OnPage);
    connect(&clock, &Clock::SecondPassed, this, &FirstSteps::LookForMonitors);
    connect(this, &QDialog::finished, this, [this] { settings_.Store().Save(kFirstStepsWanted, false); });
}

QWizardPage* FirstSteps::PlacePage() {
    auto* page = new QWizardPage;
    page->setTitle(u"Where is your monitor?"_s);
    serial_ = new QRadioButton(u"On a serial or USB cable of this computer"_s);
    network_ = new QRadioButton(u"Behind a gateway in the network"_s);
    demo_ = new QRadioButton(u"Nowhere yet: just show me the demo"_s);
    network_->setChecked(true);
    auto* layout = new QVBoxLayout(page);
    for (QRadioButton* choice : {serial_, network_, demo_})
        layout->addWidget(choice);
    return page;
}

QWizardPage* FirstSteps::FoundPage() {
    auto* page = new QWizardPage;
    page->setTitle(u"Which one is it?"_s);
    page->setSubTitle(u"Monitors appear here with the first packet that they send."_s);
    how_ = TextLabel();
    port_ = new QComboBox;
    port_->setAccessibleName(u"Port"_s);
    port_->setMinimumContentsLength(24);
    auto* open = new QPushButton(u"Open"_s);
    connect(open, &QPushButton::clicked, this, &FirstSteps::OpenPort);
    portRow_ = Row({port_, open});
    heard_ = new QListWidget;
    heard_->setAccessibleName(u"Monitors heard"_s);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(how_);
    layout->addWidget(portRow_);
    layout->addWidget(heard_);
    return page;
}

QWizardPage* FirstSteps::NamePage() {
    auto* page = new QWizardPage;
    page->setTitle(u"What does it measure?"_s);
    page->setSubTitle(u"Names are shown everywhere, and can be changed at any time. They may stay empty."_s);
    auto* form = new QFormLayout(page);
    device_ = new QComboBox;
    device_->setAccessibleName(u"Device"_s);
    for (int slot = 1; slot <= kSlots; ++slot)
        device_->addItem(SlotName(slot), slot);
    form->addRow(u"It becomes"_s, device_);
    for (const Channel& channel : kChannelTable)
        labels_.push_back(AddEntry(form, QString::fromLatin1(channel.name)));
    return page;
}

QWizardPage* FirstSteps::ReadyPage() {
    auto* page = new QWizardPage;
    page->setTitle(u"Ready"_s);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(TextLabel(
        u"The first watts appear with the second packet. Records are written every minute from now on, "
        u"whether "
        "this window is in sight or not.\n\nMore monitors, groups and virtual channels are set up under "
        "Devices."_s));
    return page;
}

void FirstSteps::OnPage(int page) {
    if (page != kFoundPage) return;
    portRow_->setVisible(serial_->isChecked());
    if (serial_->isChecked()) {
        how_->setText(u"Choose the port that the cable is on."_s);
        FillPorts();
    } else {
        how_->setText(
            u"Let the gateway connect to this computer, %1, port %2."_s.arg(QHostInfo::localHostName())
                .arg(links_.network.LocalPort()));
    }
    LookForMonitors();
}

void FirstSteps::FillPorts() {
    port_->clear();
    for (int number = 1; number <= kComPorts; ++number) {
        const QString path = ComDevice(number, settings_.Store());
        const PortState state = links_.ports.TestPort(path);
        if (state == PortState::Missing) continue;
        const QString product = links_.ports.Product(path);
        const QString name = product.isEmpty() ? path : u"%1, %2"_s.arg(path, product);
        port_->addItem(u"COM %1: %2"_s.arg(number).arg(name), number);
    }
    if (port_->count() == 0) how_->setText(kNoPortFound);
}

void FirstSteps::OpenPort() {
    if (port_->count() == 0) return;
    if (!actions_.Done(
            settings_.Apply(kComPort, port_->currentData().toString(), {.member = links_.serial.Letter()})))
        return;
    actions_.Run(u"Open"_s, [this](Operator&) { return OpenAtEveryStart(); });
}

QCoro::Task<Outcome> FirstSteps::OpenAtEveryStart() {
    Outcome opened = co_await links_.serial.OpenCOM();
    if (opened) opened = settings_.Apply(kAutoOpen, SettingsStore::BoolText(true));
    co_return opened;
}

void FirstSteps::LookForMonitors() {
    if (currentId() != kFoundPage) return;
    for (const UnboundMonitor& monitor : links_.measurement.Unbound()) {
        const QString text = QString::fromStdString(monitor.serial);
        if (heard_->findItems(text, Qt::MatchExactly).isEmpty()) heard_->addItem(text);
    }
    if (heard_->currentRow() < 0 && heard_->count() > 0) heard_->setCurrentRow(0);
}

bool FirstSteps::validateCurrentPage() {
    switch (currentId()) {
        case kPlacePage:
            if (!demo_->isChecked()) return true;
            StartDemo();
            return false;
        case kFoundPage:
            if (heard_->currentItem() != nullptr) return true;
            how_->setText(u"No monitor was heard yet. Is it switched on, and does it send packets?"_s);
            return false;
        case kNamePage:
            return Bind();
        default:
            return true;
    }
}

bool FirstSteps::Bind() {
    const int slot = device_->currentData().toInt();
    if (!actions_.Done(slots_.SaveSerial(slot, heard_->currentItem()->text()))) return false;
    ChannelLabels labels;
    for (std::size_t i = 0; i < kChannels; ++i)
        labels[i] = labels_[i]->text().trimmed();
    return actions_.Done(SaveChannelLabels(database_, slot, labels));
}

/// In a program of its own, so that nothing simulated gets into what is kept.
void FirstSteps::StartDemo() {
    if (QProcess::startDetached(QCoreApplication::applicationFilePath(), {u"--demo"_s})) {
        reject();
    } else {
        actions_.Done(Outcome::Failure(u"The demo could not be started."_s));
    }
}

}  // namespace corvane
