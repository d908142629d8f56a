#include "window/setup/database_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/settings.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/settings_store.h"
#include "store/unwritten_records.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/database_files.h"
#include "store/upkeep/maintenance.h"
#include "store/upkeep/nightly_runs.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/setup/maintenance_box.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kNumberWidth = 120;

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

DatabasePage::DatabasePage(const DatabaseOnDisk& disk, DbWriter& writer, NightlyRuns& nightlyRuns,
                           MaintenanceBox* maintenance, Settings& settings, Actions& actions)
    : disk_(disk), writer_(writer), nightlyRuns_(nightlyRuns), settings_(settings), actions_(actions) {
    QVBoxLayout* page = ScrolledLayout(this);
    AddFile(page);
    AddWriting(page);
    page->addWidget(maintenance);
    AddNightly(page);
    page->addStretch();
    connect(&disk_.files, &DatabaseFiles::Adopted, this, &DatabasePage::Refresh);
}

void DatabasePage::AddFile(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"File"_s);
    path_ = TextLabel();
    form->addRow(u"Database"_s, path_);
    DatabaseFiles& files = disk_.files;
    backup_ = new QComboBox;
    backup_->setAccessibleName(u"Backup to restore"_s);
    backup_->setPlaceholderText(u"no backups"_s);
    backup_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    backup_->setMinimumContentsLength(12);
    form->addRow(Row({
        ActionButton(u"New..."_s, actions_, [&files](Operator& op) { return files.NewDatabase(op); }),
        ActionButton(u"Open..."_s, actions_, [&files](Operator& op) { return files.OpenDatabase(op); }),
        ActionButton(u"Back up"_s, actions_, [this](Operator& op) { return disk_.backups.BackupDBfile(op); }),
        backup_,
        ActionButton(
            u"Restore..."_s, actions_,
            [this](Operator& op) { return disk_.files.RestoreBackup(backup_->currentData().toInt(), op); }),
    }));
}

void DatabasePage::AddWriting(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Writing"_s);
    enabled_ = new QCheckBox(u"Write to SQLite3"_s);
    connect(enabled_, &QCheckBox::clicked, this, [this](bool on) {
        actions_.Done(settings_.Apply(kDatabaseEnabled, SettingsStore::BoolText(on)));
        Refresh();
    });
    form->addRow(enabled_);
    frequency_ = AddEntry(form, u"Seconds between writes"_s, settings_.Store().Value(kWriteFrequency));
    frequency_->setMaximumWidth(kNumberWidth);
    connect(frequency_, &QLineEdit::editingFinished, this, [this] {
        if (!frequency_->isModified()) return;
        frequency_->setModified(false);
        if (!actions_.Done(settings_.Apply(kWriteFrequency, frequency_->text())))
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
    unwritten_ = TextLabel();
    unwritten_->setWordWrap(true);
    unwrittenRow_ = Row({ActionButton(u"Write in unwritten records"_s, actions_, [this](Operator& op) {
        return disk_.maintenance.WriteIn(disk_.unwritten, op);
    })});
    form->addRow(unwritten_);
    form->addRow(unwrittenRow_);
}

void DatabasePage::AddNightly(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Every night"_s);
    for (const NightlyRuns::Task* task : {&NightlyRuns::kCondense, &NightlyRuns::kDelete}) {
        auto* on = new QCheckBox(task->condenses ? u"Condense data older than days"_s
                                                 : u"Delete data older than days"_s);
        on->setChecked(nightlyRuns_.IsOn(*task));
        auto* days = new QLineEdit(nightlyRuns_.DaysText(*task));
        days->setAccessibleName(on->text());
        const auto apply = [this, task, on, days] {
            actions_.Run(on->text(), [this, task, on, days](Operator& op) {
                return SwitchNightly(*task, *on, *days, op);
            });
        };
        connect(&actions_, &Actions::BusyChanged, days, &QWidget::setDisabled);
        connect(&actions_, &Actions::BusyChanged, on, &QWidget::setDisabled);
        connect(on, &QCheckBox::clicked, this, apply);
        connect(days, &QLineEdit::editingFinished, this, [days, apply] {
            if (days->isModified()) apply();
        });
        days->setMaximumWidth(kNumberWidth);
        QLabel* hindrance = TextLabel();
        hindrance->setWordWrap(true);
        hindrances_.emplace_back(task, hindrance);
        form->addRow(Row({on, days}));
        form->addRow(hindrance);
        form->addRow(TextLabel(task->label));
    }
}

QCoro::Task<Outcome> DatabasePage::SwitchNightly(const NightlyRuns::Task& task, QCheckBox& on,
                                                 QLineEdit& days, Operator& op) {
    const bool entered = days.isModified() || on.isChecked();
    days.setModified(false);
    const auto count = entered ? std::optional(days.text()) : std::nullopt;
    Outcome switched = co_await nightlyRuns_.AskAndSwitch(task, on.isChecked(), count, op);
    if (!switched) {
        on.setChecked(nightlyRuns_.IsOn(task));
        days.setText(nightlyRuns_.DaysText(task));
    }
    Refresh();
    co_return switched;
}

void DatabasePage::Refresh() {
    const QString path = QString::fromStdString(disk_.database.databasePath());
    path_->setText(u"%1 (%2)"_s.arg(path, QLocale().formattedDataSize(QFileInfo(path).size())));
    RefreshBackups();
    enabled_->setChecked(writer_.Enabled());
    enabled_->setToolTip(writer_.EnabledText());
    indicator_->setStyleSheet(IndicatorStyle(writer_.WriteIndicator()));
    indicator_->setText(writer_.IndicatorText().isEmpty() ? u"-"_s : writer_.IndicatorText());
    buffer_->setText(writer_.BufferText());
    writeState_->setText(writer_.StateText());
    message_->setText(writer_.DatabaseMessageText());
    unwritten_->setText(disk_.unwritten.StateText());
    unwritten_->setHidden(unwritten_->text().isEmpty());
    unwrittenRow_->setHidden(disk_.unwritten.Count() == 0);
    for (const auto& [task, label] : hindrances_) {
        label->setText(nightlyRuns_.Hindrance(*task));
        label->setHidden(label->text().isEmpty());
    }
}

void DatabasePage::RefreshBackups() {
    const std::vector<int> numbers = disk_.backups.Numbers();
    QStringList names;
    for (const int number : numbers)
        names.append(QFileInfo(disk_.backups.PathOf(number)).fileName());
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
