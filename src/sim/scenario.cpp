#include "sim/scenario.h"

#include <algorithm>

namespace corvane {
namespace {

constexpr std::int32_t kSecondsPerDay = 24 * 3600;

/// A house whose main panel carries all loads, less what is generated.
constexpr ChannelWatts House(std::int32_t otherLoads, std::int32_t generated,
                             std::array<std::int32_t, kChannels - kMainChannels> loads) {
    ChannelWatts watts{};
    watts[kMainPanel] = otherLoads - generated;
    watts[kGenerator] = generated;
    for (std::size_t i = 0; i < loads.size(); ++i) {
        watts[kMainPanel] += loads[i];
        watts[kMainChannels + i] = loads[i];
    }
    return watts;
}

constexpr std::array<ChannelWatts, 1> kSteady = {{{3000, 1200, 500, 400, 300, 200, 100}}};

// Both main channels run backwards, so that their polarized counters count too and can wrap.
constexpr std::array<ChannelWatts, 1> kBackwards = {{{-3000, -1200, 900, 700, 500, 300, 150}}};

// One row an hour from midnight: other loads, inverter, then refrigerator, water heater, air conditioning,
// laundry and kitchen. At night the inverter draws a little itself.
constexpr std::array<ChannelWatts, 24> kSolarDay = {{
    House(180, -6, {110, 60, 0, 0, 0}),          House(170, -6, {90, 60, 0, 0, 0}),
    House(160, -6, {120, 60, 0, 0, 0}),          House(160, -6, {90, 60, 0, 0, 0}),
    House(170, -6, {110, 80, 0, 0, 0}),          House(220, -6, {90, 900, 0, 0, 60}),
    House(420, 120, {120, 1800, 0, 0, 700}),     House(480, 620, {130, 1500, 0, 0, 900}),
    House(360, 1500, {120, 500, 0, 400, 150}),   House(300, 2600, {110, 120, 0, 900, 60}),
    House(290, 3600, {120, 80, 200, 500, 50}),   House(300, 4400, {130, 80, 500, 0, 120}),
    House(320, 4800, {140, 100, 800, 0, 450}),   House(310, 4700, {140, 80, 1100, 0, 80}),
    House(300, 4200, {150, 60, 1300, 0, 40}),    House(310, 3400, {150, 60, 1400, 0, 40}),
    House(360, 2400, {140, 90, 1300, 600, 90}),  House(450, 1300, {150, 300, 1000, 900, 1200}),
    House(560, 450, {150, 700, 700, 200, 1800}), House(640, 40, {140, 1100, 400, 0, 700}),
    House(620, -6, {130, 1200, 150, 0, 200}),    House(540, -6, {120, 800, 0, 0, 90}),
    House(380, -6, {110, 300, 0, 0, 30}),        House(240, -6, {100, 80, 0, 0, 0}),
}};

// Two flats, a row each two hours.
constexpr std::array<ChannelWatts, 12> kFlats = {{
    {180, 120},
    {150, 110},
    {160, 120},
    {900, 300},
    {1400, 1100},
    {600, 500},
    {900, 400},
    {500, 350},
    {700, 900},
    {2100, 1600},
    {1300, 1900},
    {500, 400},
}};

// A workshop by day: all of it, lathe, light, compressor, saw, heating and fan. A row each two hours.
constexpr std::array<ChannelWatts, 12> kWorkshop = {{
    {170, 0, 0, 0, 0, 120, 0},
    {170, 0, 0, 0, 0, 120, 0},
    {320, 0, 0, 0, 0, 270, 0},
    {900, 0, 200, 0, 0, 600, 50},
    {3400, 900, 400, 800, 500, 500, 200},
    {4200, 1400, 400, 1000, 700, 300, 250},
    {900, 0, 300, 100, 0, 300, 100},
    {3900, 1200, 400, 1100, 600, 200, 250},
    {2600, 700, 400, 700, 300, 200, 200},
    {600, 0, 150, 100, 0, 250, 50},
    {250, 0, 0, 0, 0, 200, 0},
    {170, 0, 0, 0, 0, 120, 0},
}};

constexpr std::array<Scenario, 7> kScenarios = {{
    {.name = "steady", .summary = "the same power all the time", .day = kSteady},
    {.name = "solar-day",
     .summary = "a household with a solar inverter through 24 hours",
     .day = kSolarDay,
     .unrest = 50},
    {.name = "flats", .summary = "two flats through 24 hours", .day = kFlats, .unrest = 150},
    {.name = "workshop", .summary = "a workshop through 24 hours", .day = kWorkshop, .unrest = 100},
    {.name = "wrap",
     .summary = "every counter passes its top within the first packets",
     .day = kBackwards,
     .counters = CounterStart::BelowTop},
    {.name = "noise",
     .summary = "steady power over a line that disturbs and cuts packets",
     .day = kSteady,
     .lineNoise = true},
    {.name = "restart",
     .summary = "steady power; the monitor restarts after ten packets",
     .day = kSteady,
     .restartAfter = 10},
}};

}  // namespace

std::span<const Scenario> Scenarios() {
    return kScenarios;
}

const Scenario* FindScenario(std::string_view name) {
    const auto found = std::find_if(kScenarios.begin(), kScenarios.end(),
                                    [name](const Scenario& scenario) { return scenario.name == name; });
    return found == kScenarios.end() ? nullptr : &*found;
}

ChannelWatts WattsAt(const Scenario& scenario, std::int32_t secondOfDay) {
    const auto rows = static_cast<std::int32_t>(scenario.day.size());
    const std::int32_t rowSeconds = kSecondsPerDay / rows;
    const std::int32_t row = secondOfDay / rowSeconds;
    const ChannelWatts& from = scenario.day[static_cast<std::size_t>(row)];
    const ChannelWatts& to = scenario.day[static_cast<std::size_t>((row + 1) % rows)];
    ChannelWatts watts{};
    for (std::size_t i = 0; i < kChannels; ++i)
        watts[i] = from[i] + (to[i] - from[i]) * (secondOfDay % rowSeconds) / rowSeconds;
    return watts;
}

}  // namespace corvane
