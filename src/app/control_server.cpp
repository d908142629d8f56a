#include "app/control_server.h"

#include <QLocalSocket>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

ControlServer::ControlServer(Program& program) : program_(program) {
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&server_, &QLocalServer::newConnection, this, &ControlServer::TakeConnections);
}

ControlServer::~ControlServer() {
    Close();
}

Outcome ControlServer::Listen(const QString& path) {
    QLocalServer::removeServer(path);
    if (server_.listen(path)) return Outcome::Success();
    return Outcome::Failure(u"The control socket %1 cannot be made: %2"_s.arg(path, server_.errorString()));
}

void ControlServer::TakeConnections() {
    while (QLocalSocket* incoming = server_.nextPendingConnection()) {
        incoming->setParent(nullptr);
        std::unique_ptr<QLocalSocket> socket(incoming);
        if (sessions_.size() == kMostSessions) {
            socket->abort();
            continue;
        }
        sessions_.push_back(std::make_unique<ControlSession>(std::move(socket), program_));
        ControlSession* session = sessions_.back().get();
        connect(session, &ControlSession::Finished, this, [this, session] { Remove(session); });
    }
}

void ControlServer::Remove(ControlSession* session) {
    const auto found = std::ranges::find(sessions_, session, &std::unique_ptr<ControlSession>::get);
    found->release()->deleteLater();  // this may run within the session's own signal
    sessions_.erase(found);
}

void ControlServer::Close() {
    server_.close();
    while (!sessions_.empty()) {
        const auto before = sessions_.size();
        sessions_.back()->Abandon();
        if (sessions_.size() == before) break;  // its command waits for something else, which ends it later
    }
}

}  // namespace corvane
