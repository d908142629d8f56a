// Metrics as text, for programs that fetch them over HTTP: the text format 0.0.4 of Prometheus, or
// OpenMetrics 1.0.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

enum class MetricsFormat : std::uint8_t { Prometheus, OpenMetrics };

/// What a family of metrics is. Names have no "_total" and no "_info": the writer puts them where they
/// belong.
struct MetricsFamily {
    enum class Kind : std::uint8_t { Counter, Gauge, Histogram, Info };

    const char* name;
    Kind kind;
    const char* unit;  ///< with which the name ends, such as "joules"; empty for a mere number
    const char* help;
};

class MetricsWriter {
public:
    struct Label {
        const char* name;
        std::string_view value;
    };
    using Labels = std::initializer_list<Label>;

    explicit MetricsWriter(MetricsFormat format) : format_(format) {}

    /// Begins a family; what is added next belongs to it. One to which nothing is added does not appear.
    void Begin(const MetricsFamily& family) {
        family_ = &family;
        headed_ = false;
    }

    void Add(Labels labels, double value);

    /// Of a histogram: `counts` of what was at most each of `bounds`, and beyond all of them; not summed up.
    void AddHistogram(std::span<const double> bounds, std::span<const std::uint64_t> counts, double sum);

    /// The text, which is whole then.
    [[nodiscard]] std::string Take();

private:
    void AddLine(std::string_view suffix, std::span<const Label> labels, const std::string& value);

    MetricsFormat format_;
    const MetricsFamily* family_ = nullptr;
    bool headed_ = false;
    std::string text_;
};

}  // namespace corvane
