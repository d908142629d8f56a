#include "store/upkeep/database_work.h"

#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "store/db_writer.h"
#include "store/told_job.h"

namespace corvane {

namespace {

/// Holds off the bursts for as long as it lives.
class MaintenanceBusy {
public:
    explicit MaintenanceBusy(DbWriter& writer) : writer_(writer) { writer_.SetMaintenanceBusy(true); }
    ~MaintenanceBusy() { writer_.SetMaintenanceBusy(false); }
    MaintenanceBusy(const MaintenanceBusy&) = delete;
    MaintenanceBusy& operator=(const MaintenanceBusy&) = delete;

private:
    DbWriter& writer_;
};

}  // namespace

QCoro::Task<QueryResult> DatabaseWork::Run(QString operation, std::string path, SqlJob job, Operator& op) {
    if (stopping_ || op.WantsCancel()) co_return QueryResult::Failure(SqlWorker::kInterrupted);
    if (Running())
        co_return QueryResult::Failure(
            "Other work on the database is still running; try again when it has ended.");
    const MaintenanceBusy busy(writer_);
    co_return co_await RunTold(worker_, clock_, std::move(operation), std::move(path), std::move(job), op);
}

QCoro::Task<> DatabaseWork::Stop() {
    stopping_ = true;
    worker_.Interrupt();
    while (Running()) {
        const bool goOn = co_await clock_.DLY(10);  // in the condition, GCC 12 loses the coroutine's handle
        if (!goOn) co_return;
    }
}

}  // namespace corvane
