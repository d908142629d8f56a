// How late the event loop is: the time that whatever is due has to wait for what runs already.
#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include <array>
#include <cstddef>
#include <cstdint>

namespace corvane {

class LoopDelay {
public:
    static constexpr std::array kBounds = {0.001, 0.005, 0.01, 0.05, 0.1, 0.5, 1.0, 5.0};  ///< seconds

    /// Looks once a second from now on.
    LoopDelay();

    void Note(double seconds);

    /// How many were at most each of the bounds, and beyond all of them.
    [[nodiscard]] const auto& Counts() const { return counts_; }
    [[nodiscard]] double Sum() const { return sum_; }  ///< seconds

private:
    QTimer timer_;
    QElapsedTimer since_;
    std::array<std::uint64_t, kBounds.size() + 1> counts_{};
    double sum_ = 0;
};

}  // namespace corvane
