// The result of an operation that can fail: nothing, or a text that a user can act on.
#pragma once

#include <QString>

#include <utility>

namespace corvane {

class [[nodiscard]] Outcome {
public:
    Outcome() = default;  ///< success
    static Outcome Success() { return {}; }

    /// `error` must not be empty: it is what the user reads.
    static Outcome Failure(QString error) { return Outcome(std::move(error)); }

    explicit operator bool() const { return error_.isEmpty(); }
    [[nodiscard]] const QString& Error() const { return error_; }

private:
    explicit Outcome(QString error) : error_(std::move(error)) {}

    QString error_;
};

}  // namespace corvane
