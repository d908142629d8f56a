#include "window/setup/maintenance_box.h"

#include <QComboBox>
#include <QDateEdit>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

#include "measure/record_writer.h"
#include "store/schema.h"
#include "store/upkeep/maintenance.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/window_operator.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kEntryWidth = 120;

QDateEdit* DateEntry(const QString& name, QDate date) {
    auto* entry = new QDateEdit(date);
    entry->setDisplayFormat(u"yyyy-MM-dd"_s);
    entry->setCalendarPopup(true);
    entry->setAccessibleName(name);
    return entry;
}

}  // namespace

MaintenanceBox::MaintenanceBox(Maintenance& maintenance, CaptureDatabase& database, DbWriter& writer,
                               RecordWriter& records, Actions& actions)
    : QGroupBox(u"Maintenance"_s),
      maintenance_(maintenance),
      database_(database),
      writer_(writer),
      records_(records),
      actions_(actions) {
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    AddPeriod(form);
    auto* days = new QLineEdit;
    days->setPlaceholderText(u"400"_s);
    days->setMaximumWidth(kEntryWidth);
    days->setAccessibleName(u"Days"_s);
    form->addRow(u"Minute data older than days"_s,
                 Row({days, ActionButton(u"Delete older..."_s, actions_, [this, days](Operator& op) {
                          return maintenance_.DeleteOlderThan(days->text(), op);
                      })}));
    auto* outlier = new QComboBox;
    outlier->setEditable(true);
    outlier->setAccessibleName(u"Highest proper kWh value"_s);
    outlier->addItems({u""_s, u"1000000"_s, u"100000"_s, u"10000"_s, u"1000"_s, u"100"_s});
    outlier->setToolTip(u"Begin with the highest value and repeat with lower ones."_s);
    form->addRow(u"Hourly energy above kWh"_s,
                 Row({outlier, ActionButton(u"Set to 0..."_s, actions_, [this, outlier](Operator& op) {
                          return maintenance_.ZeroOutliers(outlier->currentText(), op);
                      })}));
    AddRepairs(form);
}

void MaintenanceBox::AddPeriod(QFormLayout* form) {
    // In the wrong order, so that nothing is done before both were chosen.
    const QDate today = QDate::currentDate();
    start_ = DateEntry(u"First day"_s, today);
    end_ = DateEntry(u"Last day"_s, today.addDays(-1));
    form->addRow(u"Minute data from, to"_s,
                 Row({start_, end_,
                      ActionButton(u"Condense..."_s, actions_,
                                   [this](Operator& op) {
                                       return maintenance_.Granulate(start_->date(), end_->date(), op);
                                   }),
                      ActionButton(u"Delete..."_s, actions_, [this](Operator& op) {
                          return maintenance_.DeleteMinutes(start_->date(), end_->date(), op);
                      })}));
}

void MaintenanceBox::AddRepairs(QFormLayout* form) {
    auto* test = new QPushButton(u"Test column types"_s);
    connect(test, &QPushButton::clicked, this, [this] {
        for (const DataTable table : {DataTable::Hourly, DataTable::Minute})
            actions_.Person().Show(maintenance_.TestColumnTypes(table));
    });
    form->addRow(u"Columns"_s,
                 Row({test,
                      ActionButton(u"Repair hourly table..."_s, actions_,
                                   [this](Operator& op) { return maintenance_.RepairHourlyTable(op); }),
                      ActionButton(u"Repair minute table..."_s, actions_,
                                   [this](Operator& op) { return maintenance_.RepairMinuteTable(op); })}));
    form->addRow(u"Devices"_s,
                 Row({ActionButton(u"Repair serial numbers..."_s, actions_,
                                   [this](Operator& op) { return maintenance_.RepairSerialNumbers(op); }),
                      ActionButton(u"Reset labels..."_s, actions_,
                                   [this](Operator& op) { return maintenance_.ResetLabels(op); })}));
    auto* power = new QPushButton(u"Create power tables"_s);
    connect(power, &QPushButton::clicked, this, [this] {
        if (CreatePowerTables(database_, writer_, actions_.Person())) records_.LookForMinuteTables();
    });
    auto* minute = new QPushButton(u"Create minute table"_s);
    connect(minute, &QPushButton::clicked, this,
            [this] { CreateNewMinuteTable(database_, actions_.Person()); });
    form->addRow(u"Further tables"_s, Row({power, minute}));
    form->addRow(u"All data"_s, Row({ActionButton(u"Empty the database..."_s, actions_, [this](Operator& op) {
                     return maintenance_.DeleteDBdata(op);
                 })}));
}

}  // namespace corvane
