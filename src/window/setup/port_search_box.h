// The search for COM ports, and whether serial connections are opened at the start.
#pragma once

#include <QCoroTask>
#include <QWidget>

#include <vector>

#include "base/outcome.h"
#include "link/port_finder.h"

class QCheckBox;
class QLabel;

namespace corvane {

class Actions;
class Operator;
class Settings;

class PortSearchBox final : public QWidget {
    Q_OBJECT

public:
    /// A port that one of `links` has open is left alone.
    PortSearchBox(SerialPorts& ports, std::vector<SerialLink*> links, Settings& settings, Clock& clock,
                  Actions& actions);

    /// To be called once a second while it is looked at.
    void Refresh();

Q_SIGNALS:
    /// These ports can be opened.
    void Found(const std::vector<FoundPort>& ports);

private:
    QCoro::Task<Outcome> FindPorts(Operator& op);

    SerialPorts& ports_;
    std::vector<SerialLink*> links_;
    Settings& settings_;
    Clock& clock_;
    QCheckBox* autoOpen_;
    QLabel* found_;
};

}  // namespace corvane
