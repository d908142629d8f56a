// Taking a carry back, or putting it back: which rows of the database have it, and the job that corrects
// them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/ledger_entry.h"
#include "measure/virtual_channels.h"
#include "store/sql_worker.h"

namespace corvane {

/// The rows of one monitor, from one stamp on to another ("yyyy-mm-dd hh:nn:ss"; exclusive, empty: to the
/// end).
struct RowSpan {
    std::string serial;
    std::string from;
    std::string to;

    bool operator==(const RowSpan&) const = default;
};

/// One carry of the ledger, and what hangs on it.
struct CarryMend {
    std::int64_t entry = 0;
    int slot = 0;
    CounterName counter;
    bool back = true;    ///< it is taken back; else put back
    int least = 1;       ///< carries that a row with this one has at least
    bool stands = true;  ///< it is in the carry of today: nobody has set that to 0 since
    std::vector<RowSpan> rows;
    RowShares shares = {};  ///< of the virtual device's rows
};

/// The mend of entry `id`, found in `history`: what changed the carries of its slot, and which monitors were
/// in it, oldest first. Nothing where there is no wrap of that id.
[[nodiscard]] std::optional<CarryMend> MendOf(std::int64_t id, const std::vector<LedgerEntry>& history);

/// A job that only counts: one row for each table and serial text that has rows to be corrected, with the
/// count and the first and last stamp.
[[nodiscard]] SqlJob CountRowsToMend(std::vector<CarryMend> mends);

/// What a mend leaves behind in the ledger.
struct MendMark {
    std::int64_t entry = 0;
    std::string undoneFrom;  ///< of a carry that is taken back
    std::optional<int> carryFrom;
    std::optional<int> carryDue;
};

/// A job on the capture database that corrects the rows and marks the entries of the ledger at `ledgerPath`,
/// in one transaction over both files: a kill leaves both as they were or as they are to be. (Of a database
/// in the mode WAL SQLite promises that of each file alone.) Without `mends` it only marks. It fails where an
/// entry is marked already. The result is one row with the count of the changes.
[[nodiscard]] SqlJob MendRows(std::string ledgerPath, std::vector<CarryMend> mends,
                              std::vector<MendMark> marks, bool back);

/// A job on the ledger: the carries that were to be saved when the program ended, as rows of slot, channel,
/// polarized, what the carry was and what it is to be.
[[nodiscard]] SqlJob ReadCarriesDue();

/// A job on the ledger: doubtful carry `id` is none. It fails where there is no such carry.
[[nodiscard]] SqlJob KeepCarry(std::int64_t id);

/// A job on the ledger: all of those are in the settings.
[[nodiscard]] SqlJob ForgetCarriesDue();

}  // namespace corvane
