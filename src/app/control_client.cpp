#include "app/control_client.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <iostream>
#include <string>
#include <utility>

#include <unistd.h>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

void Print(std::FILE* stream, const QString& text) {
    std::fputs((text + u'\n').toUtf8().constData(), stream);
}

/// A line from the terminal; nothing where there is none to ask.
std::optional<QString> ReadLine(const QString& prompt) {
    if (isatty(STDIN_FILENO) == 0) return std::nullopt;
    std::fputs((prompt + u' ').toUtf8().constData(), stderr);
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    return QString::fromStdString(line);
}

QJsonValue OrNull(const std::optional<QString>& text) {
    return text.has_value() ? QJsonValue(*text) : QJsonValue();
}

/// Asks until the answer is one that the question takes.
std::optional<QString> AskPerson(const QString& text, bool cancellable) {
    const QString choices = cancellable ? u"[yes/no/cancel]"_s : u"[yes/no]"_s;
    while (const auto line = ReadLine(text + u' ' + choices)) {
        const QString word = line->trimmed().toLower();
        for (const QString& choice : {u"yes"_s, u"no"_s, u"cancel"_s}) {
            const bool allowed = cancellable || choice != "cancel"_L1;
            if (allowed && !word.isEmpty() && choice.startsWith(word)) return choice;
        }
    }
    return std::nullopt;
}

}  // namespace

ControlClient::ControlClient(ControlRequest request, bool json) : request_(std::move(request)), json_(json) {
    connect(&socket_, &QLocalSocket::connected, this,
            [this] { socket_.write(ControlLine(ControlRequestObject(request_))); });
    connect(&socket_, &QLocalSocket::readyRead, this, [this] {
        while (!ended_ && socket_.canReadLine())
            TakeLine(socket_.readLine());
    });
    connect(&socket_, &QLocalSocket::disconnected, this, [this] {
        if (!ended_) Print(stderr, u"The program ended before it answered."_s);
        End(false);
    });
}

void ControlClient::Start(const QString& dataFolder) {
    connect(&socket_, &QLocalSocket::errorOccurred, this,
            [this, dataFolder](QLocalSocket::LocalSocketError error) {
                if (ended_ || error == QLocalSocket::PeerClosedError) return;
                Print(stderr, error == QLocalSocket::SocketAccessError
                                  ? u"The program on %1 belongs to another user."_s.arg(dataFolder)
                                  : u"No Corvane program runs on %1."_s.arg(dataFolder));
                End(false);
            });
    socket_.connectToServer(ControlSocketPath(dataFolder));
}

void ControlClient::TakeLine(const QByteArray& line) {
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    if (object.contains("message"_L1)) {
        Print(json_ ? stderr : stdout, object[u"message"_s].toString());
    } else if (object.contains("ask"_L1)) {
        const auto answer = AskPerson(object[u"ask"_s].toString(), object[u"cancellable"_s].toBool());
        socket_.write(ControlLine({{u"answer"_s, OrNull(answer)}}));
    } else if (object.contains("askText"_L1)) {
        socket_.write(ControlLine({{u"text"_s, OrNull(ReadLine(object[u"askText"_s].toString()))}}));
    } else {
        TakeReply(object);
    }
}

void ControlClient::TakeReply(const QJsonObject& reply) {
    const bool succeeded = reply[u"ok"_s].toBool();
    if (!succeeded) {
        Print(stderr, reply[u"error"_s].toString());
    } else if (json_) {
        Print(stdout, QString::fromUtf8(ControlLine(reply[u"data"_s].toObject()).trimmed()));
    } else {
        for (const auto& line : reply[u"lines"_s].toArray())
            Print(stdout, line.toString());
    }
    End(succeeded);
}

void ControlClient::End(bool succeeded) {
    if (std::exchange(ended_, true)) return;
    std::fflush(stdout);
    Q_EMIT Ended(succeeded);
}

}  // namespace corvane
