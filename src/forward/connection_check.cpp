#include "forward/connection_check.h"

#include <QUrl>

#include <functional>

#include "base/clock.h"
#include "base/operator.h"
#include "base/wait_until.h"
#include "forward/network_reply.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

QCoro::Task<bool> ConnectionCheck::InternetConnectionAvailable(Operator& op) {
    op.Show(u"Checking connection........"_s);
    const QUrl page(settings_.Value(kInternetCheckUrl));
    const NetworkReply reply(network_.get(QNetworkRequest(page)));
    const std::int64_t limit = clock_.Monotonic() + kTimeLimit;
    const std::function<bool()> over = [this, &reply, limit] {
        return reply->isFinished() || clock_.Monotonic() >= limit;
    };
    const bool waited = co_await WaitUntil(clock_, over);
    co_return waited && reply->isFinished() && reply->error() == QNetworkReply::NoError;
}

QCoro::Task<Outcome> ConnectionCheck::Check(Operator& op) {
    const bool reached = co_await InternetConnectionAvailable(op);
    if (!reached) co_return Outcome::Failure(u"The internet cannot be reached."_s);
    co_return Outcome::Success();
}

}  // namespace corvane
