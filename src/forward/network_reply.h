// Requests through the network library, and as much of their answers as anybody wants.
#pragma once

#include <QCoroTask>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <cstdint>
#include <memory>

namespace corvane {

class Clock;

struct ReplyDeleter {
    void operator()(QNetworkReply* reply) const {
        reply->abort();
        reply->deleteLater();
    }
};

/// Going out of scope gives the request up where it is not finished.
using NetworkReply = std::unique_ptr<QNetworkReply, ReplyDeleter>;

inline constexpr qint64 kMostOfAnswer = 64 * 1024;  ///< bytes that are read of an answer

/// How long an answer is waited for, in ms.
struct ReplyPatience {
    std::int64_t inAll = 30'000;
    std::int64_t perStep =
        inAll;  ///< from each step of the request to the next: resolve, connect, send, receive
};

/// A request whose answer comes as it is: one that is packed could become any size.
[[nodiscard]] QNetworkRequest PlainRequest(const QUrl& url);

/// Waits until the answer is complete, or longer than `kMostOfAnswer`, or the patience is over. To be called
/// as soon as the request was made. False where the program closes first.
QCoro::Task<bool> AwaitAnswer(QNetworkReply& reply, Clock& clock, ReplyPatience patience);

/// Whether more came than is read.
[[nodiscard]] bool IsCutOff(const QNetworkReply& reply);

/// The status of the answer as soon as that is known; 0 where none came.
[[nodiscard]] int StatusOf(const QNetworkReply& reply);

}  // namespace corvane
