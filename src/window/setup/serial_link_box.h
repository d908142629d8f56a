// Serial Connection A, B or C, on the tab of the connections.
#pragma once

#include <QCoroTask>
#include <QGroupBox>

#include <vector>

#include "base/outcome.h"
#include "base/setting.h"

class QComboBox;
class QPushButton;

namespace corvane {

class Actions;
class SerialLink;
class Settings;
class StateLine;
struct FoundPort;

class SerialLinkBox final : public QGroupBox {
    Q_OBJECT

public:
    SerialLinkBox(SerialLink& link, Settings& settings, Actions& actions);

    /// Offers these ports beside the one that is chosen.
    void Offer(const std::vector<FoundPort>& ports);

    /// To be called once a second while it is looked at: the light shows what came since the last call.
    void Refresh();

private:
    QWidget* Buttons();
    void ShowChosen();
    QCoro::Task<Outcome> Open();
    [[nodiscard]] SettingPlace Place() const;

    SerialLink& link_;
    Settings& settings_;
    Actions& actions_;
    StateLine* state_;
    QComboBox* port_;
    QComboBox* baudRate_;
    QPushButton* close_ = nullptr;
};

}  // namespace corvane
