#include "window/setup/devices_page.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>

#include <array>

#include "app/program.h"
#include "app/setting_rules.h"
#include "control/device_binding.h"
#include "window/actions.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"
#include "window/setup/channel_texts_box.h"
#include "window/setup/groups_box.h"
#include "window/setup/installation_box.h"
#include "window/setup/pulse_box.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kQuantityKey = u"DeviceQTY"_s;
const QString kLinkKey = u"BindDevice"_s;

enum DeviceColumn { kDevice, kSerial, kModel, kLink, kState, kColumns };

QTableWidgetItem* Cell(QTableWidget* table, int row, DeviceColumn column) {
    if (table->item(row, column) == nullptr) table->setItem(row, column, new QTableWidgetItem);
    return table->item(row, column);
}

}  // namespace

DevicesPage::DevicesPage(Program& program, Actions& actions)
    : program_(program),
      actions_(actions),
      channels_(new ChannelTextsBox(program.database, actions)),
      pulses_(new PulseBox(program.pulses, program.webServer, actions)),
      installation_(new InstallationBox(program, actions)),
      groups_(new GroupsBox(program, actions)) {
    QVBoxLayout* page = ScrolledLayout(this);
    page->addWidget(Devices());
    page->addWidget(channels_);
    auto* row = new QHBoxLayout;
    row->addWidget(pulses_, 1);
    row->addWidget(installation_, 1);
    page->addLayout(row);
    page->addWidget(groups_);
    page->addStretch(1);
    connect(&program.settings, &SettingsStore::Changed, this, [this] { settingsChanged_ = true; });
    connect(&program.databaseFiles, &DatabaseFiles::Adopted, this, [this] { channels_->ShowSlot(slot_); });
    connect(&actions, &Actions::BusyChanged, this, [this](bool busy) {
        if (!busy) Refresh();
    });
    connect(devices_, &QTableWidget::itemSelectionChanged, this, &DevicesPage::ChooseSlot);
    ShowDevices();
    devices_->selectRow(0);
}

QWidget* DevicesPage::Devices() {
    auto* box = new QGroupBox(u"Devices"_s);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(2, 2, 2, 2);
    devices_ = new QTableWidget(0, kColumns);
    devices_->setAccessibleName(u"Devices"_s);
    devices_->setHorizontalHeaderLabels(
        {u"Device"_s, u"Serial number"_s, u"Monitor"_s, u"Connection"_s, u"State"_s});
    devices_->setSelectionBehavior(QAbstractItemView::SelectRows);
    devices_->setSelectionMode(QAbstractItemView::SingleSelection);
    devices_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    devices_->setShowGrid(false);
    devices_->setTabKeyNavigation(false);
    devices_->verticalHeader()->hide();
    devices_->verticalHeader()->setDefaultSectionSize(devices_->fontMetrics().height() + 14);
    QHeaderView* header = devices_->horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    const int em = devices_->fontMetrics().horizontalAdvance(u'0');
    devices_->setColumnWidth(kDevice, 14 * em);
    devices_->setColumnWidth(kSerial, 18 * em);
    devices_->setColumnWidth(kModel, 16 * em);
    devices_->setColumnWidth(kLink, 28 * em);
    column->addWidget(devices_);
    unbound_ = PaleLabel();
    column->addWidget(unbound_);
    column->addWidget(Binding());
    return box;
}

QWidget* DevicesPage::Binding() {
    quantity_ = new QSpinBox;
    quantity_->setRange(1, kSlots);
    quantity_->setAccessibleName(u"Number of devices"_s);
    connect(quantity_, &QSpinBox::valueChanged, this, [this](int quantity) {
        actions_.Done(
            ApplySetting(program_, SettingName::Parse(kQuantityKey), QString::number(quantity)).outcome);
        Refresh();
    });
    return Row({ActionButton(u"Bind..."_s, actions_, [this](Operator& op) { return Bind(slot_, op); }),
                ActionButton(u"Find..."_s, actions_, [this](Operator& op) { return Find(slot_, op); }),
                ActionButton(u"Enter serial number..."_s, actions_,
                             [this](Operator& op) { return Enter(slot_, op); }),
                new QLabel(u"Number of devices"_s), quantity_});
}

QCoro::Task<Outcome> DevicesPage::Bind(int slot, Operator& op) {
    if (slot == 0) co_return Outcome::Failure(u"Select desired Unit."_s);
    program_.commands.BindTarget(slot - 1);
    co_return co_await BindDevice(slot, program_.deviceSettings, program_.deviceSlots, op);
}

QCoro::Task<Outcome> DevicesPage::Find(int slot, Operator& op) {
    if (slot == 0) co_return Outcome::Failure(u"Select Device to be Found"_s);
    program_.commands.BindTarget(slot - 1);
    co_return co_await FindDevice(slot, program_.deviceSettings, program_.deviceSlots, op);
}

QCoro::Task<Outcome> DevicesPage::Enter(int slot, Operator& op) {
    if (slot == 0) co_return Outcome::Failure(u"Select desired Unit."_s);
    co_return co_await program_.deviceSlots.EnterSerial(slot, op);
}

QWidget* DevicesPage::LinkChoice(int slot) {
    auto* choice = new QComboBox;
    choice->setAccessibleName(u"Connection of Device "_s + SlotLetter(slot));
    for (const MonitorLink* link : program_.Links())
        choice->addItem(link->Name());
    connect(choice, &QComboBox::activated, this, [this, slot](int link) {
        const SettingName name = SettingName::Parse(kLinkKey + SlotLetter(slot));
        actions_.Done(ApplySetting(program_, name, QString::number(link)).outcome);
    });
    return choice;
}

void DevicesPage::ShowDevices() {
    settingsChanged_ = false;
    const int inUse = program_.deviceSlots.InUse();
    const int shown = devices_->rowCount();
    devices_->setRowCount(inUse);
    for (int row = shown; row < inUse; ++row)
        devices_->setCellWidget(row, kLink, LinkChoice(row + 1));
    for (int row = 0; row < inUse; ++row) {
        const QString serial = program_.deviceSlots.Bound(row + 1);
        Cell(devices_, row, kDevice)->setText(u"Device "_s + SlotLetter(row + 1));
        Cell(devices_, row, kSerial)->setText(serial.isEmpty() ? u"not bound"_s : serial);
        static_cast<QComboBox*>(devices_->cellWidget(row, kLink))
            ->setCurrentIndex(program_.deviceSlots.LinkIndex(row + 1));
    }
    const QSignalBlocker quiet(quantity_);
    quantity_->setValue(program_.settings.GetSetting(kQuantityKey, u"1"_s).toInt());
    // As high as its rows: six at most.
    devices_->setFixedHeight(devices_->horizontalHeader()->sizeHint().height() +
                             devices_->verticalHeader()->length() + 2 * devices_->frameWidth() + 2);
}

void DevicesPage::ShowStates() {
    for (int row = 0; row < devices_->rowCount(); ++row) {
        const DeviceReadings& readings = program_.measurement.Readings(row + 1);
        const QString time = QString::fromStdString(ClockText(readings.time));
        const QString line = QString::fromLatin1(PresenceText(program_.measurement.PresenceOf(row + 1)));
        const QString state = readings.Seen() ? u"%1, last packet %2"_s.arg(line, time) : u"no packet yet"_s;
        Cell(devices_, row, kModel)
            ->setText(readings.model != nullptr ? QString::fromLatin1(readings.model->name) : QString());
        Cell(devices_, row, kState)->setText(state);
    }
    QStringList serials;
    for (const std::string& serial : program_.measurement.UnboundSerials())
        serials.append(QString::fromStdString(serial));
    unbound_->setVisible(!serials.isEmpty());
    unbound_->setText(u"Heard, but bound to no device: %1"_s.arg(serials.join(u", "_s)));
}

void DevicesPage::ChooseSlot() {
    const QList<QTableWidgetItem*> chosen = devices_->selectedItems();
    slot_ = chosen.isEmpty() ? 0 : chosen.first()->row() + 1;
    channels_->ShowSlot(slot_);
    pulses_->ShowSlot(slot_);
}

void DevicesPage::Refresh() {
    if (settingsChanged_) ShowDevices();
    ShowStates();
    pulses_->Refresh();
    installation_->Refresh();
    groups_->Refresh();
}

}  // namespace corvane
