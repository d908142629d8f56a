// The records of the device that a chart shows: whole years of them, kept in memory.
#pragma once

#include <memory>

#include "window/past/history_source.h"

namespace corvane {

class Clock;

class ChartSource final : public HistorySource {
    Q_OBJECT

public:
    ChartSource(const CaptureDatabase& database, const DatabaseFiles& files, const Clock& clock)
        : HistorySource(database, files), clock_(clock) {}

    /// Says which device and time is looked at, and reads what is missing of it. An empty address: none.
    void Look(const std::string& address, WallTime from, WallTime to);

    /// Reads the devices where that is wanted, and once a minute the records that came since.
    void Refresh() override;

    /// Of the device that is looked at; null until it was read.
    [[nodiscard]] const std::shared_ptr<const DeviceHistory>& History() const { return history_; }

    /// What is to be said instead of a chart; empty where there is nothing.
    [[nodiscard]] QString StateText() const;

Q_SIGNALS:
    void HistoryChanged();

private:
    /// What is wanted of the time that is looked at.
    enum class Wanted {
        Missing,  ///< what is not read yet
        Newer,    ///< and the records that came since
        All,      ///< everything again: it may have been deleted or mended meanwhile
    };

    void Forget() override;
    void Read(Wanted wanted);
    QCoro::Task<> AwaitDevices();
    QCoro::Task<> AwaitHistory(std::shared_ptr<DeviceHistory> history);

    const Clock& clock_;
    std::string address_;
    WallTime from_ = 0;
    WallTime to_ = 0;
    std::shared_ptr<const DeviceHistory> history_;
    std::int64_t lastRead_ = 0;  ///< as the monotonic clock has it
};

}  // namespace corvane
