#include "base/operator.h"

namespace corvane {

using namespace Qt::StringLiterals;

std::optional<Answer> ParseAnswer(const QString& text) {
    for (const Answer answer : {Answer::Yes, Answer::No, Answer::Cancel}) {
        if (text == AnswerText(answer)) return answer;
    }
    return std::nullopt;
}

QString AnswerText(Answer answer) {
    switch (answer) {
        case Answer::Yes:
            return u"yes"_s;
        case Answer::No:
            return u"no"_s;
        case Answer::Cancel:
            return u"cancel"_s;
    }
    return {};
}

}  // namespace corvane
