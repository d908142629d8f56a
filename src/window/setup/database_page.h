// The database: which file it is, how it is written, and what keeps it small and correct.
#pragma once

#include "store/upkeep/maintenance.h"
#include "window/page.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QFormLayout;
class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace corvane {

class Actions;
class Program;

class DatabasePage final : public Page {
    Q_OBJECT

public:
    DatabasePage(Program& program, Actions& actions);

    void Refresh() override;

private:
    void AddFile(QVBoxLayout* page);
    void AddWriting(QVBoxLayout* page);
    void AddNightly(QVBoxLayout* page);
    void AddMaintenance(QVBoxLayout* page);
    void AddPeriod(QFormLayout* form);
    void AddRepairs(QFormLayout* form);
    void RefreshBackups();

    Program& program_;
    Actions& actions_;
    QLabel* path_;
    QComboBox* backup_;
    QCheckBox* enabled_;
    QLineEdit* frequency_;
    QLabel* indicator_;
    QLabel* buffer_;
    QLabel* writeState_;
    QLabel* message_;
    QDateEdit* start_;
    QDateEdit* end_;
};

}  // namespace corvane
