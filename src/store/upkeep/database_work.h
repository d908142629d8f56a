// Long work on the database: one piece at a time, beside the capture, which goes on.
#pragma once

#include <QCoroTask>
#include <QString>

#include <string>

#include "store/sql_worker.h"

namespace corvane {

class Clock;
class DbWriter;
class Operator;

/// While work runs, records wait in the queue: no burst of writing competes with it.
class DatabaseWork {
public:
    DatabaseWork(DbWriter& writer, Clock& clock) : writer_(writer), clock_(clock) {}

    /// Runs `job` on the file at `path` and tells `op` once a second how far it is. Ends early, with the
    /// error text "interrupted", when `op` wants it so, also from the beginning, and when the program closes.
    /// `operation` is shown until the job tells something better.
    QCoro::Task<QueryResult> Run(QString operation, std::string path, SqlJob job, Operator& op);

    [[nodiscard]] bool Running() const { return worker_.Busy(); }

    /// Ends what runs and refuses what comes. To be awaited before the program closes.
    QCoro::Task<> Stop();

private:
    DbWriter& writer_;
    Clock& clock_;
    SqlWorker worker_;
    bool stopping_ = false;
};

}  // namespace corvane
