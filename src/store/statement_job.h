// Statements that run one after the other as a job of maintenance.
#pragma once

#include <QString>

#include <string>
#include <vector>

#include "store/sql_worker.h"

namespace corvane {

struct Statement {
    QString notice;   ///< what is told while it runs
    std::string sql;  ///< complete
    int passes = 0;   ///< how often it steps through the whole table of the job; 0: nobody can know
};

/// The notice of a statement that may take long.
inline const QString kPleaseWait = QStringLiteral("Please Wait......");

/// Whether a list of statements takes effect as a whole or not at all, or each by itself.
enum class Effect { Whole, Each };

/// A job that runs `statements` and stops at the first that fails. Its result is one row with the count of
/// the rows changed, or "Error Processing " and the beginning of the statement and its error; "Error DB2"
/// where the file cannot be opened. `table` is the one whose rows the percentage is calculated by.
[[nodiscard]] SqlJob StatementJob(std::vector<Statement> statements, std::string table, Effect effect);

/// A job that runs the jobs one after the other, until one fails.
[[nodiscard]] SqlJob InTurn(SqlJob first, SqlJob second);

/// The statement that gives the room of deleted rows back to the system.
[[nodiscard]] Statement Vacuum(const std::string& table, const QString& notice);

}  // namespace corvane
