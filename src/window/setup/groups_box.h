// The six groups of channels that sums are made of.
#pragma once

#include <QGroupBox>

#include <vector>

#include "measure/channel_groups.h"

class QGridLayout;
class QLabel;

namespace corvane {

class Actions;
class CaptureDatabase;
class DeviceSlots;

class GroupsBox final : public QGroupBox {
    Q_OBJECT

public:
    GroupsBox(ChannelGroups& groups, const DeviceSlots& slots, const CaptureDatabase& database,
              Actions& actions);

    void Refresh();

private:
    void AddGroup(QGridLayout* grid, ChannelGroup group);
    void Choose(ChannelGroup group);

    ChannelGroups& groups_;
    const DeviceSlots& slots_;
    const CaptureDatabase& database_;
    Actions& actions_;
    std::vector<QLabel*> chosen_;  ///< by group
};

}  // namespace corvane
