#include "forward/connection_check.h"

#include <QUrl>

#include "base/operator.h"
#include "forward/network_reply.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

Outcome CheckInternetCheckUrl(QString& text, const SettingValues&) {
    const QUrl page(text, QUrl::StrictMode);
    const bool web = page.scheme() == "http"_L1 || page.scheme() == "https"_L1;
    if (page.isValid() && web && !page.host().isEmpty()) return Outcome::Success();
    return Outcome::Failure(u"The page is an address such as http://www.example.com/."_s);
}

QCoro::Task<bool> ConnectionCheck::InternetConnectionAvailable(Operator& op) {
    op.Show(u"Checking connection........"_s);
    const NetworkReply reply(network_.get(PlainRequest(QUrl(settings_.Value(kInternetCheckUrl)))));
    const bool waited = co_await AwaitAnswer(*reply, clock_, {.inAll = kTimeLimit});
    if (!waited) co_return false;
    if (reply->isFinished()) co_return reply->error() == QNetworkReply::NoError;
    co_return IsCutOff(*reply) && StatusOf(*reply) / 100 == 2;  // of a long page nobody needs the end
}

QCoro::Task<Outcome> ConnectionCheck::Check(Operator& op) {
    const bool reached = co_await InternetConnectionAvailable(op);
    if (!reached) co_return Outcome::Failure(u"The internet cannot be reached."_s);
    co_return Outcome::Success();
}

}  // namespace corvane
