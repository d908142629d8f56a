#include "measure/virtual_texts.h"

#include "base/number_format.h"
#include "link/device_slots.h"
#include "measure/pulse_counters.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_device.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString Number(double value, const char* pattern) {
    return QString::fromStdString(FormatNumber(value, pattern));
}

}  // namespace

QString WattsText(double watts) {
    return Number(watts, "#######0") + u" W"_s;
}

QString AmpsText(double amps) {
    return (amps == 0 ? u"0"_s : Number(amps, "###.0")) + u" A"_s;
}

QString KwhText(double kwh) {
    return Number(kwh, "#####0.000") + u" kWh"_s;
}

QString ChannelKwhText(double kwh) {
    return Number(kwh, "#####0.000") + u" KWh"_s;
}

QString FlowRateText(const PulseReadings& pulse) {
    return Number(pulse.rate, "####0.00") + u' ' + QLatin1StringView(pulse.unit->shortRate);
}

QString FlowTotalText(const PulseReadings& pulse) {
    return Number(pulse.total, "####0.00") + u' ' + QLatin1StringView(pulse.unit->total);
}

QString FlowText(const PulseReadings& pulse) {
    return u"Flow %1, %2"_s.arg(FlowRateText(pulse), FlowTotalText(pulse));
}

QString MainPowerText(const VirtualReadings& values) {
    return WattsText(values.ShownMainPower()) + (values.bipolarMain ? u" (net)"_s : u""_s);
}

QString GridText(double netPower) {
    return netPower < 0 ? u"Sending Power to the Grid"_s : u"Receiving Power From the Grid"_s;
}

QString GeneratorText(double powerGen) {
    return powerGen < 0 ? u"Power Consumed By Inverter"_s : u"Power Being Generated"_s;
}

QString MissingText(int slot) {
    return u"Device %1 is off line: its power is missing from these sums."_s.arg(SlotLetter(slot));
}

QString TotalText(double wattSeconds) {
    return Number(wattSeconds / kWattSecondsPerKwh, "###,##0.000") + u" kWh"_s;
}

QString SumsWaitText(const VirtualReadings& values) {
    QStringList letters;
    for (const int slot : values.waitsFor)
        letters.append(SlotLetter(slot));
    if (letters.isEmpty()) return {};
    return u"The virtual device 999999 is not recorded until Device %1 is heard: nothing is known of its "
           "energy."_s.arg(letters.join(u", "_s));
}

QString ChosenText(const ChannelGroups& groups, ChannelGroup group) {
    const QString channels = groups.TextsOf(group).join(u", "_s);
    return channels.isEmpty() ? u"None"_s : channels;
}

QString VirtualDeviceText(const VirtualDevice& device) {
    return device.Exists() ? u"The virtual device 999999 is recorded."_s : u"There is no virtual device."_s;
}

QStringList VirtualLines(const VirtualChannels& virtualChannels) {
    const ChannelGroups& groups = virtualChannels.Groups();
    if (groups.Empty()) return {};
    const VirtualReadings values = virtualChannels.Read();
    QStringList lines;
    if (!groups.Empty(ChannelGroup::MainPanel)) {
        lines.append(u"Main Panel  %1  %2  %3"_s.arg(MainPowerText(values), AmpsText(values.ShownMainAmps()),
                                                     KwhText(values.main.Kwh())));
        lines.append(u"Other  %1  %2"_s.arg(WattsText(values.other.watts), KwhText(values.other.Kwh())));
    }
    if (values.netMetering) {
        lines += {GridText(values.net.watts) + u"  "_s + WattsText(values.net.watts),
                  GeneratorText(values.generated.watts) + u"  "_s + WattsText(values.generated.watts),
                  u"Net Energy From Grid  "_s + KwhText(values.net.Kwh()),
                  u"Generated Energy  "_s + KwhText(values.generated.Kwh()),
                  u"Energy Consumed By Home Loads  "_s + KwhText(values.used.Kwh())};
    }
    for (std::size_t i = 0; i < kVirtualChannels.size(); ++i) {
        if (groups.Empty(kVirtualChannels[i])) continue;
        const Flow& flow = values.virtuals[i];
        lines.append(
            u"Virtual Channel %1  %2  %3"_s.arg(i + 1).arg(WattsText(flow.watts), KwhText(flow.Kwh())));
    }
    for (const int slot : values.missing)
        lines.append(MissingText(slot));
    if (const QString waits = SumsWaitText(values); !waits.isEmpty()) lines.append(waits);
    return lines;
}

}  // namespace corvane
