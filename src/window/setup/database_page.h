// The database: which file it is, how it is written, and what keeps it small and correct.
#pragma once

#include <utility>
#include <vector>

#include "store/upkeep/nightly_runs.h"
#include "window/page.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace corvane {

class Actions;
class CaptureDatabase;
class DatabaseBackups;
class DatabaseFiles;
class DbWriter;
class Maintenance;
class MaintenanceBox;
class Operator;
class Settings;
class UnwrittenRecords;

/// The database as a file among others.
struct DatabaseOnDisk {
    const CaptureDatabase& database;
    DatabaseFiles& files;
    DatabaseBackups& backups;
    UnwrittenRecords& unwritten;
    Maintenance& maintenance;
};

class DatabasePage final : public Page {
    Q_OBJECT

public:
    /// `maintenance` becomes the page's.
    DatabasePage(const DatabaseOnDisk& disk, DbWriter& writer, NightlyRuns& nightlyRuns,
                 MaintenanceBox* maintenance, Settings& settings, Actions& actions);

    void Refresh() override;

private:
    void AddFile(QVBoxLayout* page);
    void AddWriting(QVBoxLayout* page);
    void AddNightly(QVBoxLayout* page);
    void RefreshBackups();
    QCoro::Task<Outcome> SwitchNightly(const NightlyRuns::Task& task, QCheckBox& on, QLineEdit& days,
                                       Operator& op);

    DatabaseOnDisk disk_;
    DbWriter& writer_;
    NightlyRuns& nightlyRuns_;
    Settings& settings_;
    Actions& actions_;
    QLabel* path_;
    QComboBox* backup_;
    QCheckBox* enabled_;
    QLineEdit* frequency_;
    QLabel* indicator_;
    QLabel* buffer_;
    QLabel* writeState_;
    QLabel* message_;
    QLabel* unwritten_;
    QWidget* unwrittenRow_;
    std::vector<std::pair<const NightlyRuns::Task*, QLabel*>> hindrances_;  ///< why a task does not run
};

}  // namespace corvane
