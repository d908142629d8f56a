#include "store/database_work.h"

#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "store/db_writer.h"

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

QueryResult Failed(const char* text) {
    return {.rows = {}, .errorText = text};
}

}  // namespace

QCoro::Task<QueryResult> DatabaseWork::Run(QString operation, std::string path, SqlJob job, Operator& op) {
    if (stopping_) co_return Failed(SqlWorker::kInterrupted);
    if (Running())
        co_return Failed("Other work on the database is still running; try again when it has ended.");
    const MaintenanceBusy busy(writer_);
    const std::int64_t start = clock_.Monotonic();
    Progress progress{.operation = std::move(operation), .seconds = 0, .percent = std::nullopt};

    QObject listening;  // ends the connections with this call
    QObject::connect(&worker_, &SqlWorker::Told, &listening,
                     [&progress](const QString& text, std::optional<int> percent) {
                         if (!text.isEmpty()) progress.operation = text;
                         progress.percent = percent;
                     });
    QObject::connect(&clock_, &Clock::SecondPassed, &listening, [this, &progress, &op, start] {
        progress.seconds = (clock_.Monotonic() - start) / 1000;
        op.ShowProgress(progress);
        if (op.WantsCancel()) worker_.Interrupt();
    });
    co_return co_await worker_.Run(std::move(path), std::move(job));
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
