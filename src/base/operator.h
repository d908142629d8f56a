// The person, or whatever stands in for one, to whom messages are shown and questions are put.
#pragma once

#include <QCoroTask>
#include <QString>

#include <cstdint>
#include <optional>
#include <utility>

namespace corvane {

enum class Answer { Yes, No, Cancel };

/// "yes", "no", "cancel"; nothing for any other text.
[[nodiscard]] std::optional<Answer> ParseAnswer(const QString& text);
[[nodiscard]] QString AnswerText(Answer answer);

/// A question with fixed answers. `safe` is the one that loses nothing; it is given where nobody can be
/// asked. What was asked for has failed then, unless the question is an offer.
struct Question {
    QString text;
    Answer safe = Answer::No;
    QString title = {};
    bool cancellable = false;  ///< Yes/No/Cancel rather than Yes/No
    QString yes = {};          ///< what the answer Yes is called here, where it is not "Yes"
    QString no = {};           ///< the same of No
    bool offer = false;        ///< with the safe answer, too, what was asked for is done
};

/// A request for a file of this machine.
struct FileQuestion {
    QString prompt;
    QString suggestion = {};  ///< full path taken where nobody can be asked; empty: nothing is chosen then
    bool toMake = false;      ///< the file is going to be made, rather than opened
    QString kind = QStringLiteral("db3");  ///< the ending of its name
};

/// How far a long operation is.
struct Progress {
    QString operation;
    std::int64_t seconds = 0;    ///< since it began
    std::optional<int> percent;  ///< where it can be known
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

    /// Asks for a file, by its path where there is no better way; nothing where none was chosen.
    virtual QCoro::Task<std::optional<QString>> AskFile(FileQuestion question) {
        return AskText(std::move(question.prompt));
    }

    /// Tells, about once a second, how far the operation that runs for this user is.
    virtual void ShowProgress(const Progress&) {}

    /// Whether this user wants the operation that runs to be given up. Asked while it runs.
    [[nodiscard]] virtual bool WantsCancel() const { return false; }

    /// An offer, which may be left unanswered.
    QCoro::Task<bool> Offer(QString text, Answer safe = Answer::No) {
        Question question{.text = std::move(text), .safe = safe, .offer = true};
        co_return co_await Ask(std::move(question)) == Answer::Yes;
    }

    QCoro::Task<bool> AskYesNo(QString text, Answer safe = Answer::No) {
        Question question{.text = std::move(text), .safe = safe};
        co_return co_await Ask(std::move(question)) == Answer::Yes;
    }
};

}  // namespace corvane
