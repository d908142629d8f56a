// The queue of statements that wait to be written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

struct QueuedStatement {
    std::string sql;
    bool executed = false;  ///< it is in the database, and would be there twice if it were run again
};

/// Statements in the order of their arrival, the oldest in slot 1, at most `kMax` of them.
class DbBuffer {
public:
    static constexpr int kMax = 16000;

    /// Count of the slots in use, 0..kMax.
    [[nodiscard]] int Pointer() const { return static_cast<int>(slots_.size()); }

    /// Queues a statement behind the others. When all slots are taken, it replaces the newest one, which is
    /// returned: the 15999 oldest statements and the latest arrival stay, on purpose.
    [[nodiscard]] std::optional<QueuedStatement> Append(std::string statement) {
        std::optional<QueuedStatement> replaced;
        if (Pointer() == kMax) replaced = TakeNewest();
        slots_.push_back({.sql = std::move(statement)});
        return replaced;
    }

    void DropOldest() { slots_.pop_front(); }
    void MarkOldestExecuted() { slots_.front().executed = true; }

    [[nodiscard]] QueuedStatement TakeNewest() {
        QueuedStatement newest = std::move(slots_.back());
        slots_.pop_back();
        return newest;
    }

    /// The statement of slot 1..Pointer().
    [[nodiscard]] const std::string& Slot(int number) const {
        return slots_[static_cast<std::size_t>(number - 1)].sql;
    }

    /// Whether a statement is a record that the database does not have yet; an empty one is none.
    [[nodiscard]] static bool IsUnwritten(const QueuedStatement& statement) {
        return !statement.executed && statement.sql != ";";
    }

    /// How many records the database does not have yet.
    [[nodiscard]] int UnwrittenRecords() const {
        return static_cast<int>(std::ranges::count_if(slots_, IsUnwritten));
    }

private:
    std::deque<QueuedStatement> slots_;
};

}  // namespace corvane
