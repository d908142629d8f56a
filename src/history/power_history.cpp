#include "history/power_history.h"

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
    TraceLine(const std::vector<WallTime>& times, const std::vector<float>& watts)
        : times_(times), watts_(watts) {}

    /// Adds a point at `time` for the records `first` up to and without `last`.
    void Add(std::size_t first, std::size_t last, double time) {
        while (first < last && std::isnan(watts_[first]))
            ++first;
        while (first < last && std::isnan(watts_[last - 1]))
            --last;
        if (first == last) return;
        if (!points_.empty() && times_[first] - newest_ > kPowerGap)
            points_.push_back({static_cast<double>(newest_), kBreak, kBreak, kBreak});
        float lowest = watts_[first];
        float highest = watts_[first];
        double sum = 0;
        std::size_t known = 0;
        for (std::size_t i = first; i < last; ++i) {
            if (std::isnan(watts_[i])) continue;
            lowest = std::min(lowest, watts_[i]);
            highest = std::max(highest, watts_[i]);
            sum += static_cast<double>(watts_[i]);
            ++known;
        }
        newest_ = times_[last - 1];
        points_.push_back({time, static_cast<double>(lowest), static_cast<double>(highest),
                           sum / static_cast<double>(known)});
    }

    [[nodiscard]] std::vector<TracePoint> Take() { return std::move(points_); }

private:
    const std::vector<WallTime>& times_;
    const std::vector<float>& watts_;
    std::vector<TracePoint> points_;
    WallTime newest_ = 0;  ///< of the records of the last point
};

}  // namespace

void PowerHistory::Add(WallTime time, const std::array<float, kChannels>& values) {
    times.push_back(time);
    for (std::size_t channel = 0; channel < kChannels; ++channel)
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
    auto i = static_cast<std::size_t>(std::ranges::lower_bound(times, from) - times.begin());
    auto end = static_cast<std::size_t>(std::ranges::upper_bound(times, to) - times.begin());

    TraceLine line(times, history.watts[channel]);
    if (end - i <= static_cast<std::size_t>(columns)) {
        if (i > 0) --i;
        if (end < times.size()) ++end;
        for (; i < end; ++i)
            line.Add(i, i + 1, static_cast<double>(times[i]));
        return line.Take();
    }
    const double width = static_cast<double>(to - from) / columns;
    while (i < end) {
        const double column = std::floor(static_cast<double>(times[i] - from) / width);
        const double columnEnd = static_cast<double>(from) + (column + 1) * width;
        const std::size_t begin = i;
        do
            ++i;
        while (i < end && static_cast<double>(times[i]) < columnEnd);
        line.Add(begin, i, columnEnd - width / 2);
    }
    return line.Take();
}

}  // namespace corvane
