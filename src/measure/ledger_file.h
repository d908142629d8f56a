// The file of the ledger: its tables, and the jobs that write and read them.
//
//   entries   one event a row, as `LedgerEntry` has it; `unix` is its time in seconds of UTC
//   heard     of each serial text the slot it was heard in last, and since and until when
//   dropped   one row: how many entries had to go for want of room
//
// `undone_from` is the local time from which on the rows of the database lack a carry that was taken back.
// While a carry is being taken back or put back, `carry_from` and `carry_due` of its entry are what it was
// and what it is to be; they are NULL again once the settings have it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "measure/ledger_entry.h"
#include "store/sql_worker.h"

namespace corvane {

inline constexpr const char* kLedgerFileName = "ledger.db3";

/// More than that are not kept: the oldest go, those of carries last.
inline constexpr int kMostLedgerEntries = 50'000;

/// When a monitor was heard, in seconds of UTC.
struct HeardSpan {
    int slot = 0;
    std::int64_t first = 0;
    std::int64_t last = 0;

    bool operator==(const HeardSpan&) const = default;
};
using HeardSpans = std::map<std::string, HeardSpan>;  ///< by serial text

/// A job that makes the file at `path` where there is none, whole or not at all and for this user alone, and
/// adds to it. A gap without `elapsedClock` begins when the file last heard of that monitor, and is left out
/// where that is no gap or not known. The result are the doubtful carries that stand, as `LedgerEntryOf`
/// reads them.
[[nodiscard]] SqlJob AddToLedger(std::string path, std::vector<LedgerEntry> entries, HeardSpans heard);

/// What to list: entries whose local time is within, and whose id is one of them, where any are named; the
/// newest `most`.
struct LedgerQuery {
    std::string from = {};  ///< "yyyy-mm-dd hh:nn:ss"; empty: from the beginning
    std::string to = {};    ///< exclusive; empty: to the end
    std::int64_t id = 0;    ///< 0: any
    bool gapsOnly = false;
    int carriesOfSlot = 0;  ///< 1..6: only what changed its carries, or the monitor in it
    int most = 1000;
};

/// A job that reads entries, oldest first, as `LedgerEntryOf` reads them. A file that is not there has none.
[[nodiscard]] SqlJob ReadLedger(std::string path, const LedgerQuery& query);

/// An entry of what the jobs above give. Of the file's own making; a text that is no kind or judgement makes
/// the entry one of the program without anything else.
[[nodiscard]] LedgerEntry LedgerEntryOf(const std::vector<QueryResult::Cell>& row);

/// A job that reads when each monitor was heard: rows of serial text, slot, first and last.
[[nodiscard]] SqlJob ReadHeard(std::string path);
[[nodiscard]] std::pair<std::string, HeardSpan> HeardSpanOf(const std::vector<QueryResult::Cell>& row);

/// Why an open file is no ledger that this version can write; empty where it is one.
[[nodiscard]] std::string WrongLedger(const CaptureDatabase::Connection& file);

}  // namespace corvane
