// The connections to the monitors: two over TCP, three over serial ports, and the bytes that come in.
#pragma once

#include <QCoroTask>

#include <vector>

#include "base/outcome.h"
#include "window/page.h"

class QCheckBox;
class QLabel;

namespace corvane {

class Actions;
class Operator;
class Program;
class RawPanel;
class SerialLinkBox;
class TcpLinkBox;

class ConnectionsPage final : public Page {
    Q_OBJECT

public:
    ConnectionsPage(Program& program, Actions& actions);

    void Refresh() override;

private:
    QWidget* PortSearch(Actions& actions);
    QCoro::Task<Outcome> FindPorts(Operator& op);

    Program& program_;
    std::vector<TcpLinkBox*> tcpLinks_;
    std::vector<SerialLinkBox*> serialLinks_;
    QCheckBox* autoOpen_ = nullptr;
    QLabel* found_ = nullptr;
    RawPanel* raw_;
};

}  // namespace corvane
