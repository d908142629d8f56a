// An operator who brought the text along that an operation is going to ask for.
#pragma once

#include <utility>

#include "base/operator.h"

namespace corvane {

/// Answers the first `AskText` or `AskFile` with the given text, further ones with nothing. Everything else
/// goes to the operator behind.
class GivenText final : public Operator {
public:
    GivenText(Operator& behind, QString text) : behind_(behind), text_(std::move(text)) {}

    void Show(const QString& text) override { behind_.Show(text); }
    QCoro::Task<Answer> Ask(Question question) override { return behind_.Ask(std::move(question)); }
    QCoro::Task<std::optional<QString>> AskText(QString) override {
        co_return std::exchange(text_, std::nullopt);
    }
    void ShowProgress(const Progress& progress) override { behind_.ShowProgress(progress); }
    [[nodiscard]] bool WantsCancel() const override { return behind_.WantsCancel(); }

private:
    Operator& behind_;
    std::optional<QString> text_;
};

}  // namespace corvane
