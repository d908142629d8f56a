// A link whose far end is in the same program: what is sent is noted with its time, and reaches a simulated
// monitor where one is at the other end.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "link/framer.h"
#include "link/monitor_link.h"
#include "sim/line.h"

namespace corvane {

class WiredLink final : public MonitorLink, public Line {
    Q_OBJECT

public:
    using Sent = std::vector<std::pair<std::int64_t, QByteArray>>;  ///< ms and text

    WiredLink(Framer& framer, int stream, const Clock& clock) : MonitorLink(framer, stream), clock_(clock) {}

    // The end of the program under test.
    [[nodiscard]] QChar Letter() const override { return QChar(u'A' + Stream()); }
    [[nodiscard]] LinkStatus Status() const override { return {}; }
    [[nodiscard]] bool IsSerial() const override { return Stream() % 2 == 1 || Stream() == kStreamSerialC; }
    [[nodiscard]] bool ConnectsOut() const override { return connectsOut; }
    bool SendText(QByteArrayView text) override {
        if (!open) return false;
        sent.emplace_back(clock_.Monotonic(), text.toByteArray());
        Received({reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::size_t>(text.size())});
        return true;
    }

    void SetReading(bool) override {}  // no framer here holds its sources

    // The end of the monitor.
    [[nodiscard]] LineState State() override { return LineState::Ready; }
    [[nodiscard]] std::int64_t Unsent() override { return 0; }
    void Send(std::span<const std::uint8_t> bytes) override {
        const QByteArrayView chunk(reinterpret_cast<const char*>(bytes.data()),
                                   static_cast<qsizetype>(bytes.size()));
        if (ReplyCapture()) {
            Q_EMIT ReplyArrived(chunk);
        } else if (!framer_.PacketHold(Stream())) {
            Frame(chunk);
        }
    }

    void ConnectAnew() { CountConnection(); }

    bool open = true;
    bool connectsOut = false;
    Sent sent;

private:
    const Clock& clock_;
};

}  // namespace corvane
