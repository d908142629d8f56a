// Lets a burst of writing come to its end.
#pragma once

#include <QCoreApplication>

#include "store/db_writer.h"

namespace corvane {

inline void SettleBursts(const DbWriter& writer) {
    while (writer.Bursting())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

}  // namespace corvane
