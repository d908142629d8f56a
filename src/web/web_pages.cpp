#include "web/web_pages.h"

#include <QResource>

#include "base/channels.h"
#include "link/device_slots.h"
#include "measure/pulse_counters.h"
#include "store/schema.h"

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
    bool offersChoices = false;  ///< of devices and channels
};

constexpr Page kPages[] = {
    {"/", "index.html", kHtml},
    {"/net.html", "net.html", kHtml},
    {.path = "/charts.html", .file = "charts.html", .type = kHtml, .offersChoices = true},
    {"/ledger.html", "ledger.html", kHtml},
    {"/style.css", "style.css", "text/css; charset=utf-8"},
    {"/gauges.js", "gauges.js", kScript},
    {"/live.js", "live.js", kScript},
    {"/dashboard.js", "dashboard.js", kScript},
    {"/net.js", "net.js", kScript},
    {"/flow.js", "flow.js", kScript},
    {"/charts.js", "charts.js", kScript},
    {"/ledger.js", "ledger.js", kScript},
    {"/chart.js", "chart.js", kScript, true},
    {"/icon.svg", "icon.svg", "image/svg+xml"},
};

/// Refers to the bytes within the program.
QByteArray BytesOf(const char* file) {
    const QResource resource(u":/web/"_s + QLatin1StringView(file));
    return QByteArray::fromRawData(reinterpret_cast<const char*>(resource.data()), resource.size());
}

QByteArray Option(const QByteArray& value, const QByteArray& text) {
    return "<option value=\"" + value + "\">" + text + "</option>";
}

QByteArray WithChoices(QByteArray page) {
    QByteArray devices;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const QByteArray letter = SlotLetter(slot).toLatin1();
        devices += Option(letter, "Device " + letter);
    }
    devices += Option(kVirtualDevice, "Sums");
    QByteArray channels;
    for (const Channel& channel : kChannelTable)
        channels += Option(channel.name, channel.name);
    return page.replace("{{devices}}", devices).replace("{{channels}}", channels);
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
        const QByteArray bytes = BytesOf(page.file);
        return WebReply{.type = page.type,
                        .body = page.offersChoices ? WithChoices(bytes) : bytes,
                        .lasting = page.lasting};
    }
    for (const FlowUnit& unit : FlowUnits()) {
        if (unit.page == path) return WebReply{.type = kHtml, .body = FlowPage(unit)};
    }
    return std::nullopt;
}

}  // namespace corvane
