#include "link/packet_watch.h"

#include <utility>

#include "base/clock.h"
#include "base/status_board.h"
#include "link/framer.h"
#include "link/monitor_link.h"
#include "store/error_log.h"

namespace corvane {

using namespace Qt::StringLiterals;

PacketWatch::PacketWatch(const MonitorLink& link, const Framer& framer, StatusBoard& board,
                         ErrorLog& errorLog, Clock& clock)
    : link_(link), framer_(framer), board_(board), errorLog_(errorLog), clock_(clock) {
    connect(&clock, &Clock::SecondPassed, this, &PacketWatch::OnSecond);
}

void PacketWatch::Begin() {
    packets_ = framer_.GoodPackets(link_.Stream());
    firstByte_.reset();
    due_ = false;
    told_ = false;
}

void PacketWatch::NoteBytes() {
    lastByte_ = clock_.Monotonic();
    if (!firstByte_.has_value()) firstByte_ = lastByte_;
}

bool PacketWatch::Heard() const {
    return framer_.GoodPackets(link_.Stream()) != packets_;
}

void PacketWatch::OnSecond() {
    if (told_ || !firstByte_.has_value() || lastByte_ - *firstByte_ < kPatience || Heard()) return;
    // One second more: these may be the first bytes of a packet.
    if (!std::exchange(due_, true)) return;
    told_ = true;
    board_.AddLine(u"     %1: %2"_s.arg(link_.Name(), Text()));
    errorLog_.LogError(0, Text(), link_.Name());
}

QString PacketWatch::Text() const {
    return u"Bytes come, but no packet: likely the baud rate%1 is not that of the monitor, or its packets "
           "have another format."_s.arg(link_.IsSerial() ? u""_s : u" of the gateway"_s);
}

QString PacketWatch::Notice() const {
    return told_ && !Heard() ? Text() : QString();
}

}  // namespace corvane
