// What the database tells of the past: power over time, and energy per hour, day or month.
#pragma once

#include <QCoroTask>
#include <QHash>
#include <QString>

#include <chrono>
#include <cstdint>
#include <variant>

#include "history/channel_steps.h"
#include "store/sql_worker.h"
#include "web/web_reply.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class DeviceSlots;

/// What a request asks for.
struct HistoryQuery {
    static constexpr std::int64_t kMostPoints = 1500;

    /// The arguments of a request: `device` A to F or an address of the database, `channel`, `from` and `to`
    /// as yyyy-mm-dd with or without Thh:mm, `step` as minutes or as hour, day, month. Or a text on what is
    /// wrong.
    static std::variant<HistoryQuery, QString> Parse(const QHash<QString, QString>& arguments,
                                                     const DeviceSlots& slots);

    ChannelSteps steps;
    QString step;  ///< as it was given
};

/// Reads beside the one thread, one query after the other.
class History {
public:
    static constexpr int kMostWaiting = 8;

    /// `lockPatience` is how long a question waits while others hold the file locked, its turn included.
    History(const CaptureDatabase& database, Clock& clock,
            std::chrono::milliseconds lockPatience = SqlWorker::kLockPatience)
        : database_(database), clock_(clock), lockPatience_(lockPatience) {}

    /// The points as JSON; a failure with its status where there are none to be had.
    QCoro::Task<WebReply> Read(HistoryQuery query);

    /// Ends what runs and refuses what comes. To be awaited before the program closes.
    QCoro::Task<> Stop();

private:
    const CaptureDatabase& database_;
    Clock& clock_;
    const std::chrono::milliseconds lockPatience_;
    SqlWorker worker_;
    int waiting_ = 0;
    bool stopping_ = false;
};

}  // namespace corvane
