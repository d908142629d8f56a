// What no monitor measures by itself: sums and differences of channels, and what goes to and from the grid.
#pragma once

#include <QObject>

#include <array>
#include <bitset>
#include <optional>
#include <vector>

#include "base/setting.h"
#include "link/device_slots.h"
#include "measure/channel_groups.h"
#include "measure/readings.h"
#include "measure/stored_energies.h"

namespace corvane {

class Measurement;
class SettingsStore;

inline constexpr Setting kBipolarMain{.key = "NegGen",
                                      .kind = SettingKind::Switch,
                                      .fallback = "False",
                                      .help = "Whether the main panel is shown with the sign of its power."};
inline constexpr Setting kAverageAmps{
    .key = "CurrentAvg",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .help = "Whether the mean of the main panel's two currents is shown, not their sum."};
inline constexpr Setting kOtherWanted{.key = "Other",
                                      .kind = SettingKind::Switch,
                                      .fallback = "True",
                                      .help = "Whether the un-monitored loads are calculated."};
inline constexpr std::array kVirtualChannelsSettings = {kBipolarMain, kAverageAmps, kOtherWanted};

/// A power and the energy that belongs to it.
struct Flow {
    double watts = 0;
    double wattSeconds = 0;            ///< over all wraps; whole numbers, and exact
    std::bitset<kSlots> unknown = {};  ///< Device A to F whose energy is not known, and not in it

    [[nodiscard]] double Kwh() const { return wattSeconds / kWattSecondsPerKwh; }

    Flow operator+(const Flow& other) const {
        return {watts + other.watts, wattSeconds + other.wattSeconds, unknown | other.unknown};
    }
    Flow operator-(const Flow& other) const {
        return {watts - other.watts, wattSeconds - other.wattSeconds, unknown | other.unknown};
    }
};

/// The values of one moment. Those from `net` to `sold` are 0 unless the installation is one of net metering.
struct VirtualReadings {
    Flow main;            ///< MainPower, Main: absolute, of the main panel
    Flow mainPolarized;   ///< the part of it that flows the other way
    double mainAmps = 0;  ///< sum over its lines, one decimal
    Flow net;             ///< NetPower, Netkwh: from the grid; negative towards it
    Flow generated;       ///< PowerGen, KwhGen; negative what the inverter consumes
    Flow used;            ///< PowerUsed, KwhUsed: by the loads of the home; net + generated
    Flow bought;          ///< PowerBought, KwhBought
    Flow sold;            ///< PowerSold, KwhSold
    Flow other;           ///< Other, OtherKwh: main panel less the monitored loads
    std::array<Flow, kVirtualChannels.size()> virtuals;  ///< Virtual1power .. Virtual3Kwh
    bool netMetering = false;
    bool bipolarMain = false;  ///< the main panel's power is shown with its sign
    bool averageAmps = false;  ///< of the main panel's two lines the mean is shown
    std::vector<int> missing;  ///< chosen slots that are off line, whose power is in no sum, but whose last
                               ///< energy is
    /// Slots whose energy is not known, for which the rows of the virtual device wait; none where there is no
    /// such device.
    std::vector<int> waitsFor;
    bool stale = false;  ///< a chosen slot is stale or off line, or was never heard

    /// The main panel's watts as they are shown.
    [[nodiscard]] double ShownMainPower() const {
        return bipolarMain ? main.watts - 2 * mainPolarized.watts : main.watts;
    }
    [[nodiscard]] double ShownMainAmps() const { return averageAmps ? mainAmps / 2 : mainAmps; }
};

/// Factors, by the channels of the virtual device's row.
struct RowShares {
    std::array<int, kChannels> absolute = {};
    int ch1Polarized = 0;

    bool operator==(const RowShares&) const = default;
};

/// Sums the latest readings of the chosen channels when somebody looks: nothing is done for a packet.
class VirtualChannels : public QObject {
    Q_OBJECT

public:
    VirtualChannels(const ChannelGroups& groups, const Measurement& measurement, const StoredEnergies& stored,
                    const SettingsStore& settings);

    [[nodiscard]] VirtualReadings Read() const;

    /// Whether the rows of the virtual device go with the records of the device in `slot`: there is a virtual
    /// device (`kVirtualDeviceExists`), and no lower slot is on line.
    [[nodiscard]] bool GoWith(int slot) const;

    /// The row of the virtual device with the time of `readings`; nothing while it waits for the energy of a
    /// device: a meter reading that lacks one would look as if energy had been given back.
    [[nodiscard]] std::optional<DeviceReadings> RowWith(const DeviceReadings& readings) const;

    /// How much of a watt-second of one counter of slot 1..6 goes into each energy of that row, as the groups
    /// are now.
    [[nodiscard]] RowShares SharesOf(int slot, const CounterName& counter) const;

    [[nodiscard]] const ChannelGroups& Groups() const { return groups_; }

private:
    struct GroupSum {
        Flow absolute;
        Flow polarized;
        double amps = 0;

        /// What flows the usual way less what flows the other way. The absolute counter counts both.
        [[nodiscard]] Flow Net() const { return absolute - polarized - polarized; }
        void AddStored(const ChannelChoice& choice, const std::optional<StoredReadings>& stored);
    };

    void LoadSettings(const SettingsStore& settings);
    using GroupSums = std::array<GroupSum, kChannelGroups.size()>;

    [[nodiscard]] GroupSum Sum(ChannelGroup group) const;
    [[nodiscard]] VirtualReadings Combine(const GroupSums& sums) const;

    const ChannelGroups& groups_;
    const Measurement& measurement_;
    const StoredEnergies& stored_;
    bool netMetering_ = false;   ///< `kNetMetering`
    bool bipolarMain_ = false;   ///< `kBipolarMain`
    bool averageAmps_ = false;   ///< `kAverageAmps`
    bool otherWanted_ = false;   ///< `kOtherWanted`
    bool deviceExists_ = false;  ///< `kVirtualDeviceExists`
};

}  // namespace corvane
