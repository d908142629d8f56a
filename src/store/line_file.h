// Text files that the program appends lines to, for this user alone. None grows without end.
#pragma once

#include <QString>
#include <QStringList>

namespace corvane {

/// "NAME.1.EXT" beside "NAME.EXT": what the file was before it began from nothing again.
[[nodiscard]] QString OlderFile(const QString& path);

/// Appends a line. Where the file would grow beyond `mostBytes`, what it has becomes the older file, in the
/// place of the one before. False where that cannot be done.
[[nodiscard]] bool AppendLine(const QString& path, const QString& line, qint64 mostBytes);

/// Appends a line, and cuts off what lies before the last `mostLines`. False where that cannot be done.
[[nodiscard]] bool AppendToLastLines(const QString& path, const QString& line, qsizetype mostLines);

/// The last lines of a file, at most so many, oldest first, however long it is; none where it cannot be read.
[[nodiscard]] QStringList LastLinesOf(const QString& path, qsizetype most);

}  // namespace corvane
