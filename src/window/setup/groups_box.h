// The six groups of channels that sums are made of.
#pragma once

#include <QGroupBox>

#include <vector>

#include "measure/channel_groups.h"

class QGridLayout;
class QLabel;

namespace corvane {

class Actions;
class Program;

class GroupsBox final : public QGroupBox {
    Q_OBJECT

public:
    GroupsBox(Program& program, Actions& actions);

    void Refresh();

private:
    void AddGroup(QGridLayout* grid, ChannelGroup group);
    void Choose(ChannelGroup group);

    Program& program_;
    Actions& actions_;
    std::vector<QLabel*> chosen_;  ///< by group
};

}  // namespace corvane
