// Those who send wrong tokens, by their addresses: the more of them, the longer each waits for its answer.
#pragma once

#include <QHostAddress>
#include <QString>

#include <cstdint>
#include <vector>

namespace corvane {

/// Who guesses is slowed down, and nobody else: a right token is answered at once, wherever it comes from.
/// Times are monotonic, in ms.
class WrongTokens {
public:
    static constexpr std::int64_t kFirstDelay = 250;
    static constexpr std::int64_t kMostDelay = 5000;
    static constexpr std::int64_t kForgottenAfter = 10 * 60'000;
    static constexpr std::int64_t kBetweenReports = 60'000;
    static constexpr std::size_t kMostAddresses = 256;  ///< that are remembered; the oldest ones go

    /// Notes one from `address`; how long its answer is to wait.
    [[nodiscard]] std::int64_t Note(const QHostAddress& address, std::int64_t now);

    /// What there is to log, at most once a minute; empty where there is nothing.
    [[nodiscard]] QString TakeReport(std::int64_t now);

private:
    struct Sender {
        QHostAddress address;
        std::int64_t last;
        std::int64_t delay;
    };

    std::vector<Sender> senders_;  ///< in the order of their last tokens
    QHostAddress lastAddress_;
    int unreported_ = 0;
    std::int64_t reportDue_ = 0;
};

}  // namespace corvane
