// The answer to a request of the network library, for as long as somebody waits for it.
#pragma once

#include <QNetworkReply>

#include <memory>

namespace corvane {

struct ReplyDeleter {
    void operator()(QNetworkReply* reply) const {
        reply->abort();
        reply->deleteLater();
    }
};

/// Going out of scope gives the request up where it is not finished.
using NetworkReply = std::unique_ptr<QNetworkReply, ReplyDeleter>;

}  // namespace corvane
