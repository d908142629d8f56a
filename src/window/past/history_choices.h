// Choices that the pages on the database's history share.
#pragma once

#include <QDateEdit>
#include <QString>

#include "history/history_reader.h"

namespace corvane {

/// "Device A (301234)", "Virtual device", or the bare address of one that has no slot.
[[nodiscard]] QString DeviceName(const HistoryDevice& device);

/// An entry of a day, with a calendar.
[[nodiscard]] QDateEdit* DayEntry(const QString& name);

}  // namespace corvane
