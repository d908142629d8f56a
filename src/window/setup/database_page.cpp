#include "window/setup/database_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/program.h"
#include "store/schema.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/window_operator.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kNumberWidth = 120;

QDateEdit* DateEntry(const QString& name, QDate date) {
    auto* entry = new QDateEdit(date);
    entry->setDisplayFormat(u"yyyy-MM-dd"_s);
    entry->setCalendarPopup(true);
    entry->setAccessibleName(name);
    return entry;
}

/// Green after a write that succeeded, yellow after one that failed; black text on either is readable.
QString IndicatorStyle(DbWriter::Indicator indicator) {
    switch (indicator) {
        case DbWriter::Indicator::Green:
            return u"background: #46c35f; color: black;"_s;
        case DbWriter::Indicator::Yellow:
            return u"background: #ffd84d; color: black;"_s;
        case DbWriter::Indicator::None:
            break;
    }
    return {};
}

}  // namespace

DatabasePage::DatabasePage(Program& program, Actions& actions) : program_(program), actions_(actions) {
    QVBoxLayout* page = ScrolledLayout(this);
    AddFile(page);
    AddWriting(page);
    AddMaintenance(page);
    AddNightly(page);
    page->addStretch();
    connect(&program_.databaseFiles, &DatabaseFiles::Adopted, this, &DatabasePage::Refresh);
}

void DatabasePage::AddFile(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"File"_s);
    path_ = TextLabel();
    form->addRow(u"Database"_s, path_);
    DatabaseFiles& files = program_.databaseFiles;
    backup_ = new QComboBox;
    backup_->setAccessibleName(u"Backup to restore"_s);
    backup_->setPlaceholderText(u"no backups"_s);
    backup_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    backup_->setMinimumContentsLength(12);
    form->addRow(Row({
        ActionButton(u"New..."_s, actions_, [&files](Operator& op) { return files.NewDatabase(op); }),
        ActionButton(u"Open..."_s, actions_, [&files](Operator& op) { return files.OpenDatabase(op); }),
        ActionButton(u"Back up"_s, actions_,
                     [this](Operator& op) { return program_.backups.BackupDBfile(op); }),
        backup_,
        ActionButton(u"Restore..."_s, actions_,
                     [this](Operator& op) {
                         return program_.databaseFiles.RestoreBackup(backup_->currentData().toInt(), op);
                     }),
    }));
}

void DatabasePage::AddWriting(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Writing"_s);
    enabled_ = new QCheckBox(u"Write to SQLite3"_s);
    connect(enabled_, &QCheckBox::clicked, this, [this](bool on) {
        program_.dbWriter.SetEnabled(on);
        Refresh();
    });
    form->addRow(enabled_);
    frequency_ = AddEntry(form, u"Seconds between writes"_s,
                          program_.settings.GetSetting(u"DBwriteFrequency"_s, u"10"_s));
    frequency_->setMaximumWidth(kNumberWidth);
    connect(frequency_, &QLineEdit::editingFinished, this, [this] {
        if (!frequency_->isModified()) return;
        frequency_->setModified(false);
        if (!actions_.Done(program_.dbWriter.SetWriteFrequency(frequency_->text())))
            frequency_->setText(u"10"_s);
    });
    indicator_ = new QLabel;
    indicator_->setAlignment(Qt::AlignCenter);
    indicator_->setMinimumWidth(120);
    indicator_->setAccessibleName(u"Last write"_s);
    buffer_ = TextLabel();
    writeState_ = TextLabel();
    message_ = TextLabel();
    form->addRow(u"Last write"_s, Row({indicator_}));
    form->addRow(u"Queue"_s, buffer_);
    form->addRow(u"State"_s, writeState_);
    form->addRow(u"Last error"_s, message_);
}

void DatabasePage::AddPeriod(QFormLayout* form) {
    const QDate today = QDate::currentDate();
    start_ = DateEntry(u"First day"_s, today.addYears(-1));
    end_ = DateEntry(u"Last day"_s, today.addDays(-7));
    form->addRow(u"Minute data from, to"_s, Row({start_, end_,
                                                 ActionButton(u"Condense"_s, actions_,
                                                              [this](Operator& op) {
                                                                  return program_.maintenance.Granulate(
                                                                      start_->date(), end_->date(), op);
                                                              }),
                                                 ActionButton(u"Delete"_s, actions_, [this](Operator& op) {
                                                     return program_.maintenance.DeleteMinutes(
                                                         start_->date(), end_->date(), op);
                                                 })}));
}

void DatabasePage::AddMaintenance(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Maintenance"_s);
    Maintenance& maintenance = program_.maintenance;
    AddPeriod(form);
    auto* days = new QLineEdit(u"400"_s);
    days->setMaximumWidth(kNumberWidth);
    days->setAccessibleName(u"Days"_s);
    form->addRow(u"Minute data older than days"_s,
                 Row({days, ActionButton(u"Delete older..."_s, actions_, [days, &maintenance](Operator& op) {
                          return maintenance.DeleteOlderThan(days->text(), op);
                      })}));
    auto* outlier = new QComboBox;
    outlier->setEditable(true);
    outlier->setAccessibleName(u"Highest proper kWh value"_s);
    outlier->addItems({u""_s, u"1000000"_s, u"100000"_s, u"10000"_s, u"1000"_s, u"100"_s});
    outlier->setToolTip(u"Begin with the highest value and repeat with lower ones."_s);
    form->addRow(u"Hourly energy above kWh"_s,
                 Row({outlier, ActionButton(u"Set to 0"_s, actions_, [outlier, &maintenance](Operator& op) {
                          return maintenance.ZeroOutliers(outlier->currentText(), op);
                      })}));
    AddRepairs(form);
}

void DatabasePage::AddRepairs(QFormLayout* form) {
    Maintenance& maintenance = program_.maintenance;
    auto* test = new QPushButton(u"Test column types"_s);
    connect(test, &QPushButton::clicked, this, [this] {
        for (const DataTable table : {DataTable::Hourly, DataTable::Minute})
            actions_.Person().Show(program_.maintenance.TestColumnTypes(table));
    });
    form->addRow(
        u"Columns"_s,
        Row({test,
             ActionButton(u"Repair hourly table..."_s, actions_,
                          [&maintenance](Operator& op) { return maintenance.RepairHourlyTable(op); }),
             ActionButton(u"Repair minute table..."_s, actions_,
                          [&maintenance](Operator& op) { return maintenance.RepairMinuteTable(op); })}));
    form->addRow(
        u"Devices"_s,
        Row({ActionButton(u"Repair serial numbers..."_s, actions_,
                          [&maintenance](Operator& op) { return maintenance.RepairSerialNumbers(op); }),
             ActionButton(u"Reset labels..."_s, actions_,
                          [&maintenance](Operator& op) { return maintenance.ResetLabels(op); })}));
    auto* power = new QPushButton(u"Create power tables"_s);
    connect(power, &QPushButton::clicked, this, [this] {
        if (CreatePowerTables(program_.database, program_.dbWriter, actions_.Person()))
            program_.records.LookForMinuteTables(program_.database);
    });
    auto* minute = new QPushButton(u"Create minute table"_s);
    connect(minute, &QPushButton::clicked, this,
            [this] { CreateNewMinuteTable(program_.database, actions_.Person()); });
    form->addRow(u"Further tables"_s, Row({power, minute}));
    form->addRow(u"All data"_s,
                 Row({ActionButton(u"Empty the database..."_s, actions_,
                                   [&maintenance](Operator& op) { return maintenance.DeleteDBdata(op); })}));
}

void DatabasePage::AddNightly(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Every night"_s);
    for (const NightlyRuns::Task* task : {&NightlyRuns::kCondense, &NightlyRuns::kDelete}) {
        auto* on = new QCheckBox(task->condenses ? u"Condense data older than days"_s
                                                 : u"Delete data older than days"_s);
        on->setChecked(program_.nightlyRuns.IsOn(*task));
        auto* days = new QLineEdit(QString::number(program_.nightlyRuns.Days(*task)));
        days->setAccessibleName(on->text());
        const auto apply = [this, task, on, days] {
            days->setModified(false);
            if (actions_.Done(program_.nightlyRuns.Switch(*task, on->isChecked(), days->text()))) return;
            on->setChecked(program_.nightlyRuns.IsOn(*task));
            days->setText(QString::number(program_.nightlyRuns.Days(*task)));
        };
        connect(on, &QCheckBox::clicked, this, apply);
        connect(days, &QLineEdit::editingFinished, this, [days, apply] {
            if (days->isModified()) apply();
        });
        days->setMaximumWidth(kNumberWidth);
        form->addRow(Row({on, days}));
        form->addRow(TextLabel(task->label));
    }
}

void DatabasePage::Refresh() {
    const QString path = QString::fromStdString(program_.database.databasePath());
    path_->setText(u"%1 (%2)"_s.arg(path, QLocale().formattedDataSize(QFileInfo(path).size())));
    RefreshBackups();
    const DbWriter& writer = program_.dbWriter;
    enabled_->setChecked(writer.Enabled());
    enabled_->setToolTip(writer.Enabled() ? u"Database is Enabled"_s : u"Database is Disabled"_s);
    indicator_->setStyleSheet(IndicatorStyle(writer.WriteIndicator()));
    indicator_->setText(writer.IndicatorText().isEmpty() ? u"-"_s : writer.IndicatorText());
    buffer_->setText(writer.BufferText());
    writeState_->setText(writer.WriteStateText());
    message_->setText(writer.DatabaseMessageText());
}

void DatabasePage::RefreshBackups() {
    const std::vector<int> numbers = program_.backups.Numbers();
    QStringList names;
    for (const int number : numbers)
        names.append(QFileInfo(program_.backups.PathOf(number)).fileName());
    QStringList shown;
    for (int i = 0; i < backup_->count(); ++i)
        shown.append(backup_->itemText(i));
    if (shown == names) return;
    backup_->clear();
    for (std::size_t i = 0; i < numbers.size(); ++i)
        backup_->addItem(names[static_cast<qsizetype>(i)], numbers[i]);
    // The newest: a box with a placeholder chooses none by itself.
    backup_->setCurrentIndex(backup_->count() - 1);
}

}  // namespace corvane
