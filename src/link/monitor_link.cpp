#include "link/monitor_link.h"

#include <algorithm>

#include "link/framer.h"

namespace corvane {

using namespace Qt::StringLiterals;

void MonitorLink::SetReplyCapture(bool capture) {
    if (capture && !replyCapture_) framer_.DropOpenPacket(stream_);
    replyCapture_ = capture;
}

void MonitorLink::Frame(QByteArrayView chunk) {
    for (const char c : chunk)
        framer_.ProcessByte(stream_, static_cast<std::uint8_t>(c));
}

MonitorLinks Listed(MonitorLinks links) {
    std::stable_partition(links.begin(), links.end(),
                          [](const MonitorLink* link) { return !link->IsSerial(); });
    return links;
}

QString StateText(const MonitorLink& link) {
    const LinkStatus status = link.Status();
    return status.port == 0 ? status.text : u"%1, port %2"_s.arg(status.text, QString::number(status.port));
}

QString StatusLine(const MonitorLink& link) {
    const QString line = u"%1: %2"_s.arg(link.Name(), StateText(link));
    const QString notice = link.Status().notice;
    return notice.isEmpty() ? line : line + u", "_s + notice;
}

}  // namespace corvane
