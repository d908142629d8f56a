// The texts in which people read power, energy, pulses, sums and the exchange with the grid.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

namespace corvane {

class ChannelGroups;
enum class ChannelGroup : std::uint8_t;
struct PulseReadings;
class VirtualChannels;
class VirtualDevice;
struct VirtualReadings;

/// Whole watts: "-120 W".
[[nodiscard]] QString WattsText(double watts);

/// One decimal; "0 A" where no current flows.
[[nodiscard]] QString AmpsText(double amps);

/// Of a sum: "12.500 kWh".
[[nodiscard]] QString KwhText(double kwh);

/// Of a channel, in whose line the unit is written "KWh".
[[nodiscard]] QString ChannelKwhText(double kwh);

/// The rate with its unit, then the total with its own.
[[nodiscard]] QString FlowRateText(const PulseReadings& pulse);
[[nodiscard]] QString FlowTotalText(const PulseReadings& pulse);

/// "Flow", the rate and the total with their units.
[[nodiscard]] QString FlowText(const PulseReadings& pulse);

/// The main panel's watts, with their sign and " W (net)" where it is bi-polar.
[[nodiscard]] QString MainPowerText(const VirtualReadings& values);

/// "Sending Power to the Grid" or "Receiving Power From the Grid".
[[nodiscard]] QString GridText(double netPower);

/// "Power Being Generated" or "Power Consumed By Inverter".
[[nodiscard]] QString GeneratorText(double powerGen);

/// Of a chosen slot that is off line.
[[nodiscard]] QString MissingText(int slot);

/// For which devices the records of the virtual device wait; empty where they do not.
[[nodiscard]] QString SumsWaitText(const VirtualReadings& values);

/// The channels of a group, "A:CH1, B:CH1", or "None".
[[nodiscard]] QString ChosenText(const ChannelGroups& groups, ChannelGroup group);

/// Whether there is a virtual device.
[[nodiscard]] QString VirtualDeviceText(const VirtualDevice& device);

/// A total with all that a person compares: "1,193.047 kWh".
[[nodiscard]] QString TotalText(double wattSeconds);

/// One line for each value of the groups that are in use; none where no group is.
[[nodiscard]] QStringList VirtualLines(const VirtualChannels& virtualChannels);

}  // namespace corvane
