// Where a page on the past has its devices and its records from: jobs on the database, one at a time.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "history/history_reader.h"
#include "store/sql_worker.h"

namespace corvane {

class CaptureDatabase;
class DatabaseFiles;

/// What is read is of the database that is in effect when the job begins. When another one comes into effect
/// all is forgotten, and read again with the next `Refresh`. Deleting it ends the job that runs.
class HistorySource : public QObject {
    Q_OBJECT

public:
    /// `lockPatience` is how long a job waits while others hold the file locked.
    HistorySource(const CaptureDatabase& database, const DatabaseFiles& files,
                  std::chrono::milliseconds lockPatience = SqlWorker::kLockPatience);
    ~HistorySource() override;

    /// Those that have records or a row of their own, with the labels of their channels; as last read.
    [[nodiscard]] const std::vector<HistoryDevice>& Devices() const { return devices_; }

    /// Has the devices read again with the next `Refresh`: they may have been bound or labelled since.
    void WantDevices() { devicesWanted_ = true; }

    /// Reads what is wanted and due, unless a job runs. To be called once a second while somebody looks.
    virtual void Refresh() = 0;

Q_SIGNALS:
    void DevicesChanged();

    /// What is to be said of the reading has changed.
    void StateChanged();

protected:
    /// Runs a job while none runs; "interrupted" where another database comes into effect meanwhile. Nothing
    /// where the source is deleted meanwhile: then nothing of it may be touched any more.
    QCoro::Task<std::optional<QueryResult>> Run(SqlJob job);

    /// Takes the rows of `ReadDevices`.
    void TakeDevices(const QueryResult& rows);

    /// Another database came into effect.
    virtual void Forget() = 0;

    /// Keeps what is to be said of a job that ended; nothing where it was given up.
    void SetError(const std::string& error);
    [[nodiscard]] QString ErrorText() const;  ///< empty where the last job went well

    [[nodiscard]] bool Busy() const { return worker_.Busy(); }
    [[nodiscard]] bool Held() const { return worker_.Held(); }
    [[nodiscard]] bool DevicesWanted() const { return devicesWanted_; }
    void Interrupt() { worker_.Interrupt(); }
    [[nodiscard]] const CaptureDatabase& Database() const { return database_; }

private:
    const CaptureDatabase& database_;
    const std::chrono::milliseconds lockPatience_;
    SqlWorker worker_;
    std::vector<HistoryDevice> devices_;
    std::string error_;
    bool devicesWanted_ = true;
    int databases_ = 0;  ///< that came into effect
    bool ending_ = false;
};

}  // namespace corvane
