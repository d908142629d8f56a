// How the pulses of a device are read.
#pragma once

#include <QCoroTask>
#include <QGroupBox>

#include "base/outcome.h"

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace corvane {

class Actions;
class Operator;
class PulseCounters;
class WebServer;

class PulseBox final : public QGroupBox {
    Q_OBJECT

public:
    PulseBox(PulseCounters& pulses, const WebServer& web, Actions& actions);

    /// Shows the set-up of slot 1..6; 0 for none.
    void ShowSlot(int slot);

    /// To be called once a second while it is looked at.
    void Refresh();

private:
    QComboBox* AddChoice(QFormLayout* form, const QString& label, const QStringList& texts);
    void Apply();

    PulseCounters& pulses_;
    const WebServer& web_;
    Actions& actions_;
    int slot_ = 0;
    QCheckBox* enabled_;
    QComboBox* source_;
    QComboBox* flowType_;
    QComboBox* period_;
    QLineEdit* factor_;
    QPushButton* flowPage_;
    QLabel* now_;
};

}  // namespace corvane
