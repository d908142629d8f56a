// The devices: which monitor each one is, what its channels are called, and what is made of them.
#pragma once

#include <QCoroTask>

#include "base/outcome.h"
#include "window/page.h"

class QLabel;
class QSpinBox;
class QTableWidget;

namespace corvane {

class Actions;
class ChannelTextsBox;
class GroupsBox;
class InstallationBox;
class Operator;
class Program;
class PulseBox;

class DevicesPage final : public Page {
    Q_OBJECT

public:
    DevicesPage(Program& program, Actions& actions);

    void Refresh() override;

private:
    QWidget* Devices();
    QWidget* Binding();
    QWidget* LinkChoice(int slot);
    void ShowDevices();
    void ShowStates();
    void ChooseSlot();
    QCoro::Task<Outcome> Bind(int slot, Operator& op);
    QCoro::Task<Outcome> Find(int slot, Operator& op);
    QCoro::Task<Outcome> Enter(int slot, Operator& op);

    Program& program_;
    Actions& actions_;
    bool settingsChanged_ = true;
    int slot_ = 0;  ///< the one that is chosen; 0 = none
    QSpinBox* quantity_ = nullptr;
    QTableWidget* devices_ = nullptr;
    QLabel* unbound_ = nullptr;
    ChannelTextsBox* channels_;
    PulseBox* pulses_;
    InstallationBox* installation_;
    GroupsBox* groups_;
};

}  // namespace corvane
