#include "link/monitor_link.h"

#include "link/framer.h"

namespace corvane {

void MonitorLink::SetReplyCapture(bool capture) {
    if (capture && !replyCapture_) framer_.DropOpenPacket(stream_);
    replyCapture_ = capture;
}

void MonitorLink::Frame(QByteArrayView chunk) {
    for (const char c : chunk)
        framer_.ProcessByte(stream_, static_cast<std::uint8_t>(c));
}

}  // namespace corvane
