// The times in which a monitor was not heard, and how much of each day it was.
#pragma once

#include <QDate>
#include <QJsonObject>

#include <cstdint>
#include <string>
#include <vector>

#include "measure/ledger_file.h"

namespace corvane {

/// Seconds of UTC.
struct Gap {
    int slot = 0;
    std::string serial;
    std::int64_t from = 0;
    std::int64_t to = 0;
    bool open = false;  ///< it lasts

    [[nodiscard]] std::int64_t Seconds() const { return to - from; }
};

struct HeardDay {
    QDate day;
    int slot = 0;
    std::string serial;
    std::int64_t heard = 0;  ///< seconds
    std::int64_t of = 0;     ///< seconds of the day since the monitor was heard first, until now
};

/// The gaps that `entries` tell of, and those that last at `now`, in the order of their beginning.
[[nodiscard]] std::vector<Gap> GapsOf(const std::vector<LedgerEntry>& entries, const HeardSpans& spans,
                                      std::int64_t now);

/// For each day of the local calendar and each monitor known then; both days are within.
[[nodiscard]] std::vector<HeardDay> HeardDays(const std::vector<Gap>& gaps, const HeardSpans& spans,
                                              QDate first, QDate last, std::int64_t now);

/// {"days": [{"day", "slot", "serial", "heard", "of"}], "gaps": [{"slot", "serial", "from", "to", "seconds",
/// "open"}]}
[[nodiscard]] QJsonObject GapsDocument(const std::vector<HeardDay>& days, const std::vector<Gap>& gaps);

}  // namespace corvane
