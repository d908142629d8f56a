// What keeps the database small and correct, started by hand.
#pragma once

#include <QGroupBox>

class QDateEdit;
class QFormLayout;

namespace corvane {

class Actions;
class CaptureDatabase;
class DbWriter;
class Maintenance;
class RecordWriter;

class MaintenanceBox final : public QGroupBox {
    Q_OBJECT

public:
    MaintenanceBox(Maintenance& maintenance, CaptureDatabase& database, DbWriter& writer,
                   RecordWriter& records, Actions& actions);

private:
    void AddPeriod(QFormLayout* form);
    void AddRepairs(QFormLayout* form);

    Maintenance& maintenance_;
    CaptureDatabase& database_;
    DbWriter& writer_;
    RecordWriter& records_;  ///< looks again for tables that were made
    Actions& actions_;
    QDateEdit* start_ = nullptr;
    QDateEdit* end_ = nullptr;
};

}  // namespace corvane
