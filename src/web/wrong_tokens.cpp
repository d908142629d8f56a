#include "web/wrong_tokens.h"

#include <algorithm>
#include <utility>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// A house has all addresses of an IPv6 network: they count as one.
QHostAddress NetworkOf(const QHostAddress& address) {
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4) return QHostAddress(v4);
    Q_IPV6ADDR network = address.toIPv6Address();
    std::fill(std::begin(network.c) + 8, std::end(network.c), quint8{0});
    return QHostAddress(network);
}

}  // namespace

std::int64_t WrongTokens::Note(const QHostAddress& address, std::int64_t now) {
    lastAddress_ = address;
    ++unreported_;
    std::erase_if(senders_, [now](const Sender& each) { return now - each.last >= kForgottenAfter; });
    Sender sender{.address = NetworkOf(address), .last = now, .delay = kFirstDelay};
    const auto known = std::ranges::find(senders_, sender.address, &Sender::address);
    if (known != senders_.end()) {
        sender.delay = std::min(known->delay * 2, kMostDelay);
        senders_.erase(known);
    } else if (senders_.size() == kMostAddresses) {
        senders_.erase(senders_.begin());
    }
    senders_.push_back(sender);
    return sender.delay;
}

QString WrongTokens::TakeReport(std::int64_t now) {
    if (unreported_ == 0 || now < reportDue_) return {};
    reportDue_ = now + kBetweenReports;
    const int count = std::exchange(unreported_, 0);
    const QString from = lastAddress_.toString();
    return count == 1
               ? u"A wrong token for the pages came from %1."_s.arg(from)
               : u"%1 wrong tokens for the pages came, the last from %2."_s.arg(QString::number(count), from);
}

}  // namespace corvane
