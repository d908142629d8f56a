// The queue of statements that wait to be written.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>

namespace corvane {

/// Statements in the order of their arrival, the oldest in slot 1, at most `kMax` of them.
class DbBuffer {
public:
    static constexpr int kMax = 16000;

    /// Count of the slots in use, 0..kMax.
    [[nodiscard]] int Pointer() const { return static_cast<int>(slots_.size()); }

    /// Queues a statement behind the others. When all slots are taken, it replaces the newest one and false
    /// is returned: the 15999 oldest statements and the latest arrival stay, on purpose.
    [[nodiscard]] bool Append(std::string statement) {
        const bool full = Pointer() == kMax;
        if (full) slots_.pop_back();
        slots_.push_back(std::move(statement));
        return !full;
    }

    [[nodiscard]] const std::string& Oldest() const { return slots_.front(); }
    void DropOldest() { slots_.pop_front(); }
    void GiveUpNewest() { slots_.pop_back(); }

    /// The statement of slot 1..Pointer().
    [[nodiscard]] const std::string& Slot(int number) const {
        return slots_[static_cast<std::size_t>(number - 1)];
    }

private:
    std::deque<std::string> slots_;
};

}  // namespace corvane
