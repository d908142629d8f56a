#include "forward/value_fields.h"

#include "base/number_format.h"
#include "measure/readings.h"

namespace corvane {
namespace {

using enum FieldValue;

constexpr ValueField kTextLineFields[] = {
    {"CH1P", Watts, 0},  {"CH2P", Watts, 1},  {"Paux1", Watts, 2}, {"Paux2", Watts, 3}, {"Paux3", Watts, 4},
    {"Paux4", Watts, 5}, {"Paux5", Watts, 6}, {"KWhCH1", Kwh, 0},  {"KWhCH2", Kwh, 1},  {"KWhAux1", Kwh, 2},
    {"KWhAux2", Kwh, 3}, {"KWhAux3", Kwh, 4}, {"KWhAux4", Kwh, 5}, {"KWhAux5", Kwh, 6}, {"Time", Time},
};

constexpr ValueField kNetMeteringFields[] = {
    {"CH1PA", Watts, 0},
    {"CH2PA", Watts, 1},
    {"CH1PP", WattsPolarized, 0},
    {"CH2PP", WattsPolarized, 1},
    {"Paux1", Watts, 2},
    {"Paux2", Watts, 3},
    {"Paux3", Watts, 4},
    {"Paux4", Watts, 5},
    {"Paux5", Watts, 6},
    {"CH1A", Amps, 0},
    {"CH2A", Amps, 1},
    {"Volt", Volt},
    {"KWhCH1", Kwh, 0},
    {"KWhCH2", Kwh, 1},
    {"KWhAux1", Kwh, 2},
    {"KWhAux2", Kwh, 3},
    {"KWhAux3", Kwh, 4},
    {"KWhAux4", Kwh, 5},
    {"KWhAux5", Kwh, 6},
    {"DevSN", Serial},
    {"Time", Time},
};

constexpr ValueField kGetLayout1Fields[] = {
    {"v", Volt},
    {"sec", Seconds},
    {"c1w", Watts, 0},
    {"c2w", Watts, 1},
    {"wsa1", WattSeconds, 0},
    {"wsa2", WattSeconds, 1},
    {"wsap1", WattSecondsPolarized, 0},
    {"wsap2", WattSecondsPolarized, 1},
    {"A1w", Watts, 2},
    {"A2w", Watts, 3},
    {"A3w", Watts, 4},
    {"A4w", Watts, 5},
    {"A5w", Watts, 6},
    {"A1ws", WattSeconds, 2},
    {"A2ws", WattSeconds, 3},
    {"A3ws", WattSeconds, 4},
    {"A4ws", WattSeconds, 5},
    {"A5ws", WattSeconds, 6},
    {"dev", Serial},
    {"id", Slot},
    {"Resp", Zero},
};

constexpr ValueField kGetLayout2Fields[] = {
    {"volt", Volt},      {"sn", Serial},      {"ch1w", Watts, 0},  {"ch2w", Watts, 1},
    {"aux1w", Watts, 2}, {"aux2w", Watts, 3}, {"aux3w", Watts, 4}, {"aux4w", Watts, 5},
    {"aux5w", Watts, 6}, {"ch1akwh", Kwh, 0}, {"ch2akwh", Kwh, 1}, {"aux1kwh", Kwh, 2},
    {"aux2kwh", Kwh, 3}, {"aux3kwh", Kwh, 4}, {"aux4kwh", Kwh, 5}, {"aux5kwh", Kwh, 6},
};

std::string ValueText(const ValueField& field, const DeviceReadings& readings, const LocalTime& time) {
    const ChannelReadings& channel = readings.channels[field.channel];
    switch (field.value) {
        case Watts:
            return std::to_string(channel.absolute.lastWatts.value_or(0));
        case WattsPolarized:
            return std::to_string(channel.polarized.lastWatts.value_or(0));
        case Kwh:
            return ShortestText(channel.absolute.Kwh());
        case WattSeconds:
            return ShortestText(channel.absolute.current);
        case WattSecondsPolarized:
            return ShortestText(channel.polarized.current);
        case Amps:
            return ShortestText(channel.amps);
        case Volt:
            return ShortestText(readings.volt);
        case Seconds:
            return std::to_string(readings.seconds.value_or(0));
        case Serial:
            return readings.serial;
        case Slot:
            return std::to_string(readings.slot);
        case Time:
            return ClockText(time);
        case Zero:
            break;
    }
    return "0";
}

}  // namespace

constinit const std::span<const ValueField> kTextLine = kTextLineFields;
constinit const std::span<const ValueField> kNetMeteringTextLine = kNetMeteringFields;
constinit const std::span<const ValueField> kGetLayout1 = kGetLayout1Fields;
constinit const std::span<const ValueField> kGetLayout2 = kGetLayout2Fields;

std::string FieldsText(std::span<const ValueField> fields, const DeviceReadings& readings,
                       const LocalTime& time) {
    std::string text;
    for (const ValueField& field : fields) {
        if (!text.empty()) text += '&';
        text += field.name;
        text += '=';
        text += ValueText(field, readings, time);
    }
    return text;
}

}  // namespace corvane
