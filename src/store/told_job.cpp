#include "store/told_job.h"

#include <utility>

#include "base/clock.h"
#include "base/operator.h"

namespace corvane {

QCoro::Task<QueryResult> RunTold(SqlWorker& worker, Clock& clock, QString operation, std::string path,
                                 SqlJob job, Operator& op) {
    const std::int64_t start = clock.Monotonic();
    Progress progress{.operation = std::move(operation), .seconds = 0, .percent = std::nullopt};

    QObject listening;  // ends the connections with this call
    QObject::connect(&worker, &SqlWorker::Told, &listening,
                     [&progress](const QString& text, std::optional<int> percent) {
                         if (!text.isEmpty()) progress.operation = text;
                         progress.percent = percent;
                     });
    const auto show = [&worker, &clock, &progress, &op, start] {
        progress.seconds = (clock.Monotonic() - start) / 1000;
        Progress shown = progress;
        if (worker.Held()) shown.operation = kHeldText;
        op.ShowProgress(shown);
    };
    QObject::connect(&worker, &SqlWorker::HeldChanged, &listening, show);
    QObject::connect(&clock, &Clock::SecondPassed, &listening, [&worker, &op, show] {
        show();
        if (op.WantsCancel()) worker.Interrupt();
    });
    co_return co_await worker.Run(std::move(path), std::move(job));
}

}  // namespace corvane
