#include "measure/pulse_counters.h"

#include <iterator>
#include <limits>
#include <string>
#include <utility>

#include "base/number_entry.h"
#include "base/number_format.h"
#include "base/operator.h"
#include "measure/readings.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Two of each flow type: per minute and per hour.
constexpr FlowUnit kUnits[] = {
    {"CuFt/Min", "CFM", "/flow_cfm.html", "CuFt"},
    {"CuFt/Hr", "CFH", "/flow_cfh.html", "CuFt"},
    {"CuMetre/Min", "m(3)/min", "/flow_cmm.html", "m(3)"},
    {"CuMetre/Hr", "m(3)/hr", "/flow_cmh.html", "m(3)"},
    {"GPM", "GPM", "/flow_gpm.html", "Gals"},
    {"GPH", "GPH", "/flow_gph.html", "Gals"},
    {"LPM", "LPM", "/flow_lpm.html", "Litres"},
    {"LPH", "LPH", "/flow_lph.html", "Litres"},
};
constexpr int kFlowTypes = std::size(kUnits) / 2;
constexpr FlowUnit kUndefined = {"Undefined", "Undefined", "", "Undefined"};

std::optional<std::size_t> SourceOf(const QString& text) {
    const auto channel = FindChannel(text.trimmed().toStdString());
    return channel.has_value() && kChannelTable[*channel].pulseInput ? channel : std::nullopt;
}

std::optional<int> FlowTypeOf(const QString& text) {
    bool isNumber = false;
    const int type = text.trimmed().toInt(&isNumber);
    return isNumber && type >= 0 && type < kFlowTypes ? std::optional(type) : std::nullopt;
}

std::optional<bool> PerHourOf(const QString& text) {
    const QString word = text.trimmed();
    return word == "1"_L1 || word == "0"_L1 ? std::optional(word == "1"_L1) : std::nullopt;
}

/// The text of units per pulse: a number above 0, in single precision on purpose.
std::optional<float> FactorOf(const QString& text) {
    using Limits = std::numeric_limits<float>;
    const double factor = NumberEntry(text).value_or(0);
    if (factor < Limits::min() || factor > Limits::max()) return std::nullopt;
    return static_cast<float>(factor);
}

}  // namespace

std::span<const FlowUnit> FlowUnits() {
    return kUnits;
}

const FlowUnit& PulseSetup::Unit() const {
    return flowType < 0 ? kUndefined : kUnits[2 * flowType + (perHour ? 1 : 0)];
}

PulseCounters::PulseCounters(SettingsStore& settings) : settings_(settings) {
    for (int slot = 1; slot <= kSlots; ++slot)
        Load(slot);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString& section, const QString&) {
        const int slot = section.toInt();
        if (slot >= 1 && slot <= kSlots) Load(slot);
    });
}

void PulseCounters::Load(int slot) {
    const SettingPlace place{.slot = slot};
    const auto number = [this, &place](const Setting& setting, auto parse) {
        const QString text = settings_.Value(setting, place);
        if (const auto value = parse(text)) return *value;
        const QString fallback = QString::fromLatin1(setting.fallback);
        if (!text.isEmpty())
            settings_.TellUnreadable(setting, place, u"a number for it"_s, u"%1 is used"_s.arg(fallback));
        return parse(fallback).value();
    };
    const auto choice = [this, &place](const Setting& setting, auto parse, const QString& consequence) {
        const QString text = settings_.Value(setting, place);
        const auto chosen = parse(text);
        if (!chosen && !text.trimmed().isEmpty())
            settings_.TellUnreadable(setting, place, u"one of its choices"_s, consequence);
        return chosen;
    };
    PulseSetup setup;
    setup.enabled = settings_.IsOn(kPulseCounting, place);
    setup.channel = choice(kPulseSource, SourceOf, u"no pulses are counted"_s);
    setup.flowType = choice(kFlowType, FlowTypeOf, u"their units are not known"_s).value_or(-1);
    setup.perHour = choice(kPerHour, PerHourOf, u"0 is used"_s).value_or(false);
    // A float's own decimal, so that 0.1 does not turn into 0.10000000149.
    setup.countK = QByteArray::fromStdString(ShortestText(number(kCountFactor, FactorOf))).toDouble();
    setup.referenceCount = number(kReferenceCount, NumberEntry);
    setup.presetTotal = number(kPresetTotal, NumberEntry);
    Slot& state = Of(slot);
    if (setup.enabled != state.setup.enabled || setup.channel != state.setup.channel) state = {};
    state.setup = setup;
}

void PulseCounters::Forget(int slot) {
    Slot fresh;
    fresh.setup = Of(slot).setup;
    Of(slot) = fresh;
}

void PulseCounters::OnReadings(const DeviceReadings& readings) {
    Slot& slot = Of(readings.slot);
    const PulseSetup& setup = slot.setup;
    if (!setup.enabled || !setup.channel.has_value() || !readings.model->Has(*setup.channel)) return;
    const double count = readings.channels[*setup.channel].absolute.current;
    slot.count = count;
    slot.seconds = readings.seconds.value_or(0);
    const bool follows = slot.rateCount.has_value() && !readings.restart;
    // The same second again: as with power, the rate is calculated when the next one comes.
    if (follows && readings.elapsed == 0) return;
    // Negative where the counter fell: that gives no rate, and counting goes on from there.
    const double pulses = follows ? count - *slot.rateCount : 0;
    slot.rate = pulses > 0 ? pulses / readings.elapsed * 60 * setup.countK : 0;
    if (setup.perHour) slot.rate *= 60;
    slot.pulseSeen = slot.pulseSeen || pulses > 0;
    slot.rateCount = count;
}

std::optional<PulseReadings> PulseCounters::Readings(int slot) const {
    const Slot& state = Of(slot);
    if (!state.count.has_value()) return std::nullopt;
    const PulseSetup& setup = state.setup;
    return PulseReadings{.rate = state.rate,
                         .total = setup.presetTotal + (*state.count - setup.referenceCount) * setup.countK,
                         .unit = &setup.Unit()};
}

Outcome PulseCounters::SetUp(int slot, const QString& source, const QString& flowType, const QString& period,
                             const QString& countK) {
    const auto channel = SourceOf(source);
    if (!channel.has_value()) return Outcome::Failure(u"Pulses are counted on AUX1, AUX2, AUX3 or AUX4."_s);
    const auto type = FlowTypeOf(flowType);
    if (!type.has_value())
        return Outcome::Failure(u"The flow type is 0 (CuFt), 1 (m(3)), 2 (Gals) or 3 (Litres)."_s);
    const bool perHour = period.compare("hour"_L1, Qt::CaseInsensitive) == 0;
    if (!perHour && period.compare("minute"_L1, Qt::CaseInsensitive) != 0)
        return Outcome::Failure(u"The rate is one per minute or per hour."_s);
    const auto factor = FactorOf(countK);
    if (!factor.has_value()) return Outcome::Failure(u"One Pulse Equals: a number above 0 is needed."_s);

    const FlowUnit& unit = kUnits[2 * *type + (perHour ? 1 : 0)];
    const std::pair<const Setting&, QString> values[] = {
        {kPulseSource, QLatin1StringView(ChannelName(*channel))},
        {kFlowType, QString::number(*type)},
        {kPerHour, perHour ? u"1"_s : u"0"_s},
        {kCountFactor, QString::fromStdString(ShortestText(*factor))},
        {kCountDevice, SlotLetter(slot)},
        {kTotalUnit, QLatin1StringView(unit.total)},
        {kRateUnit, QLatin1StringView(unit.rate)},
        {kShortRateUnit, QLatin1StringView(unit.shortRate)},
    };
    for (const auto& [setting, value] : values)
        settings_.Save(setting, value, {.slot = slot});
    SaveFlowPage(slot);
    return Outcome::Success();
}

void PulseCounters::SetDashboard(const QString& location) {
    dashboard_ = location;
    for (int slot = 1; slot <= kSlots; ++slot)
        SaveFlowPage(slot);
}

void PulseCounters::SaveFlowPage(int slot) {
    const QString page = dashboard_ + QLatin1StringView(Setup(slot).Unit().page);
    if (Setup(slot).flowType < 0 || FlowPage(slot) == page) return;
    settings_.Save(kFlowPage, page, {.slot = slot});
}

QString PulseCounters::FlowPage(int slot) const {
    return settings_.Value(kFlowPage, {.slot = slot});
}

QCoro::Task<Outcome> PulseCounters::SetEnabled(int slot, bool enabled, Operator& op) {
    if (enabled && !Setup(slot).channel.has_value())
        co_return Outcome::Failure(u"Source device must be selected."_s);
    const bool sure =
        co_await op.AskYesNo(enabled ? u"Are you sure you wish to enable pulse counting for this device?"_s
                                     : u"Are you sure you wish to disable pulse counting for this device?"_s);
    if (sure) settings_.Save(kPulseCounting, enabled, {.slot = slot});
    co_return Outcome::Success();
}

QCoro::Task<Outcome> PulseCounters::PresetTotal(int slot, Operator& op) {
    const auto entered = co_await op.AskText(u"Preset To:"_s);
    if (!entered.has_value()) co_return Outcome::Success();
    const auto total = NumberEntry(*entered);
    if (!total.has_value()) co_return Outcome::Failure(u"You must use a numeric value"_s);
    if (!Of(slot).pulseSeen) {
        co_return Outcome::Failure(
            u"At least one pulse must be received after starting this program before this function can be "
            u"used. Please try again after receiving a pulse."_s);
    }
    // Taken before the first save, which loads the setup again.
    const double count = Of(slot).count.value_or(0);
    settings_.Save(kReferenceCount, QString::fromStdString(ShortestText(count)), {.slot = slot});
    settings_.Save(kReferenceSeconds, QString::number(Of(slot).seconds), {.slot = slot});
    settings_.Save(kPresetTotal, QString::fromStdString(ShortestText(*total)), {.slot = slot});
    co_return Outcome::Success();
}

}  // namespace corvane
