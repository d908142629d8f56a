// Tables and charts as CSV files: values separated by commas, lines ended by CR LF, as RFC 4180 has it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "history/history_reader.h"
#include "store/sql_worker.h"

namespace corvane {

// The jobs below make the file `path`, which appears there as a whole when it is ready and takes the place of
// a file of that name. Their result has the count of the rows, or an error text. Numbers have "." and all
// their digits, NULL is empty.

/// The rows of a query, under the names of its columns. `rows` is how many are expected, for the percentage.
[[nodiscard]] SqlJob ExportQuery(std::string path, std::string sql, std::int64_t rows);

/// Which channels a chart shows, each by its name; nothing for one that it does not.
using ShownChannels = std::array<std::optional<std::string>, kChannels>;

/// The power records from `from` up to `to`.
[[nodiscard]] SqlJob ExportPower(std::string path, std::shared_ptr<const DeviceHistory> history,
                                 ShownChannels channels, WallTime from, WallTime to);

/// Energy and cost of each bar, and how much of it is known.
[[nodiscard]] SqlJob ExportBars(std::string path, std::vector<EnergyBar> bars, ShownChannels channels);

}  // namespace corvane
