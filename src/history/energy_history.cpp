#include "history/energy_history.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace corvane {

namespace {

/// What a meter counted from one reading to the next.
double StepOf(double before, double now, WallTime seconds, bool mayFall) {
    if (std::isnan(before)) return 0;
    const double step = now - before;
    if (step < 0 && !mayFall) return 0;
    const double hours = static_cast<double>(std::max<WallTime>(seconds, 60)) / kWallHour;
    return std::abs(step) > EnergyHistory::kHighestKilowatts * hours ? 0 : step;
}

int HourOfDay(WallTime time) {
    return static_cast<int>((time - StartOf(CalendarUnit::Day, time)) / kWallHour);
}

/// The mean price of the time from `from` to `to`.
double MeanPrice(const Tariff& tariff, WallTime from, WallTime to) {
    double sum = 0;
    for (WallTime hour = StartOf(CalendarUnit::Hour, from); hour < to; hour += kWallHour) {
        const WallTime part = std::min(hour + kWallHour, to) - std::max(hour, from);
        sum += tariff.PriceAt(HourOfDay(hour)) * static_cast<double>(part);
    }
    return sum / static_cast<double>(to - from);
}

void AddTo(EnergyBar& bar, const ChannelEnergies& kwh, double price, WallTime covered) {
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        bar.kwh[channel] += kwh[channel];
        bar.cost[channel] += kwh[channel] * price;
    }
    bar.covered = std::min(bar.covered + covered, bar.to - bar.from);  // a clock set back has times twice
}

}  // namespace

double Tariff::PriceAt(int hour) const {
    // The band of the morning's first hours is that which began last the day before.
    const auto hoursSince = [this, hour](std::size_t band) { return (hour - begins[band] + 24) % 24; };
    std::size_t now = 0;
    for (std::size_t band = 1; band < prices.size(); ++band)
        if (hoursSince(band) < hoursSince(now)) now = band;
    return prices[now];
}

std::optional<int> FullHour(std::string_view text) {
    int hour = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), hour);
    const std::string_view rest(end, static_cast<std::size_t>(text.data() + text.size() - end));
    const bool full = rest.empty() || rest == ":00" || rest == ":00:00";
    if (error != std::errc() || !full || hour < 0 || hour > 23) return std::nullopt;
    return hour;
}

void EnergyHistory::AddTo(WallTime hour, const ChannelEnergies& kwh, double share, WallTime covered) {
    Step& step = !hours_.empty() && hours_.rbegin()->first == hour ? hours_.rbegin()->second : hours_[hour];
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        step.kwh[channel] += kwh[channel] * share;
    step.covered = std::min(step.covered + covered, kWallHour);
}

void EnergyHistory::Add(WallTime time, const ChannelEnergies& readings, bool signedCh1) {
    ChannelEnergies now = readings;
    if (!lastTime_) {
        last_ = now;
        lastTime_ = time;
        return;
    }
    const WallTime before = *lastTime_;
    ChannelEnergies kwh{};
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const bool mayFall = signedCh1 && channel == 0;
        if (std::isnan(now[channel]) || (now[channel] == 0 && last_[channel] > 0 && !mayFall))
            now[channel] = last_[channel];
        kwh[channel] = StepOf(last_[channel], now[channel], time - before, mayFall);
    }
    last_ = now;
    lastTime_ = time;

    const WallTime hour = StartOf(CalendarUnit::Hour, time);
    const WallTime hourBefore = StartOf(CalendarUnit::Hour, before);
    if (time <= before || hour == hourBefore) {  // a clock that was set back makes no time
        AddTo(hour, kwh, 1, std::max<WallTime>(time - before, 0));
    } else if (time - before > kGap) {
        gaps_.push_back({before, time, kwh});
    } else {
        for (WallTime part = hourBefore; part <= hour; part += kWallHour) {
            const WallTime seconds = std::min(part + kWallHour, time) - std::max(part, before);
            if (seconds > 0)
                AddTo(part, kwh, static_cast<double>(seconds) / static_cast<double>(time - before), seconds);
        }
    }
}

EnergyBars EnergyHistory::Bars(CalendarUnit unit, WallTime from, WallTime to, const Tariff& tariff) const {
    EnergyBars result;
    std::map<WallTime, EnergyBar> bars;
    const auto barAt = [&bars, unit](WallTime time) -> EnergyBar& {
        if (!bars.empty() && bars.rbegin()->second.to > time && bars.rbegin()->first <= time)
            return bars.rbegin()->second;
        const WallTime start = StartOf(unit, time);
        EnergyBar& bar = bars[start];
        bar.from = start;
        bar.to = NextStart(unit, start);
        return bar;
    };
    const WallTime begin = StartOf(unit, from);
    const WallTime end = NextStart(unit, to - 1);
    for (auto hour = hours_.lower_bound(begin); hour != hours_.end() && hour->first < end; ++hour)
        corvane::AddTo(barAt(hour->first), hour->second.kwh, tariff.PriceAt(HourOfDay(hour->first)),
                       hour->second.covered);
    for (const Gap& gap : gaps_) {
        if (gap.to <= begin || gap.from >= end) continue;
        if (NextStart(unit, gap.from) >= gap.to) {
            corvane::AddTo(barAt(gap.from), gap.kwh, MeanPrice(tariff, gap.from, gap.to), gap.to - gap.from);
            continue;
        }
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            result.between[channel] += gap.kwh[channel];
    }
    result.bars.reserve(bars.size());
    for (const auto& [start, bar] : bars)
        result.bars.push_back(bar);
    return result;
}

}  // namespace corvane
