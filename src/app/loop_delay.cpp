#include "app/loop_delay.h"

#include <algorithm>

namespace corvane {

namespace {

constexpr int kEvery = 1000;  // ms

}  // namespace

LoopDelay::LoopDelay() {
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
        constexpr double kNanoseconds = 1e9;
        const double late = static_cast<double>(since_.nsecsElapsed()) / kNanoseconds - kEvery / 1000.0;
        Note(std::max(late, 0.0));
        since_.restart();
    });
    since_.start();
    timer_.start(kEvery);
}

void LoopDelay::Note(double seconds) {
    const auto bound = std::ranges::lower_bound(kBounds, seconds);
    ++counts_[static_cast<std::size_t>(bound - kBounds.begin())];
    sum_ += seconds;
}

}  // namespace corvane
