#include "forward/network_reply.h"

#include <functional>

#include "base/clock.h"
#include "base/wait_until.h"

namespace corvane {

QNetworkRequest PlainRequest(const QUrl& url) {
    QNetworkRequest request(url);
    request.setRawHeader("Accept-Encoding", "identity");
    return request;
}

QCoro::Task<bool> AwaitAnswer(QNetworkReply& reply, Clock& clock, ReplyPatience patience) {
    reply.setReadBufferSize(kMostOfAnswer + 1);
    const std::int64_t begun = clock.Monotonic();
    std::int64_t lastStep = begun;
    const QObject here;  // as long as this waits
    const auto step = [&clock, &lastStep] { lastStep = clock.Monotonic(); };
    QObject::connect(&reply, &QNetworkReply::socketStartedConnecting, &here, step);
    QObject::connect(&reply, &QNetworkReply::requestSent, &here, step);
    QObject::connect(&reply, &QNetworkReply::uploadProgress, &here, step);
    const std::function<bool()> over = [&] {
        const std::int64_t now = clock.Monotonic();
        return reply.isFinished() || IsCutOff(reply) || now - begun >= patience.inAll ||
               now - lastStep >= patience.perStep;
    };
    co_return co_await WaitUntil(clock, over);
}

bool IsCutOff(const QNetworkReply& reply) {
    return reply.bytesAvailable() > kMostOfAnswer;
}

int StatusOf(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

}  // namespace corvane
