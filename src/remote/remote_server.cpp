#include "remote/remote_server.h"

#include <QLocalSocket>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

RemoteServer::RemoteServer(Program& program) : program_(program) {
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&server_, &QLocalServer::newConnection, this, &RemoteServer::TakeConnections);
}

RemoteServer::~RemoteServer() {
    Close();
}

Outcome RemoteServer::Listen(const QString& path) {
    QLocalServer::removeServer(path);
    if (server_.listen(path)) return Outcome::Success();
    return Outcome::Failure(u"The control socket %1 cannot be made: %2"_s.arg(path, server_.errorString()));
}

void RemoteServer::TakeConnections() {
    while (QLocalSocket* incoming = server_.nextPendingConnection()) {
        incoming->setParent(nullptr);
        std::unique_ptr<QLocalSocket> socket(incoming);
        if (sessions_.size() == kMostSessions) {
            socket->abort();
            continue;
        }
        sessions_.push_back(std::make_unique<RemoteSession>(std::move(socket), program_));
        RemoteSession* session = sessions_.back().get();
        connect(session, &RemoteSession::Finished, this, [this, session] { Remove(session); });
    }
}

void RemoteServer::Remove(RemoteSession* session) {
    const auto found = std::ranges::find(sessions_, session, &std::unique_ptr<RemoteSession>::get);
    found->release()->deleteLater();  // this may run within the session's own signal
    sessions_.erase(found);
}

void RemoteServer::Close() {
    server_.close();
    while (!sessions_.empty()) {
        const auto before = sessions_.size();
        sessions_.back()->Abandon();
        if (sessions_.size() == before) break;  // its command waits for something else, which ends it later
    }
}

}  // namespace corvane
