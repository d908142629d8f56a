#include "measure/heard_texts.h"

#include <QStringList>

#include <algorithm>

#include "link/device_texts.h"
#include "measure/measurement.h"

namespace corvane {

using namespace Qt::StringLiterals;

QString ModelName(const MonitorModel& model) {
    return QString::fromLatin1(model.name.data(), static_cast<qsizetype>(model.name.size()));
}

QString UnboundText(const UnboundMonitor& monitor) {
    return u"%1 (%2, %3, %4)"_s.arg(QString::fromStdString(monitor.serial), ModelName(*monitor.model),
                                    LinkName(monitor.stream),
                                    QString::fromStdString(ClockText(monitor.time)));
}

QString UnboundText(const std::vector<UnboundMonitor>& monitors) {
    constexpr std::size_t kMostNamed = 10;
    if (monitors.empty()) return {};
    const std::size_t named = std::min(monitors.size(), kMostNamed);
    QStringList names;
    for (std::size_t i = 0; i < named; ++i)
        names.append(UnboundText(monitors[i]));
    QString text = u"Heard, but bound to no device: %1"_s.arg(names.join(u", "_s));
    if (named < monitors.size()) text += u", and %1 more"_s.arg(monitors.size() - named);
    return text;
}

}  // namespace corvane
