// The tables of the capture database as a person looks through them: which rows there are, and some of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/sql_worker.h"

namespace corvane {

/// Which rows of a table are wanted. What the table has no column for is no limit.
struct TableFilter {
    std::string table;
    std::string address;   ///< of the column `deviceaddress`; empty: of all devices
    std::string firstDay;  ///< "yyyy-mm-dd" of the column `date`; empty: from the beginning on
    std::string endDay;    ///< the day after the last; empty: up to the end
};

/// The rows of a table that pass its filter.
struct TableRows {
    TableFilter filter;
    std::vector<std::string> columns;
    std::vector<std::int64_t> ids;  ///< the newest first
};

/// A job whose rows are the names of the tables.
[[nodiscard]] SqlJob ReadTableNames();

/// A job that finds the columns and the ids of `rows` for its filter. The caller leaves `rows` alone until
/// the job has ended.
[[nodiscard]] SqlJob FindRows(std::shared_ptr<TableRows> rows);

/// A job whose rows are those at `first` and the `count` from there, as far as they are still in the table:
/// each with its id in front.
[[nodiscard]] SqlJob ReadRows(const TableRows& rows, std::size_t first, std::size_t count);

/// The statement for all the rows, in their order, without such as came later.
[[nodiscard]] std::string AllRows(const TableRows& rows);

}  // namespace corvane
