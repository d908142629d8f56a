// The other end of the control socket: sends one command, shows what comes back, and asks the person.
#pragma once

#include <QJsonObject>
#include <QLocalSocket>
#include <QObject>
#include <QString>
#include <QStringList>

#include "remote/remote_protocol.h"

namespace corvane {

class RemoteClient final : public QObject {
    Q_OBJECT

public:
    /// With `json` the reply's data are printed as one line of JSON, else its lines.
    RemoteClient(RemoteRequest request, bool json);

    /// Connects to the program that keeps its data in the first of these folders on which one runs, and
    /// sends; `Ended` tells how it went.
    void Start(const QStringList& dataFolders);

Q_SIGNALS:
    /// True where the command succeeded, and found nothing wrong. What there was to say has been printed.
    void Ended(bool succeeded);

private:
    void TryNext();
    void TakeRefusal(QLocalSocket::LocalSocketError error);
    void TakeLine(const QByteArray& line);
    void TakeReply(const QJsonObject& reply);
    void End(bool succeeded);

    RemoteRequest request_;
    QStringList folders_;
    qsizetype tried_ = 0;  ///< of them
    bool json_;
    bool progressShown_ = false;  ///< the last line on the terminal is one of progress
    bool ended_ = false;
    QLocalSocket socket_;
};

}  // namespace corvane
