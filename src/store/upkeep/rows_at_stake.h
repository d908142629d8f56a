// What an operation is about to delete or overwrite, as people are told before they agree to it.
#pragma once

#include <QString>

#include <cstdint>
#include <string>
#include <vector>

#include "store/sql_worker.h"

namespace corvane {

class SettingsStore;

/// Rows of a table of which each names its device.
struct RowsAtStake {
    std::string table;
    std::string where = "1";    ///< an SQL condition: which of them
    std::string date = "date";  ///< an SQL expression: when each was written
};

struct Stake {
    QString text;  ///< lines: of each device how many rows, from when to when; of each table how many of all
    std::int64_t rows = 0;
    QString error;  ///< why they could not be counted; empty where they were
};

/// A job that counts the rows of each table by devices, for `StakeOf`.
[[nodiscard]] SqlJob CountJob(std::vector<RowsAtStake> tables);

/// What a `CountJob` found; devices that a slot is bound to by `settings` are named, too.
[[nodiscard]] Stake StakeOf(const QueryResult& counted, const SettingsStore& settings);

}  // namespace corvane
