// The control socket: the way in for `corvanectl`, for this user alone.
#pragma once

#include <QLocalServer>
#include <QObject>

#include <memory>
#include <vector>

#include "app/control_session.h"
#include "base/outcome.h"

namespace corvane {

class Program;

class ControlServer : public QObject {
    Q_OBJECT

public:
    static constexpr std::size_t kMostSessions = 32;

    explicit ControlServer(Program& program);
    ~ControlServer() override;

    /// Listens at `path`; a socket left there by a program that was killed is replaced, so the data folder
    /// must be locked for this program.
    Outcome Listen(const QString& path);

    /// Ends all sessions and stops listening. Called before the program closes.
    void Close();

private:
    void TakeConnections();
    void Remove(ControlSession* session);

    Program& program_;
    QLocalServer server_;
    std::vector<std::unique_ptr<ControlSession>> sessions_;
};

}  // namespace corvane
