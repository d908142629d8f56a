// A user who says what the test wrote down beforehand, and remembers everything that was said to them.
#pragma once

#include <QCoroTask>
#include <QString>

#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/operator.h"

namespace corvane {

/// Questions must come in the order of the script. One that is not next in it fails the test, and so does an
/// answer that nobody asked for.
class ScriptedOperator final : public Operator {
public:
    ScriptedOperator() = default;
    ScriptedOperator(const ScriptedOperator&) = delete;
    ScriptedOperator& operator=(const ScriptedOperator&) = delete;
    ~ScriptedOperator() override {
        for (const auto& line : script_)
            ADD_FAILURE() << "never asked: " << line.part;
    }

    // Out of line on purpose: within its callers, GCC 12 at -O3 warns of a copy beyond `part` that nobody
    // makes.

    /// The next question is one whose text contains `part`, and gets `answer`.
    [[gnu::noinline]] void WillAnswer(std::string part, Answer answer) {
        script_.push_back({.part = std::move(part), .answer = answer, .text = {}, .wantsText = false});
    }

    /// The next question is a prompt for a line that contains `part`; `text` is entered, or nothing.
    [[gnu::noinline]] void WillEnter(std::string part, std::optional<QString> text) {
        script_.push_back(
            {.part = std::move(part), .answer = {}, .text = std::move(text), .wantsText = true});
    }

    /// All messages shown, oldest first.
    [[nodiscard]] const std::vector<std::string>& Messages() const { return messages_; }

    /// All questions asked, prompts among them, oldest first.
    [[nodiscard]] const std::vector<Question>& Questions() const { return questions_; }

    bool cancelled = false;  ///< whether what runs is to be given up
    std::vector<Progress> progress;

    void ShowProgress(const Progress& told) override { progress.push_back(told); }
    [[nodiscard]] bool WantsCancel() const override { return cancelled; }
    void Show(const QString& text) override { messages_.push_back(text.toStdString()); }

    QCoro::Task<Answer> Ask(Question question) override {
        questions_.push_back(question);
        const auto line = Next(question.text, false);
        co_return line ? line->answer : question.safe;
    }

    QCoro::Task<std::optional<QString>> AskText(QString prompt) override {
        questions_.push_back({.text = prompt});
        const auto line = Next(prompt, true);
        co_return line ? line->text : std::nullopt;
    }

private:
    struct Line {
        std::string part;
        Answer answer;
        std::optional<QString> text;
        bool wantsText;
    };

    std::optional<Line> Next(const QString& asked, bool wantsText) {
        const std::string text = asked.toStdString();
        if (script_.empty()) {
            ADD_FAILURE() << "asked without a script: " << text;
            return std::nullopt;
        }
        Line line = std::move(script_.front());
        script_.pop_front();
        if (line.wantsText != wantsText || text.find(line.part) == std::string::npos) {
            ADD_FAILURE() << "asked: " << text << "\nbut the script has: " << line.part;
            return std::nullopt;
        }
        return line;
    }

    std::deque<Line> script_;
    std::vector<std::string> messages_;
    std::vector<Question> questions_;
};

}  // namespace corvane
