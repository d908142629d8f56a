// What comes in right now: a card for each device in use.
#pragma once

#include <vector>

#include "store/channel_labels.h"
#include "window/live/live_parts.h"
#include "window/live/recent_power.h"
#include "window/page.h"

class QGridLayout;
class QLabel;

namespace corvane {

class DeviceCard;
class Framer;
class TcpLink;

/// Looks at the packets from its building on, and must live as long as any are handled.
class LivePage final : public Page {
    Q_OBJECT

public:
    LivePage(const LiveParts& parts, const Framer& framer, const TcpLink& tcpA, const TcpLink& tcpB);

    void Refresh() override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void BuildEmptyState();
    void ShowEmptyState();
    void SetCards(int count);
    void Arrange();

    const LiveParts parts_;
    const Framer& framer_;
    const TcpLink& tcpA_;
    const TcpLink& tcpB_;
    RecentPower recent_;
    std::map<int, ChannelLabels> labels_;  ///< as they were last read
    QWidget* empty_;
    QLabel* steps_;
    QLabel* strangers_;
    QWidget* cardArea_;
    QGridLayout* grid_;
    int columns_ = 0;
    std::vector<DeviceCard*> cards_;  ///< of slot 1 and up
};

}  // namespace corvane
