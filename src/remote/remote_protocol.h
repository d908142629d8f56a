// The lines of the control socket: one JSON object each, in UTF-8, ended by a line feed.
//
//   request   {"command": NAME, "arguments": [TEXT...], "answer": "yes"|"no"|"cancel"}
//   message   {"message": TEXT}                     any number, while the command runs
//   progress  {"progress": OPERATION, "seconds": N, "percent": N|null}   about once a second, where it is
//   long question  {"ask": TEXT, "title": TEXT, "cancellable": BOOL, "yes": TEXT, "no": TEXT}   answered with
//             {"answer": "yes"|"no"|"cancel"}       or {"answer": null} for the one that loses nothing;
//             "yes" and "no" are what these answers are called here, empty for "Yes" and "No"
//   prompt    {"askText": TEXT}                     answered with {"text": TEXT} or {"text": null}
//   reply     {"ok": true, "lines": [TEXT...], "data": {...}}   or {"ok": false, "error": TEXT}
//             with "well": false beside "ok" where what was asked about is not well
//
// A request with "answer" is asked nothing: the answer stands for every question of the command.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

#include "base/operator.h"

namespace corvane {

inline constexpr int kLongestRemoteLine = 64 * 1024;  ///< bytes, of what a client sends

struct RemoteRequest {
    QString command;
    QStringList arguments;
    std::optional<Answer> answer;
};

/// The request of a line, or what is wrong with it.
[[nodiscard]] std::variant<RemoteRequest, QString> ParseRemoteRequest(const QByteArray& line);

[[nodiscard]] QJsonObject RemoteRequestObject(const RemoteRequest& request);

/// `object` as a line with its end.
[[nodiscard]] QByteArray RemoteLine(const QJsonObject& object);

/// Where the socket of the program with this data folder is: in the folder, or where that path is too long
/// for a socket in the user's runtime folder, under a name made from it.
[[nodiscard]] QString RemoteSocketPath(const QString& dataFolder);

}  // namespace corvane
