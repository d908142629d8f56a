// The person, or whatever stands in for one, to whom messages are shown and questions are put.
#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>
#include <utility>

namespace corvane {

enum class Answer { Yes, No, Cancel };

/// A question with fixed answers. `safe` is the one that loses nothing; it is given where nobody can be
/// asked.
struct Question {
    QString text;
    Answer safe = Answer::No;
    QString title = {};
    bool cancellable = false;  ///< Yes/No/Cancel rather than Yes/No
};

/// Operations that a user starts take the Operator that speaks for that user. It must outlive the operation.
class Operator {
public:
    virtual ~Operator() = default;

    /// Shows a message; nobody waits for it to be read.
    virtual void Show(const QString& text) = 0;

    /// Asks, and waits for the answer. Closing a question without an answer is the safe one.
    virtual QCoro::Task<Answer> Ask(Question question) = 0;

    /// Asks for a line of text; nothing where none was given.
    virtual QCoro::Task<std::optional<QString>> AskText(QString prompt) = 0;

    QCoro::Task<bool> AskYesNo(QString text, Answer safe = Answer::No) {
        Question question{.text = std::move(text), .safe = safe};
        co_return co_await Ask(std::move(question)) == Answer::Yes;
    }
};

}  // namespace corvane
