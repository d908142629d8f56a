// Choices that the pages on the database's history share.
#pragma once

#include <QButtonGroup>
#include <QDateEdit>
#include <QStringList>

#include "history/history_reader.h"

namespace corvane {

/// "Device A (301234)", "Virtual device", or the bare address of one that has no slot.
[[nodiscard]] QString DeviceName(const HistoryDevice& device);

/// A row of small buttons of which one is down; their ids in `group` count from 0.
[[nodiscard]] QWidget* ButtonRow(QButtonGroup& group, const QStringList& names);

/// An entry of a day, with a calendar.
[[nodiscard]] QDateEdit* DayEntry(const QString& name);

}  // namespace corvane
