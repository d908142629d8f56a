#include "remote/remote_server.h"

#include <QFile>
#include <QLocalSocket>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "app/program.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Whether somebody listens at the socket: it does not refuse. Nothing is waited for.
bool IsAlive(const QByteArray& path) {
    sockaddr_un address{};
    if (static_cast<std::size_t>(path.size()) >= sizeof address.sun_path) return true;
    address.sun_family = AF_UNIX;
    std::ranges::copy(path, address.sun_path);
    const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (client < 0) return true;
    const bool refused =
        ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        errno == ECONNREFUSED;
    ::close(client);
    return !refused;
}

/// Removes the socket that a program left which was killed, and nothing else.
Outcome ClearPath(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct stat found {};
    if (lstat(name.constData(), &found) != 0) return Outcome::Success();
    const QString beginning = u"The control socket %1 cannot be made: "_s.arg(path);
    if (!S_ISSOCK(found.st_mode)) {
        return Outcome::Failure(beginning +
                                u"something else has that name. Move it away, and start again."_s);
    }
    if (IsAlive(name)) return Outcome::Failure(beginning + u"another program listens there."_s);
    if (unlink(name.constData()) == 0) return Outcome::Success();
    return Outcome::Failure(beginning + QString::fromLocal8Bit(std::strerror(errno)));
}

}  // namespace

RemoteServer::RemoteServer(Program& program) : program_(program), acceptor_(program.clock) {
    connect(&acceptor_, &Acceptor::Incoming, this, &RemoteServer::TakeConnection);
    connect(&acceptor_, &Acceptor::Told, this, [this](const QString& text) {
        const QString line = u"The control socket "_s + text;
        program_.statusBoard.AddLine(u"     "_s + line);
        program_.errorLog.LogError(0, line, u"corvanectl"_s);
    });
}

RemoteServer::~RemoteServer() {
    Close();
}

Outcome RemoteServer::Listen(const QString& path, SocketFor whom) {
    if (Outcome clear = ClearPath(path); !clear) return clear;
    const Outcome listening = acceptor_.ListenAt(path, whom);
    if (listening) return Outcome::Success();
    return Outcome::Failure(u"The control socket %1 cannot be made: %2"_s.arg(path, listening.Error()));
}

void RemoteServer::TakeConnection(int descriptor) {
    if (sessions_.size() == kMostSessions) MakeRoom();
    auto socket = std::make_unique<QLocalSocket>();
    if (sessions_.size() == kMostSessions || !socket->setSocketDescriptor(descriptor)) {
        ::close(descriptor);
        return;
    }
    sessions_.push_back(std::make_unique<RemoteSession>(std::move(socket), program_));
    RemoteSession* session = sessions_.back().get();
    connect(session, &RemoteSession::Finished, this, [this, session] { Remove(session); });
}

void RemoteServer::MakeRoom() {
    RemoteSession* oldest = nullptr;
    for (const auto& session : sessions_) {
        const bool older = oldest == nullptr || session->LastSign() < oldest->LastSign();
        if (session->IsIdle() && older) oldest = session.get();
    }
    if (oldest != nullptr) oldest->Abandon();
}

void RemoteServer::Remove(RemoteSession* session) {
    const auto found = std::ranges::find(sessions_, session, &std::unique_ptr<RemoteSession>::get);
    found->release()->deleteLater();  // this may run within the session's own signal
    sessions_.erase(found);
}

void RemoteServer::Close() {
    acceptor_.Close();
    while (!sessions_.empty()) {
        const auto before = sessions_.size();
        sessions_.back()->Abandon();
        if (sessions_.size() == before) break;  // its command waits for something else, which ends it later
    }
}

}  // namespace corvane
