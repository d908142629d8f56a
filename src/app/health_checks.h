// Looks at all parts of the program for what is wrong with them.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "app/health.h"

namespace corvane {

class Program;

/// Reads only. The disk is looked at once a minute, the backups once an hour.
class HealthChecks {
public:
    static constexpr std::int64_t kFirstPackets = 120;        ///< seconds that the monitors may take for them
    static constexpr std::int64_t kMostSilence = 10 * 60;     ///< seconds without a record while packets come
    static constexpr std::int64_t kLeastFree = 50LL << 20;    ///< bytes of disk: less is an error
    static constexpr std::int64_t kLittleFree = 500LL << 20;  ///< less is told
    static constexpr int kLeastDays = 3;                      ///< of the disk: less is an error
    static constexpr int kFewDays = 30;                       ///< less is told
    static constexpr std::int64_t kOldBackup = 30 * 86'400LL;  ///< seconds

    explicit HealthChecks(const Program& program);

    [[nodiscard]] HealthReport Look();

private:
    using Check = void (HealthChecks::*)(HealthReport& report);
    static const Check kChecks[];

    void LookAtDatabase(HealthReport& report);
    void LookAtMonitors(HealthReport& report);
    void LookAtRecords(HealthReport& report);
    void LookAtLinks(HealthReport& report);
    void LookAtOutputs(HealthReport& report);
    void LookAtDisk(HealthReport& report);
    void LookAtClock(HealthReport& report);
    void LookAtBackups(HealthReport& report);
    void LookAtRest(HealthReport& report);
    void MeasureDisk();

    struct Size {
        std::int64_t at;     ///< monotonic, ms
        std::int64_t bytes;  ///< of the database
    };

    const Program& program_;
    std::int64_t start_;                       ///< monotonic, ms
    std::optional<std::int64_t> onlineSince_;  ///< since when any device is on line; monotonic, ms
    std::optional<std::int64_t> diskAt_;       ///< when it was looked at last; monotonic, ms
    std::optional<std::int64_t> diskFree_;     ///< bytes
    std::deque<Size> sizes_;                   ///< of the last day, oldest first
    std::optional<std::int64_t> backupsAt_;    ///< when they were looked at last; monotonic, ms
    std::optional<LocalTime> lastBackup_;
};

}  // namespace corvane
