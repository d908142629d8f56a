#include "link/monitor_link.h"

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
    std::ranges::stable_partition(links, [](const MonitorLink* link) { return !link->IsSerial(); });
    return links;
}

QString StatusLine(const MonitorLink& link) {
    const LinkStatus status = link.Status();
    QString line = u"%1: %2"_s.arg(link.Name(), status.text);
    if (status.port != 0) line += u", port %1"_s.arg(status.port);
    if (!status.notice.isEmpty()) line += u", "_s + status.notice;
    return line;
}

}  // namespace corvane
