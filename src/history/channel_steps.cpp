#include "history/channel_steps.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/channels.h"
#include "history/device_records.h"
#include "history/history_reader.h"

namespace corvane {

namespace {

/// The start of the step that holds `time`.
WallTime StepStart(const ChannelSteps& steps, WallTime time) {
    return steps.powerStep > 0 ? time / steps.powerStep * steps.powerStep : StartOf(steps.energyStep, time);
}

WallTime NextStep(const ChannelSteps& steps, WallTime start) {
    return steps.powerStep > 0 ? start + steps.powerStep : NextStart(steps.energyStep, start);
}

std::string ReadPower(const CaptureDatabase::Connection& database, const ChannelSteps& steps,
                      const RecordSpan& span, std::vector<StepValue>& values) {
    std::vector<int> counts(values.size());
    const std::string column = ChannelColumn(steps.channel, "watt");
    std::string error = WalkMinuteRecords(database, span, column, {}, [&](const DeviceRecord& record) {
        const double watts = record.row.Number(DeviceRecord::kFirstValue);
        if (std::isnan(watts)) return;
        const auto step = static_cast<std::size_t>((record.time - span.from) / steps.powerStep);
        values[step].value = values[step].value.value_or(0) + watts;
        ++counts[step];
    });
    for (std::size_t step = 0; step < values.size(); ++step)
        if (counts[step] > 0) *values[step].value /= counts[step];
    return error;
}

std::string ReadEnergy(SqlSession& session, const ChannelSteps& steps, const RecordSpan& span,
                       std::vector<StepValue>& values) {
    const auto history =
        std::make_shared<DeviceHistory>(DeviceHistory{.address = span.address,
                                                      .from = span.from - EnergyHistory::kGap,
                                                      .to = span.to + EnergyHistory::kGap,
                                                      .detail = Detail::Hours});
    std::string error = ReadHistory(history)(session).errorText;
    for (const EnergyBar& bar : history->energy.Bars(steps.energyStep, span.from, span.to, {}).bars) {
        StepValue& step = *std::ranges::lower_bound(values, bar.from, {}, &StepValue::start);
        step.value = bar.kwh[steps.channel];
        step.partial = bar.covered < bar.to - bar.from;
    }
    return error;
}

}  // namespace

std::vector<WallTime> ChannelSteps::Bounds() const {
    std::vector<WallTime> bounds = {StepStart(*this, from)};
    while (bounds.back() < to)
        bounds.push_back(NextStep(*this, bounds.back()));
    return bounds;
}

SqlJob ReadSteps(ChannelSteps steps, std::shared_ptr<std::vector<StepValue>> values) {
    return [steps = std::move(steps), values = std::move(values)](SqlSession& session) {
        const std::vector<WallTime> bounds = steps.Bounds();
        const RecordSpan span{.address = steps.address, .from = bounds.front(), .to = bounds.back()};
        values->clear();
        for (std::size_t step = 0; step + 1 < bounds.size(); ++step)
            values->push_back({.start = bounds[step]});
        QueryResult result;
        result.errorText = steps.powerStep > 0 ? ReadPower(session.Database(), steps, span, *values)
                                               : ReadEnergy(session, steps, span, *values);
        return result;
    };
}

}  // namespace corvane
