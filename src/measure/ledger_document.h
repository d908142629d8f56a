// The ledger as people and programs are shown it.
#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

#include "measure/ledger_file.h"

namespace corvane {

class Ledger;

/// The query for the days from one to another, both whole; either may be empty. Nothing where one is no date.
[[nodiscard]] std::optional<LedgerQuery> LedgerQueryOf(const QString& from, const QString& to);

/// One line: id, time, what it is of, what happened, and how far that may be believed.
[[nodiscard]] QString LedgerLine(const LedgerEntry& entry);

/// What happened, without time and place: "wrapped from 4294960000 to 1000, carry 0 to 1".
[[nodiscard]] QString EventText(const LedgerEntry& entry);

/// What it is of: "Device A (301234), AUX1", or empty for the program.
[[nodiscard]] QString PlaceText(const LedgerEntry& entry);

/// {"entries": [...]}, oldest first. What is not known is null.
[[nodiscard]] QJsonObject LedgerDocument(const std::vector<LedgerEntry>& entries);

/// The newest doubtful carries that stand, how many older ones there are, and what can be done about them
/// (`remedy`); none where all is sure.
[[nodiscard]] QStringList DoubtfulLines(const Ledger& ledger, const QString& remedy);

/// {"doubtful": [...], "doubtfulCount": 1, "problem": ""}: of the doubtful carries the newest,
/// each with its "text", and why events wait.
[[nodiscard]] QJsonObject LedgerState(const Ledger& ledger);

}  // namespace corvane
