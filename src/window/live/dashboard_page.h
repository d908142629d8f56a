// Gauges for the wall: what the house takes, makes, gives away and uses.
#pragma once

#include <array>
#include <map>
#include <vector>

#include "base/setting.h"
#include "measure/channel_groups.h"
#include "store/channel_labels.h"
#include "window/live/live_parts.h"
#include "window/page.h"

class QGridLayout;
class QLabel;
class QMenu;
class QPushButton;

namespace corvane {

class Gauge;
class SettingsStore;
class VirtualChannels;

inline constexpr Setting kDashboardChannels{
    .key = "DashboardChannels",
    .by = SettingBy::Program,
    .help =
        "Channels with a gauge on the dashboard, A:CH1;B:AUX3 or None; none was chosen where it is empty."};
inline constexpr std::array kDashboardPageSettings = {kDashboardChannels};

class DashboardPage final : public Page {
    Q_OBJECT

public:
    DashboardPage(const LiveParts& parts, const VirtualChannels& virtualChannels, SettingsStore& settings);

    void Refresh() override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void FillMenu();
    void ShowHeader();
    void Choose(const ChannelChoice& choice, bool on);
    [[nodiscard]] std::vector<ChannelChoice> Chosen() const;
    void SetGauges(std::size_t count);
    void Arrange();

    const LiveParts parts_;
    const VirtualChannels& virtualChannels_;
    SettingsStore& settings_;
    std::map<int, ChannelLabels> labels_;  ///< as they were last read
    QLabel* time_;
    QLabel* volt_;
    QPushButton* choose_;
    QMenu* menu_;
    QLabel* empty_;
    QLabel* missing_;
    QGridLayout* grid_;
    std::vector<Gauge*> gauges_;
};

}  // namespace corvane
