#include "ratios.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace corvane {
namespace {

struct RatioAim {
    std::string measured;
    std::string limit;
    double aim;
};

struct RateAim {
    std::string measured;
    double aim;
};

std::vector<RatioAim>& RatioAims() {
    static std::vector<RatioAim> aims;
    return aims;
}

std::vector<RateAim>& RateAims() {
    static std::vector<RateAim> aims;
    return aims;
}

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// Prints the usual table, and keeps what each repetition of a benchmark gave.
class AimReporter final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            times_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
            const auto items = run.counters.find("items_per_second");
            if (items != run.counters.end())
                rates_[run.run_name.function_name].push_back(items->second.value);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintAims() const {
        std::puts("");
        for (const RatioAim& aim : RatioAims()) {
            const auto measured = times_.find(aim.measured);
            const auto limit = times_.find(aim.limit);
            if (measured == times_.end() || limit == times_.end()) continue;
            const double ratio = Median(measured->second) / Median(limit->second);
            std::printf("%s takes %.3f times %s (aim: at most %.2f)%s\n", aim.measured.c_str(), ratio,
                        aim.limit.c_str(), aim.aim, ratio <= aim.aim ? "" : "  MISSED");
        }
        for (const RateAim& aim : RateAims()) {
            const auto measured = rates_.find(aim.measured);
            if (measured == rates_.end()) continue;
            const double rate = Median(measured->second);
            std::printf("%s does %.0f a second (aim: at least %.0f)%s\n", aim.measured.c_str(), rate, aim.aim,
                        rate >= aim.aim ? "" : "  MISSED");
        }
    }

private:
    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, std::vector<double>> rates_;
};

}  // namespace

Ratio::Ratio(std::string measured, std::string limit, double aim) {
    RatioAims().push_back({std::move(measured), std::move(limit), aim});
}

Rate::Rate(std::string measured, double aim) {
    RateAims().push_back({std::move(measured), aim});
}

}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    corvane::AimReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintAims();
    return 0;
}
