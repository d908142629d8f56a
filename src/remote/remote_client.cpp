#include "remote/remote_client.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

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

/// Asks until the answer is one that the question takes, or the beginning of one.
std::optional<QString> AskPerson(const QJsonObject& question) {
    struct Choice {
        QString answer;
        QString word;
    };
    const auto named = [&question](const QString& answer) {
        const QString word = question[answer].toString().toLower();
        return Choice{answer, word.isEmpty() ? answer : word};
    };
    std::vector<Choice> choices = {named(u"yes"_s), named(u"no"_s)};
    if (question[u"cancellable"_s].toBool()) choices.push_back({u"cancel"_s, u"cancel"_s});
    QStringList words;
    for (const Choice& choice : choices)
        words.append(choice.word);
    const QString prompt = u"%1 [%2]"_s.arg(question[u"ask"_s].toString(), words.join(u'/'));
    while (const auto line = ReadLine(prompt)) {
        const QString entry = line->trimmed().toLower();
        for (const Choice& choice : choices) {
            if (!entry.isEmpty() && choice.word.startsWith(entry)) return choice.answer;
        }
    }
    return std::nullopt;
}

/// One line on a terminal, which the next one takes the place of.
void PrintProgress(const QJsonObject& progress) {
    if (isatty(STDERR_FILENO) == 0) return;
    QString line = u"%1  %2 s"_s.arg(progress[u"progress"_s].toString(),
                                     QString::number(progress[u"seconds"_s].toInteger()));
    const QJsonValue percent = progress[u"percent"_s];
    if (!percent.isNull()) line += u", %1 %"_s.arg(percent.toInt());
    std::fputs(("\r\033[K" + line.toUtf8()).constData(), stderr);
}

}  // namespace

RemoteClient::RemoteClient(RemoteRequest request, bool json) : request_(std::move(request)), json_(json) {
    connect(&socket_, &QLocalSocket::connected, this,
            [this] { socket_.write(RemoteLine(RemoteRequestObject(request_))); });
    connect(&socket_, &QLocalSocket::readyRead, this, [this] {
        while (!ended_ && socket_.canReadLine())
            TakeLine(socket_.readLine());
    });
    connect(&socket_, &QLocalSocket::disconnected, this, [this] {
        if (!ended_) Print(stderr, u"The program ended before it answered."_s);
        End(false);
    });
}

void RemoteClient::Start(const QStringList& dataFolders) {
    folders_ = dataFolders;
    connect(&socket_, &QLocalSocket::errorOccurred, this, &RemoteClient::TakeRefusal);
    TryNext();
}

void RemoteClient::TryNext() {
    socket_.connectToServer(RemoteSocketPath(folders_[tried_++]));
}

void RemoteClient::TakeRefusal(QLocalSocket::LocalSocketError error) {
    if (ended_ || error == QLocalSocket::PeerClosedError) return;
    const QString& folder = folders_[tried_ - 1];
    if (error == QLocalSocket::SocketAccessError) {
        const QFileInfo info(folder);
        Print(stderr, u"The program on %1 belongs to another user, %2."_s.arg(folder, info.owner()));
        if (info.permission(QFile::ExeGroup)) {
            Print(stderr,
                  u"Members of the group %1 may control it: \"sudo adduser NAME %1\" adds somebody, from "
                  "the next login on."_s.arg(info.group()));
        }
    } else if (tried_ < folders_.size()) {
        // Not within the signal of the socket that is to be used again.
        QMetaObject::invokeMethod(this, &RemoteClient::TryNext, Qt::QueuedConnection);
        return;
    } else {
        Print(stderr, u"No Corvane program runs on %1."_s.arg(folders_.join(u", nor on "_s)));
    }
    End(false);
}

void RemoteClient::TakeLine(const QByteArray& line) {
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    if (object.contains("progress"_L1)) {
        PrintProgress(object);
        progressShown_ = true;
        return;
    }
    if (std::exchange(progressShown_, false) && isatty(STDERR_FILENO) != 0) std::fputs("\r\033[K", stderr);
    if (object.contains("message"_L1)) {
        Print(json_ ? stderr : stdout, object[u"message"_s].toString());
    } else if (object.contains("ask"_L1)) {
        socket_.write(RemoteLine({{u"answer"_s, OrNull(AskPerson(object))}}));
    } else if (object.contains("askText"_L1)) {
        socket_.write(RemoteLine({{u"text"_s, OrNull(ReadLine(object[u"askText"_s].toString()))}}));
    } else {
        TakeReply(object);
    }
}

void RemoteClient::TakeReply(const QJsonObject& reply) {
    const bool succeeded = reply[u"ok"_s].toBool();
    if (!succeeded) {
        Print(stderr, reply[u"error"_s].toString());
    } else if (json_) {
        Print(stdout, QString::fromUtf8(RemoteLine(reply[u"data"_s].toObject()).trimmed()));
    } else {
        for (const auto& line : reply[u"lines"_s].toArray())
            Print(stdout, line.toString());
    }
    End(succeeded && reply[u"well"_s].toBool(true));
}

void RemoteClient::End(bool succeeded) {
    if (std::exchange(ended_, true)) return;
    std::fflush(stdout);
    Q_EMIT Ended(succeeded);
}

}  // namespace corvane
