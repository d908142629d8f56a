// What one device tells right now: a card of the live page.
#pragma once

#include <QWidget>

#include "store/channel_labels.h"
#include "window/live/live_parts.h"

class QBoxLayout;
class QLabel;
class QTableView;

namespace corvane {

class ChannelModel;
class PowerTrace;
class RecentPower;

class DeviceCard final : public QWidget {
    Q_OBJECT

public:
    /// Of slot 1..6.
    DeviceCard(const LiveParts& parts, const RecentPower& recent, int slot);

    /// Shows what is so now.
    void Refresh(const ChannelLabels& labels);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void BuildHeader(QBoxLayout* card);
    void BuildTable();
    void FitTable();
    void WidenColumns();
    void ShowState();

    const LiveParts parts_;
    int slot_;
    QLabel* monitor_;
    QLabel* volt_;
    QLabel* state_;
    QLabel* lastPacket_;
    QWidget* body_;  ///< hidden until a packet came
    QBoxLayout* bodyLayout_;
    ChannelModel* channels_;
    QTableView* table_;
    PowerTrace* trace_;
};

}  // namespace corvane
