// A job of which a person is told how far it is, and who may give it up.
#pragma once

#include <QCoroTask>
#include <QString>

#include <string>

#include "store/sql_worker.h"

namespace corvane {

class Clock;
class Operator;

/// Runs `job` on `worker` and tells `op` once a second how far it is, and at once that it waits for a lock.
/// Ends early, with the error text "interrupted", when `op` wants it so. `operation` is shown until the job
/// tells something better.
QCoro::Task<QueryResult> RunTold(SqlWorker& worker, Clock& clock, QString operation, std::string path,
                                 SqlJob job, Operator& op);

}  // namespace corvane
