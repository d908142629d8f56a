#include "window/live/dashboard_readings.h"

#include <algorithm>

#include "link/device_texts.h"
#include "measure/measurement.h"
#include "measure/pulse_counters.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_texts.h"
#include "window/live/channel_model.h"
#include "window/parts/palette.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

class Readings {
public:
    Readings(const LiveParts& parts, const VirtualChannels& virtualChannels, const Palette& palette)
        : parts_(parts),
          groups_(virtualChannels.Groups()),
          palette_(palette),
          values_(virtualChannels.Read()) {}

    void AddSums();
    void AddFlows();
    void AddChannel(const ChannelChoice& choice, const std::map<int, ChannelLabels>& labels);

    std::vector<GaugeReading> gauges;

private:
    [[nodiscard]] bool Uses(ChannelGroup group) const { return !groups_.Empty(group); }
    [[nodiscard]] Presence WorstOf(std::initializer_list<ChannelGroup> groups) const;
    void AddNetMetering();
    void AddSum(const QString& title, const Flow& flow, std::initializer_list<ChannelGroup> groups,
                QColor color);

    const LiveParts parts_;
    const ChannelGroups& groups_;
    const Palette& palette_;
    const VirtualReadings values_;
};

Presence Readings::WorstOf(std::initializer_list<ChannelGroup> groups) const {
    Presence worst = Presence::Live;
    for (const ChannelGroup group : groups) {
        for (const ChannelChoice& choice : groups_.Of(group)) {
            const Presence presence = parts_.measurement.PresenceOf(choice.slot);
            worst = std::max(worst, presence == Presence::Never ? Presence::OffLine : presence);
        }
    }
    return worst;
}

void Readings::AddSum(const QString& title, const Flow& flow, std::initializer_list<ChannelGroup> groups,
                      QColor color) {
    gauges.push_back({.title = title,
                      .value = WattsText(flow.watts),
                      .total = KwhText(flow.Kwh()),
                      .amount = flow.watts,
                      .presence = WorstOf(groups),
                      .color = color,
                      .otherWay = color});
}

void Readings::AddSums() {
    if (values_.netMetering && Uses(ChannelGroup::MainPanel)) AddNetMetering();
    if (Uses(ChannelGroup::MainPanel)) {
        AddSum(u"Main Panel"_s, values_.main, {ChannelGroup::MainPanel}, palette_.Used());
        GaugeReading& panel = gauges.back();
        panel.value = MainPowerText(values_);
        panel.note = AmpsText(values_.ShownMainAmps());
        panel.amount = values_.ShownMainPower();
        panel.bothWays = values_.bipolarMain;
        panel.otherWay = palette_.Generated();
    }
    for (std::size_t i = 0; i < kVirtualChannels.size(); ++i) {
        if (!Uses(kVirtualChannels[i])) continue;
        AddSum(u"Virtual Channel %1"_s.arg(i + 1), values_.virtuals[i], {kVirtualChannels[i]},
               palette_.channels[i + kMainChannels]);
    }
    if (Uses(ChannelGroup::MainPanel) && Uses(ChannelGroup::Loads)) {
        AddSum(u"Other"_s, values_.other, {ChannelGroup::MainPanel, ChannelGroup::Loads},
               palette_.channels.back());
    }
}

void Readings::AddNetMetering() {
    AddSum(u"Net"_s, values_.net, {ChannelGroup::MainPanel}, palette_.FromGrid());
    gauges.back().bothWays = true;
    gauges.back().otherWay = palette_.Generated();
    gauges.back().note = GridText(values_.net.watts);
    gauges.back().total.prepend(u"Net Energy From Grid  "_s);
    AddSum(u"Generation"_s, values_.generated, {ChannelGroup::Generator}, palette_.Generated());
    gauges.back().otherWay = palette_.FromGrid();
    gauges.back().note = GeneratorText(values_.generated.watts);
    gauges.back().total.prepend(u"Generated Energy  "_s);
    AddSum(u"Used"_s, values_.used, {ChannelGroup::MainPanel, ChannelGroup::Generator}, palette_.Used());
    gauges.back().note = u"Energy Consumed By Home Loads"_s;
}

void Readings::AddFlows() {
    for (int slot = 1; slot <= kSlots; ++slot) {
        const auto pulse = parts_.pulses.Readings(slot);
        if (!pulse.has_value()) continue;
        gauges.push_back({.title = u"Flow  "_s + SlotName(slot),
                          .value = FlowRateText(*pulse),
                          .total = FlowTotalText(*pulse),
                          .amount = pulse->rate,
                          .leastScale = 10,
                          .presence = parts_.measurement.PresenceOf(slot),
                          .color = palette_.Flow()});
    }
}

void Readings::AddChannel(const ChannelChoice& choice, const std::map<int, ChannelLabels>& labels) {
    const DeviceReadings& device = parts_.measurement.Readings(choice.slot);
    if (!device.Seen() || !device.model->Has(choice.channel)) return;
    const EnergyCounter& counter = device.channels[choice.channel].absolute;
    const auto label = labels.find(choice.slot);
    const QString title =
        ChannelTitle(choice.channel, label == labels.end() ? QString() : label->second[choice.channel]);
    gauges.push_back({.title = SlotLetter(choice.slot) + u"  "_s + title,
                      .value = counter.lastWatts.has_value() ? WattsText(*counter.lastWatts) : u"–"_s,
                      .total = ChannelKwhText(counter.Kwh()),
                      .amount = static_cast<double>(counter.lastWatts.value_or(0)),
                      .presence = parts_.measurement.PresenceOf(choice.slot),
                      .color = palette_.channels[choice.channel]});
    if (kChannelTable[choice.channel].polarized)
        gauges.back().note = AmpsText(static_cast<double>(device.channels[choice.channel].amps));
}

}  // namespace

std::vector<GaugeReading> DashboardReadings(const LiveParts& parts, const VirtualChannels& virtualChannels,
                                            const std::vector<ChannelChoice>& channels,
                                            const std::map<int, ChannelLabels>& labels,
                                            const Palette& palette) {
    Readings readings(parts, virtualChannels, palette);
    readings.AddSums();
    readings.AddFlows();
    for (const ChannelChoice& choice : channels)
        readings.AddChannel(choice, labels);
    return std::move(readings.gauges);
}

}  // namespace corvane
