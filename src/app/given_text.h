// An operator who brought the text along that an operation is going to ask for.
#pragma once

#include <utility>

#include "base/operator.h"

namespace corvane {

/// Answers `AskText` with the given text; everything else goes to the operator behind.
class GivenText final : public Operator {
public:
    GivenText(Operator& behind, QString text) : behind_(behind), text_(std::move(text)) {}

    void Show(const QString& text) override { behind_.Show(text); }
    QCoro::Task<Answer> Ask(Question question) override { return behind_.Ask(std::move(question)); }
    QCoro::Task<std::optional<QString>> AskText(QString) override { co_return text_; }

private:
    Operator& behind_;
    QString text_;
};

}  // namespace corvane
