#include "base/metrics_writer.h"

#include <array>
#include <cstddef>
#include <utility>

#include "base/number_format.h"

namespace corvane {

namespace {

using Kind = MetricsFamily::Kind;

const char* SuffixOf(Kind kind) {
    return kind == Kind::Counter ? "_total" : kind == Kind::Info ? "_info" : "";
}

/// The older format knows no infos.
const char* TypeOf(Kind kind, MetricsFormat format) {
    switch (kind) {
        case Kind::Counter:
            return "counter";
        case Kind::Histogram:
            return "histogram";
        case Kind::Info:
            if (format == MetricsFormat::OpenMetrics) return "info";
            break;
        case Kind::Gauge:
            break;
    }
    return "gauge";
}

void AppendEscaped(std::string& text, std::string_view value) {
    for (const char c : value) {
        if (c == '\n') {
            text += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
}

/// As both formats want the bounds of histograms: "0.5", "1.0".
std::string BoundText(double bound) {
    std::string text = ShortestText(bound);
    if (text.find('.') == std::string::npos) text += ".0";
    return text;
}

}  // namespace

void MetricsWriter::AddLine(std::string_view suffix, std::span<const Label> labels,
                            const std::string& value) {
    if (!std::exchange(headed_, true)) {
        // The newer format names the family here, the older one what its lines begin with.
        std::string name = family_->name;
        if (format_ == MetricsFormat::Prometheus) name += SuffixOf(family_->kind);
        text_.append("# HELP ").append(name).append(" ").append(family_->help).append("\n");
        text_.append("# TYPE ").append(name).append(" ").append(TypeOf(family_->kind, format_)).append("\n");
        if (format_ == MetricsFormat::OpenMetrics && *family_->unit != '\0')
            text_.append("# UNIT ").append(name).append(" ").append(family_->unit).append("\n");
    }
    text_.append(family_->name).append(suffix);
    char before = '{';
    for (const Label& label : labels) {
        text_ += before;
        text_.append(label.name).append("=\"");
        AppendEscaped(text_, label.value);
        text_ += '"';
        before = ',';
    }
    if (!labels.empty()) text_ += '}';
    text_.append(" ").append(value).append("\n");
}

void MetricsWriter::Add(Labels labels, double value) {
    AddLine(SuffixOf(family_->kind), {labels.begin(), labels.size()}, ShortestText(value));
}

void MetricsWriter::AddHistogram(std::span<const double> bounds, std::span<const std::uint64_t> counts,
                                 double sum) {
    std::uint64_t reached = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        reached += counts[i];
        const std::string bound = i < bounds.size() ? BoundText(bounds[i]) : "+Inf";
        AddLine("_bucket", std::array{Label{"le", bound}}, std::to_string(reached));
    }
    AddLine("_sum", {}, ShortestText(sum));
    AddLine("_count", {}, std::to_string(reached));
}

std::string MetricsWriter::Take() {
    if (format_ == MetricsFormat::OpenMetrics) text_ += "# EOF\n";
    return std::exchange(text_, {});
}

}  // namespace corvane
