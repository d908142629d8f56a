// The tables of the capture database. Dashboards of others read them: every statement stands to the letter.
#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/channels.h"
#include "base/outcome.h"
#include "store/capture_database.h"
#include "store/channel_labels.h"

namespace corvane {

class DbWriter;
class Operator;

/// The `deviceaddress` of the virtual device.
inline constexpr const char* kVirtualDevice = "999999";

/// How the monitored place is wired: it decides the labels of the virtual device.
enum class InstallationType { ConsumptionOnly, NetMetering };

namespace sql {

extern const char* const kNewHourlyTable;      ///< monitordata_hourly
extern const char* const kNewMinuteDataTable;  ///< monitordata_minute
extern const char* const kNewMinuteTable;
extern const char* const kNewPowerTable;
extern const char* const kNewEnergyTable;

// What is read of tables that only other programs make.
[[nodiscard]] std::string StoredTotals(std::int64_t serial);  ///< CH1 twice and CH2 never, on purpose
extern const char* const kWrapSeconds;
extern const char* const kRealtimeRecord;

struct Column {
    std::string name;
    std::string type;
};

/// The columns of a table that `create`, one of the statements above, makes.
[[nodiscard]] std::vector<Column> ColumnsOf(const char* create);

/// The labels of a row of `applicationinfo`, by channel.
using RowLabels = std::array<std::string, kChannels>;

/// `label` for each channel.
[[nodiscard]] RowLabels AllLabelled(const std::string& label);

/// The statement that adds row `id` of `applicationinfo`, or the next one where `id` is empty.
[[nodiscard]] std::string NewDeviceRow(const std::string& id, const std::string& address,
                                       const RowLabels& labels = AllLabelled(kNoLabel));

}  // namespace sql

/// What came of looking at the file that is to be the capture database.
enum class FileVerdict { Fine, Locked, Wrong };
struct FileCheck {
    FileVerdict verdict = FileVerdict::Fine;
    QString text;  ///< what is wrong
};

/// Looks whether records can be written to the file, by a trial that leaves nothing behind. A disk that is
/// full now is nothing wrong with the file.
[[nodiscard]] FileCheck CheckDatabaseFile(const QString& path);

/// Why the tables of an open file are not those that the capture writes to, or empty. Looks at no row.
[[nodiscard]] std::string WrongTables(const CaptureDatabase::Connection& connection);

/// Makes the tables and rows of a fresh database in the file at `path`. A file that is missing appears whole
/// or not at all; in one that is there, no table is overwritten, and nothing stays of an attempt that failed.
Outcome CreateTables(const std::string& path);

/// The base tables that were missing in a database and are there now, with their first rows.
struct MendedTables {
    QStringList names;
    FileCheck check;  ///< whether that went well
};

/// Makes the base tables that the file at `path` lacks, and touches nothing that is there. A file with tables
/// of which none is a base table is another program's, and stays as it is.
[[nodiscard]] MendedTables MendTables(const QString& path);

/// Adds the row of the virtual device (id 9, address 999999) where it is missing. An error is shown.
/// True where the row is there now.
bool CreateVD1(const CaptureDatabase& database, InstallationType type, Operator& op);

/// Adds the table `minutedata` where it is missing, and shows how that went. False where it failed.
bool CreateNewMinuteTable(const CaptureDatabase& database, Operator& op);

/// Adds `minute_power` and `minute_energy`. Does nothing and says so while the write countdown runs; an error
/// is shown with SQLite's words for it. True where both are there now because of this call.
bool CreatePowerTables(const CaptureDatabase& database, const DbWriter& writer, Operator& op);

}  // namespace corvane
