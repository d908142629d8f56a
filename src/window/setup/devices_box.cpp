#include "window/setup/devices_box.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>

#include "app/settings.h"
#include "control/device_binding.h"
#include "control/monitor_commands.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "measure/heard_texts.h"
#include "measure/measurement.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

enum DeviceColumn { kDevice, kSerial, kModel, kLink, kState, kColumns };

QTableWidgetItem* Cell(QTableWidget* table, int row, DeviceColumn column) {
    if (table->item(row, column) == nullptr) table->setItem(row, column, new QTableWidgetItem);
    return table->item(row, column);
}

}  // namespace

DevicesBox::DevicesBox(DeviceSlots& slots, Measurement& measurement, const MonitorLinks& links,
                       MonitorCommands& commands, MonitorSettings& monitor, Settings& settings,
                       Actions& actions)
    : QGroupBox(u"Devices"_s),
      slots_(slots),
      measurement_(measurement),
      links_(links),
      commands_(commands),
      monitor_(monitor),
      settings_(settings),
      actions_(actions),
      devices_(new QTableWidget(0, kColumns)) {
    FormatTable();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 2, 2, 2);
    column->addWidget(devices_);
    heardRow_ = Heard();
    column->addWidget(heardRow_);
    column->addWidget(Binding());
    connect(&settings.Store(), &SettingsStore::Changed, this, [this] { settingsChanged_ = true; });
    connect(devices_, &QTableWidget::itemSelectionChanged, this, &DevicesBox::OnSelection);
    ShowDevices();
}

void DevicesBox::FormatTable() {
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
}

QWidget* DevicesBox::Binding() {
    quantity_ = new QSpinBox;
    quantity_->setRange(1, kSlots);
    quantity_->setAccessibleName(u"Number of devices"_s);
    connect(quantity_, &QSpinBox::valueChanged, this, [this](int quantity) {
        actions_.Done(settings_.Apply(kDeviceQuantity, QString::number(quantity)));
        Refresh();
    });
    return Row({ActionButton(u"Bind..."_s, actions_, [this](Operator& op) { return Bind(slot_, op); }),
                ActionButton(u"Find..."_s, actions_, [this](Operator& op) { return Find(slot_, op); }),
                ActionButton(u"Enter serial number..."_s, actions_,
                             [this](Operator& op) { return Enter(slot_, op); }),
                new QLabel(u"Number of devices"_s), quantity_});
}

QWidget* DevicesBox::Heard() {
    heard_ = new QComboBox;
    heard_->setAccessibleName(u"Monitors heard"_s);
    heard_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    auto* forget = new QPushButton(u"Clear list"_s);
    connect(forget, &QPushButton::clicked, this, [this] {
        measurement_.ForgetUnbound();
        ShowHeard();
    });
    return Row({new QLabel(u"Heard, but bound to no device:"_s), heard_,
                ActionButton(
                    u"Bind it..."_s, actions_,
                    [this](Operator& op) { return BindHeard(slot_, heard_->currentData().toString(), op); }),
                forget});
}

QCoro::Task<Outcome> DevicesBox::BindHeard(std::optional<int> slot, QString serial, Operator& op) {
    if (!slot.has_value()) co_return NoUnitSelected();
    if (serial.isEmpty()) co_return Outcome::Failure(u"No monitor was heard that no device answers to."_s);
    co_return co_await slots_.Bind(*slot, serial, op);
}

QCoro::Task<Outcome> DevicesBox::Bind(std::optional<int> slot, Operator& op) {
    const Outcome bound = slot.has_value() ? commands_.BindTarget(*slot - 1) : Outcome::Success();
    if (!bound) co_return bound;
    co_return co_await BindDevice(slot, monitor_, slots_, op);
}

QCoro::Task<Outcome> DevicesBox::Find(std::optional<int> slot, Operator& op) {
    const Outcome bound = slot.has_value() ? commands_.BindTarget(*slot - 1) : Outcome::Success();
    if (!bound) co_return bound;
    co_return co_await FindDevice(slot, monitor_, slots_, op);
}

QCoro::Task<Outcome> DevicesBox::Enter(std::optional<int> slot, Operator& op) {
    if (!slot.has_value()) co_return NoUnitSelected();
    co_return co_await slots_.EnterSerial(*slot, op);
}

QWidget* DevicesBox::LinkChoice(int slot) {
    auto* choice = new QComboBox;
    choice->setAccessibleName(u"Connection of "_s + SlotName(slot));
    for (const MonitorLink* link : links_)
        choice->addItem(link->Name());
    connect(choice, &QComboBox::activated, this, [this, slot](int link) {
        actions_.Done(settings_.Apply(kDeviceLink, QString::number(link), {.member = SlotLetter(slot)}));
    });
    return choice;
}

void DevicesBox::ShowDevices() {
    settingsChanged_ = false;
    const int inUse = slots_.InUse();
    const int shown = devices_->rowCount();
    devices_->setRowCount(inUse);
    for (int row = shown; row < inUse; ++row)
        devices_->setCellWidget(row, kLink, LinkChoice(row + 1));
    for (int row = 0; row < inUse; ++row) {
        Cell(devices_, row, kDevice)->setText(SlotName(row + 1));
        Cell(devices_, row, kSerial)->setText(BoundText(slots_, row + 1));
        static_cast<QComboBox*>(devices_->cellWidget(row, kLink))->setCurrentIndex(slots_.LinkIndex(row + 1));
    }
    const QSignalBlocker quiet(quantity_);
    quantity_->setValue(settings_.Store().Value(kDeviceQuantity).toInt());
    // As high as its rows: six at most.
    devices_->setFixedHeight(devices_->horizontalHeader()->sizeHint().height() +
                             devices_->verticalHeader()->length() + 2 * devices_->frameWidth() + 2);
}

void DevicesBox::ShowStates() {
    for (int row = 0; row < devices_->rowCount(); ++row) {
        const DeviceReadings& readings = measurement_.Readings(row + 1);
        const QString time = QString::fromStdString(ClockText(readings.time));
        const QString line = QString::fromLatin1(PresenceText(measurement_.PresenceOf(row + 1)));
        const QString state = readings.Seen() ? u"%1, last packet %2"_s.arg(line, time) : u"no packet yet"_s;
        Cell(devices_, row, kModel)
            ->setText(readings.model != nullptr ? QString::fromLatin1(readings.model->name) : QString());
        Cell(devices_, row, kState)->setText(state);
    }
    ShowHeard();
}

/// The one that is chosen stays so, while others are heard.
void DevicesBox::ShowHeard() {
    if (heard_->view()->isVisible()) return;
    const QString chosen = heard_->currentData().toString();
    heard_->clear();
    for (const UnboundMonitor& monitor : measurement_.Unbound())
        heard_->addItem(UnboundText(monitor), QString::fromStdString(monitor.serial));
    heard_->setCurrentIndex(std::max(heard_->findData(chosen), 0));
    heardRow_->setVisible(heard_->count() > 0);
}

void DevicesBox::OnSelection() {
    const QList<QTableWidgetItem*> chosen = devices_->selectedItems();
    slot_.reset();
    if (!chosen.isEmpty()) slot_ = chosen.first()->row() + 1;
    Q_EMIT SlotChosen(slot_.value_or(0));
}

void DevicesBox::Choose(int slot) {
    devices_->selectRow(slot - 1);
}

void DevicesBox::Refresh() {
    if (settingsChanged_) ShowDevices();
    ShowStates();
}

}  // namespace corvane
