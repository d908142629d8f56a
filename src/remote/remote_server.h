// The control socket: the way in for `corvanectl`.
#pragma once

#include <QObject>

#include <memory>
#include <vector>

#include "base/outcome.h"
#include "link/acceptor.h"
#include "remote/remote_session.h"

namespace corvane {

class Program;

class RemoteServer : public QObject {
    Q_OBJECT

public:
    /// Where one more comes, the one goes that has been idle for longest.
    static constexpr std::size_t kMostSessions = 32;

    explicit RemoteServer(Program& program);
    ~RemoteServer() override;

    /// Listens at `path`. A socket left there by a program that was killed is replaced; anything else stays,
    /// and is the failure.
    Outcome Listen(const QString& path, SocketFor whom = SocketFor::Owner);

    /// Ends all sessions and stops listening. Called before the program closes.
    void Close();

private:
    void TakeConnection(int descriptor);
    void MakeRoom();
    void Remove(RemoteSession* session);

    Program& program_;
    Acceptor acceptor_;
    std::vector<std::unique_ptr<RemoteSession>> sessions_;
};

}  // namespace corvane
