// The search for COM ports that can be opened.
#pragma once

#include <QCoroTask>
#include <QString>

#include <span>
#include <vector>

#include "link/serial_ports.h"

namespace corvane {

class Clock;
class SerialLink;

/// Where a search gave none that can be opened.
inline const QString kNoPortFound = QStringLiteral("No COM Port Found");

struct FoundPort {
    int number;
    QString path;
    PortState state;
    QString product;  ///< what the device calls itself, or empty

    /// Whether a link could open it, or has it open.
    [[nodiscard]] bool Usable() const { return state == PortState::Free || state == PortState::OwnLink; }
};

/// Tries COM port 1 to 64 in ascending order and gives all that are there. The links deliver meanwhile; a
/// port that one of `links` has open is left alone. All arguments must outlive the search.
QCoro::Task<std::vector<FoundPort>> FindPort(SerialPorts& ports, const SettingsStore& settings,
                                             std::span<SerialLink* const> links, Clock& clock);

}  // namespace corvane
