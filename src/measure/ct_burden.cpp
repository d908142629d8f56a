#include "measure/ct_burden.h"

#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace corvane {

namespace {

/// E24 differs from the rounded powers in some values, so it is a list.
constexpr double kE24[] = {1.0, 1.1, 1.2, 1.3, 1.5, 1.6, 1.8, 2.0, 2.2, 2.4, 2.7, 3.0,
                           3.3, 3.6, 3.9, 4.3, 4.7, 5.1, 5.6, 6.2, 6.8, 7.5, 8.2, 9.1};

/// The powers of the 96th root of 10, to three digits.
std::vector<double> E96() {
    std::vector<double> values;
    values.reserve(96);
    for (int i = 0; i < 96; ++i)
        values.push_back(std::round(std::pow(10, i / 96.0) * 100) / 100);
    return values;
}

double Nearest(std::span<const double> decade, double ohms) {
    const double scale = std::pow(10, std::floor(std::log10(ohms)));
    double nearest = decade.front() * scale * 10;  // the first of the next decade
    for (const double value : decade) {
        const double candidate = value * scale;
        if (std::abs(std::log(candidate / ohms)) < std::abs(std::log(nearest / ohms))) nearest = candidate;
    }
    return nearest;
}

}  // namespace

double BurdenAmps(const CurrentTransformers& transformers) {
    return transformers.parallel * transformers.primaryAmps / transformers.turnsRatio;
}

Burden BurdenFor(const CurrentTransformers& transformers, double volts) {
    return BurdenOf(transformers, volts / BurdenAmps(transformers));
}

Burden BurdenOf(const CurrentTransformers& transformers, double ohms) {
    const double amps = BurdenAmps(transformers);
    return {.ohms = ohms, .volts = amps * ohms, .watts = amps * amps * ohms};
}

double NearestE24(double ohms) {
    return Nearest(kE24, ohms);
}

double NearestE96(double ohms) {
    static const std::vector<double> kValues = E96();
    return Nearest(kValues, ohms);
}

}  // namespace corvane
