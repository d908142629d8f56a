#include "web/web_pages.h"

#include <QResource>

#include "measure/pulse_counters.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* kHtml = "text/html; charset=utf-8";
constexpr const char* kScript = "text/javascript; charset=utf-8";

struct Page {
    std::string_view path;
    const char* file;
    const char* type;
    bool lasting = false;
};

constexpr Page kPages[] = {
    {"/", "index.html", kHtml},
    {"/net.html", "net.html", kHtml},
    {"/charts.html", "charts.html", kHtml},
    {"/style.css", "style.css", "text/css; charset=utf-8"},
    {"/gauges.js", "gauges.js", kScript},
    {"/live.js", "live.js", kScript},
    {"/dashboard.js", "dashboard.js", kScript},
    {"/net.js", "net.js", kScript},
    {"/flow.js", "flow.js", kScript},
    {"/charts.js", "charts.js", kScript},
    {"/chart.js", "chart.js", kScript, true},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
};

/// Refers to the bytes within the program.
QByteArray BytesOf(const char* file) {
    const QResource resource(u":/web/"_s + QLatin1StringView(file));
    return QByteArray::fromRawData(reinterpret_cast<const char*>(resource.data()), resource.size());
}

QByteArray FlowPage(const FlowUnit& unit) {
    return QByteArray(BytesOf("flow.html"))
        .replace("{{rate}}", unit.rate)
        .replace("{{short}}", unit.shortRate);
}

}  // namespace

std::optional<WebReply> WebPage(std::string_view path) {
    for (const Page& page : kPages) {
        if (page.path != path) continue;
        return WebReply{.type = page.type, .body = BytesOf(page.file), .lasting = page.lasting};
    }
    for (const FlowUnit& unit : FlowUnits()) {
        if (unit.page == path) return WebReply{.type = kHtml, .body = FlowPage(unit)};
    }
    return std::nullopt;
}

}  // namespace corvane
