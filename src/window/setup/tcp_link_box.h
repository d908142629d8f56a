// TCP Server A or B, on the tab of the connections.
#pragma once

#include <QGroupBox>

class QComboBox;
class QFormLayout;
class QLineEdit;
class QPushButton;

namespace corvane {

class Actions;
class Settings;
class StateLine;
class TcpLink;

class TcpLinkBox final : public QGroupBox {
    Q_OBJECT

public:
    TcpLinkBox(TcpLink& link, Settings& settings, Actions& actions);

    /// To be called once a second while it is looked at: the light shows what came since the last call.
    void Refresh();

private:
    void AddDirection(QFormLayout* form);
    void AddPort(QFormLayout* form);
    QWidget* Buttons();
    [[nodiscard]] bool Idle() const;

    TcpLink& link_;
    Settings& settings_;
    Actions& actions_;
    StateLine* state_;
    QComboBox* direction_ = nullptr;  ///< this and the host: of a link that can connect out
    QLineEdit* host_ = nullptr;
    QLineEdit* port_ = nullptr;
    QPushButton* listen_ = nullptr;
    QPushButton* disconnect_ = nullptr;
};

}  // namespace corvane
