#include "remote/remote_protocol.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// Unix gives a socket's path 108 bytes at most; while it is being made, Qt adds the name of a passing folder.
constexpr qsizetype kLongestSocketPath = 90;

}  // namespace

std::variant<RemoteRequest, QString> ParseRemoteRequest(const QByteArray& line) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (!document.isObject()) {
        return u"A request is a JSON object on one line: %1."_s.arg(
            error.error == QJsonParseError::NoError ? u"this is none"_s : error.errorString());
    }
    const QJsonObject object = document.object();
    RemoteRequest request;
    request.command = object[u"command"_s].toString();
    if (request.command.isEmpty()) return u"A request names its \"command\"."_s;
    const QJsonValue arguments = object[u"arguments"_s];
    if (!arguments.isArray() && !arguments.isUndefined()) return u"\"arguments\" is a list of texts."_s;
    for (const auto& argument : arguments.toArray()) {
        if (!argument.isString()) return u"\"arguments\" is a list of texts."_s;
        request.arguments.append(argument.toString());
    }
    const QJsonValue answer = object[u"answer"_s];
    if (!answer.isUndefined()) {
        request.answer = ParseAnswer(answer.toString());
        if (!request.answer.has_value()) return u"\"answer\" is yes, no or cancel."_s;
    }
    return request;
}

QJsonObject RemoteRequestObject(const RemoteRequest& request) {
    QJsonObject object{{u"command"_s, request.command},
                       {u"arguments"_s, QJsonArray::fromStringList(request.arguments)}};
    if (request.answer.has_value()) object[u"answer"_s] = AnswerText(*request.answer);
    return object;
}

QByteArray RemoteLine(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QString RemoteSocketPath(const QString& dataFolder) {
    QString path = QDir(dataFolder).filePath(u"control.sock"_s);
    if (path.toUtf8().size() <= kLongestSocketPath) return path;
    const QByteArray hash = QCryptographicHash::hash(dataFolder.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QDir(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation))
        .filePath(u"corvane-%1.sock"_s.arg(QLatin1StringView(hash.first(16))));
}

}  // namespace corvane
