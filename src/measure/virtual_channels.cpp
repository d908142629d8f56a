#include "measure/virtual_channels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "measure/measurement.h"
#include "measure/stored_energies.h"
#include "measure/virtual_device.h"
#include "store/schema.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Whole watts with room in 32 bits, which sums of undamaged packets always have.
std::int32_t RowWatts(double watts) {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(watts, -kMost, kMost));
}

using RowFlows = std::array<Flow, kChannels>;

/// What CH1 to AUX5 of the virtual device stand for.
RowFlows FlowsOfRow(const VirtualReadings& values) {
    const auto& [virtual1, virtual2, virtual3] = values.virtuals;
    if (values.netMetering)
        return {values.net, values.sold, values.bought, values.generated, values.used, virtual2, virtual3};
    return {values.main, Flow(), Flow(), values.other, virtual1, virtual2, virtual3};
}

/// The devices whose energy one of them lacks.
std::bitset<kSlots> UnknownOf(const RowFlows& flows) {
    std::bitset<kSlots> unknown;
    for (const Flow& flow : flows)
        unknown |= flow.unknown;
    return unknown;
}

}  // namespace

VirtualChannels::VirtualChannels(const ChannelGroups& groups, const Measurement& measurement,
                                 const StoredEnergies& stored, const SettingsStore& settings)
    : groups_(groups), measurement_(measurement), stored_(stored) {
    LoadSettings(settings);
    connect(&settings, &SettingsStore::Changed, this, [this, &settings] { LoadSettings(settings); });
}

void VirtualChannels::LoadSettings(const SettingsStore& settings) {
    netMetering_ = settings.IsOn(kNetMetering);
    bipolarMain_ = settings.IsOn(kBipolarMain);
    averageAmps_ = settings.IsOn(kAverageAmps);
    otherWanted_ = settings.IsOn(kOtherWanted);
    deviceExists_ = settings.IsOn(kVirtualDeviceExists);
}

/// A device that was not heard yet counts with the energy of its newest row.
void VirtualChannels::GroupSum::AddStored(const ChannelChoice& choice,
                                          const std::optional<StoredReadings>& stored) {
    if (stored.has_value()) {
        absolute.wattSeconds += (*stored)[choice.channel].absolute;
        polarized.wattSeconds += (*stored)[choice.channel].polarized;
    } else {
        absolute.unknown.set(static_cast<std::size_t>(choice.slot - 1));
        polarized.unknown.set(static_cast<std::size_t>(choice.slot - 1));
    }
}

VirtualChannels::GroupSum VirtualChannels::Sum(ChannelGroup group) const {
    GroupSum sum;
    for (const ChannelChoice& choice : groups_.Of(group)) {
        const DeviceReadings& device = measurement_.Readings(choice.slot);
        if (!device.Seen()) {
            sum.AddStored(choice, stored_.Of(choice.slot));
            continue;
        }
        const ChannelReadings& channel = device.channels[choice.channel];
        sum.absolute.wattSeconds += channel.absolute.Lifetime();
        sum.polarized.wattSeconds += channel.polarized.Lifetime();
        if (!measurement_.Online(choice.slot)) continue;
        sum.absolute.watts += channel.absolute.lastWatts.value_or(0);
        sum.polarized.watts += channel.polarized.lastWatts.value_or(0);
        sum.amps += static_cast<double>(channel.amps);
    }
    return sum;
}

VirtualReadings VirtualChannels::Read() const {
    GroupSums sums;
    std::ranges::transform(kChannelGroups, sums.begin(), [this](ChannelGroup group) { return Sum(group); });
    VirtualReadings values = Combine(sums);
    const std::vector<int> chosen = groups_.Slots();
    std::ranges::copy_if(chosen, std::back_inserter(values.missing),
                         [this](int slot) { return !measurement_.Online(slot); });
    values.stale = !std::ranges::all_of(
        chosen, [this](int slot) { return measurement_.PresenceOf(slot) == Presence::Live; });
    if (deviceExists_) {
        const auto unknown = UnknownOf(FlowsOfRow(values));
        std::ranges::copy_if(chosen, std::back_inserter(values.waitsFor),
                             [&unknown](int slot) { return unknown[static_cast<std::size_t>(slot - 1)]; });
    }
    return values;
}

VirtualReadings VirtualChannels::Combine(const GroupSums& sums) const {
    const auto of = [&sums](ChannelGroup group) { return sums[static_cast<std::size_t>(group)]; };
    VirtualReadings values;
    values.netMetering = netMetering_;
    values.bipolarMain = bipolarMain_;
    values.averageAmps = averageAmps_;
    const GroupSum main = of(ChannelGroup::MainPanel);
    values.main = main.absolute;
    values.mainPolarized = main.polarized;
    values.mainAmps = std::round(main.amps * 10) / 10;  // of floats with one decimal each
    if (netMetering_) {
        values.net = main.Net();
        values.generated = of(ChannelGroup::Generator).Net();
        values.used = values.net + values.generated;
        // Power goes one way at a time; energy has gone both ways, which is what the two counters are for.
        values.bought = main.absolute - main.polarized;
        values.bought.watts = std::max(values.net.watts, 0.0);
        values.sold = main.polarized;
        values.sold.watts = std::max(-values.net.watts, 0.0);
    }
    if (otherWanted_) values.other = main.absolute - of(ChannelGroup::Loads).absolute;
    std::ranges::transform(kVirtualChannels, values.virtuals.begin(),
                           [&of](ChannelGroup group) { return of(group).absolute; });
    return values;
}

RowShares VirtualChannels::SharesOf(int slot, const CounterName& counter) const {
    GroupSums sums;
    for (const ChannelGroup group : kChannelGroups) {
        GroupSum& sum = sums[static_cast<std::size_t>(group)];
        const auto count =
            std::ranges::count(groups_.Of(group), ChannelChoice{.slot = slot, .channel = counter.channel});
        (counter.polarized ? sum.polarized : sum.absolute).wattSeconds = static_cast<double>(count);
    }
    const VirtualReadings values = Combine(sums);
    RowShares shares;
    std::ranges::transform(FlowsOfRow(values), shares.absolute.begin(),
                           [](const Flow& flow) { return static_cast<int>(flow.wattSeconds); });
    if (!values.netMetering) shares.ch1Polarized = static_cast<int>(values.mainPolarized.wattSeconds);
    return shares;
}

bool VirtualChannels::GoWith(int slot) const {
    if (!deviceExists_ || groups_.Empty()) return false;
    for (int lower = 1; lower < slot; ++lower) {
        if (measurement_.Online(lower)) return false;
    }
    return true;
}

std::optional<DeviceReadings> VirtualChannels::RowWith(const DeviceReadings& readings) const {
    const VirtualReadings values = Read();
    if (!values.waitsFor.empty()) return std::nullopt;

    const RowFlows flows = FlowsOfRow(values);
    DeviceReadings row;
    row.slot = readings.slot;
    row.serial = kVirtualDevice;
    row.time = readings.time;
    row.volt = readings.volt;
    row.seconds = readings.seconds;
    for (std::size_t i = 0; i < kChannels; ++i) {
        EnergyCounter& counter = row.channels[i].absolute;
        counter.watts = RowWatts(flows[i].watts);
        counter.current = flows[i].wattSeconds;
    }
    if (!values.netMetering) row.channels[0].polarized.current = values.mainPolarized.wattSeconds;
    row.channels[0].amps = static_cast<float>(values.mainAmps);
    return row;
}

}  // namespace corvane
