// The lines in which people read pulses, sums and the exchange with the grid.
#pragma once

#include <QString>
#include <QStringList>

namespace corvane {

struct PulseReadings;
class VirtualChannels;
struct VirtualReadings;

/// "Flow", the rate and the total with their units.
[[nodiscard]] QString FlowText(const PulseReadings& pulse);

/// The main panel's watts, with their sign and " W (net)" where it is bi-polar.
[[nodiscard]] QString MainPowerText(const VirtualReadings& values);

/// "Sending Power to the Grid" or "Receiving Power From the Grid".
[[nodiscard]] QString GridText(double netPower);

/// "Power Being Generated" or "Power Consumed By Inverter".
[[nodiscard]] QString GeneratorText(double powerGen);

/// One line for each value of the groups that are in use; none where no group is.
[[nodiscard]] QStringList VirtualLines(const VirtualChannels& virtualChannels);

}  // namespace corvane
