#include "store/power_history.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace corvane {

namespace {

constexpr double kBreak = std::numeric_limits<double>::quiet_NaN();

template <typename Value>
void Permute(std::vector<Value>& values, const std::vector<std::size_t>& order) {
    std::vector<Value> sorted;
    sorted.reserve(values.size());
    for (const std::size_t index : order)
        sorted.push_back(values[index]);
    values.swap(sorted);
}

/// Puts the line together, a column after the other.
class TraceLine {
public:
    TraceLine(const std::vector<WallTime>& times, const std::vector<float>& watts, std::size_t expected)
        : times_(times), watts_(watts) {
        points_.reserve(expected);
    }

    /// Adds the records `first` up to and without `last`, which share a column.
    void AddColumn(std::size_t first, std::size_t last) {
        std::size_t low = last;
        std::size_t high = last;
        for (std::size_t i = first; i < last; ++i) {
            if (std::isnan(watts_[i])) continue;
            if (low == last) {
                BreakUnlessNear(i);
                low = high = i;
            }
            if (watts_[i] < watts_[low]) low = i;
            if (watts_[i] > watts_[high]) high = i;
            newest_ = times_[i];
        }
        if (low == last) return;
        Add(std::min(low, high));
        if (low != high) Add(std::max(low, high));
    }

    [[nodiscard]] std::vector<TracePoint> Take() {
        CloseRun();
        return std::move(points_);
    }

private:
    void Add(std::size_t i) {
        points_.push_back({static_cast<double>(times_[i]), static_cast<double>(watts_[i])});
        ++run_;
    }

    void BreakUnlessNear(std::size_t next) {
        if (run_ == 0 || times_[next] - newest_ <= kPowerGap) return;
        CloseRun();
        points_.push_back({static_cast<double>(newest_), kBreak});
    }

    void CloseRun() {
        if (run_ == 1) points_.push_back(points_.back());
        run_ = 0;
    }

    const std::vector<WallTime>& times_;
    const std::vector<float>& watts_;
    std::vector<TracePoint> points_;
    WallTime newest_ = 0;  ///< of the records that were added
    int run_ = 0;          ///< points since the last break
};

}  // namespace

void PowerHistory::Add(WallTime time, const std::array<float, kHistoryChannels>& values) {
    if (!times.empty() && times.back() == time) return;
    times.push_back(time);
    for (std::size_t channel = 0; channel < kHistoryChannels; ++channel)
        watts[channel].push_back(values[channel]);
}

void PowerHistory::Sort() {
    if (std::ranges::is_sorted(times)) return;
    std::vector<std::size_t> order(times.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [this](std::size_t index) { return times[index]; });
    Permute(times, order);
    for (auto& values : watts)
        Permute(values, order);
}

std::ptrdiff_t PowerHistory::Nearest(WallTime time) const {
    const auto after = std::ranges::lower_bound(times, time);
    auto nearest = after;
    if (after == times.end() || (after != times.begin() && time - after[-1] < *after - time)) {
        if (after == times.begin()) return -1;
        nearest = after - 1;
    }
    return std::abs(*nearest - time) <= kPowerGap ? nearest - times.begin() : -1;
}

std::vector<TracePoint> TraceOf(const PowerHistory& history, std::size_t channel, WallTime from, WallTime to,
                                int columns) {
    const auto& times = history.times;
    if (times.empty() || columns < 1 || to <= from) return {};
    auto first = std::ranges::lower_bound(times, from);
    auto last = std::ranges::upper_bound(times, to);
    if (first != times.begin()) --first;
    if (last != times.end()) ++last;
    auto i = static_cast<std::size_t>(first - times.begin());
    const auto end = static_cast<std::size_t>(last - times.begin());

    TraceLine line(times, history.watts[channel],
                   std::min(end - i + 2, 3 * static_cast<std::size_t>(columns) + 4));
    const double width = static_cast<double>(to - from) / columns;
    while (i < end) {
        const double column = std::floor(static_cast<double>(times[i] - from) / width);
        const double columnEnd = static_cast<double>(from) + (column + 1) * width;
        const std::size_t begin = i;
        do
            ++i;
        while (i < end && static_cast<double>(times[i]) < columnEnd);
        line.AddColumn(begin, i);
    }
    return line.Take();
}

}  // namespace corvane
