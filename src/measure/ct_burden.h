// The burden resistor of a current transformer.
#pragma once

namespace corvane {

/// Transformers of one kind, joined in parallel, that feed one burden resistor.
struct CurrentTransformers {
    double primaryAmps = 100;  ///< of each, at full load
    double turnsRatio = 2000;  ///< primary current by secondary current
    int parallel = 1;          ///< how many
};

/// What a resistor comes to at full load.
struct Burden {
    double ohms = 0;
    double volts = 0;
    double watts = 0;
};

/// Amps through the burden at full load: the secondary currents of all.
[[nodiscard]] double BurdenAmps(const CurrentTransformers& transformers);

/// The resistor that gives `volts` at full load. All inputs are above 0.
[[nodiscard]] Burden BurdenFor(const CurrentTransformers& transformers, double volts);

/// The same for a given resistor.
[[nodiscard]] Burden BurdenOf(const CurrentTransformers& transformers, double ohms);

/// The value nearest to `ohms` (above 0), by ratio, in the series of preferred numbers E24 or E96 of IEC
/// 60063.
[[nodiscard]] double NearestE24(double ohms);
[[nodiscard]] double NearestE96(double ohms);

}  // namespace corvane
