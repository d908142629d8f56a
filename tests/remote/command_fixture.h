// Commands as people give them to a whole program, and what they are told.
#pragma once

#include <QJsonDocument>

#include <optional>
#include <string>

#include "app/program_fixture.h"
#include "remote/command.h"

namespace corvane {

class CommandTest : public ProgramTest {
protected:
    /// The answer to a command; the clock is stepped until it comes.
    Reply Run(Program& program, const QString& line) {
        QStringList words = line.split(u' ');
        const QString name = words.takeFirst();
        const Command* command = FindCommand(name, words);
        if (command == nullptr) return Reply::Failure(QStringLiteral("no such command"));
        EXPECT_GE(words.size(), command->leastArguments) << line.toStdString();
        EXPECT_LE(words.size(), command->mostArguments) << line.toStdString();
        std::optional<Reply> answer;
        const auto running =
            command->run(program, words, operator_).then([&answer](const Reply& reply) { answer = reply; });
        if (!answer.has_value()) {
            EXPECT_TRUE(SpinUntil([&] {
                clock.Advance(100);
                return answer.has_value();
            })) << line.toStdString();
        }
        return answer.value_or(Reply::Failure(QStringLiteral("no answer")));
    }

    /// What people see of it: its messages, then its lines or why it failed. The test's folder is "DIR"
    /// there.
    std::string Ask(Program& program, const QString& line) {
        const std::size_t before = operator_.Messages().size();
        const Reply reply = Run(program, line);
        data_ = reply.data;
        QStringList told;
        for (std::size_t i = before; i < operator_.Messages().size(); ++i)
            told.append(QString::fromStdString(operator_.Messages()[i]));
        told += reply.outcome ? reply.lines : QStringList{reply.outcome.Error()};
        return told.join(u'\n').replace(folder.Path(), QStringLiteral("DIR")).toStdString();
    }

    /// The data of the last answer, as JSON.
    [[nodiscard]] std::string Data() const {
        return QJsonDocument(data_).toJson(QJsonDocument::Compact).toStdString();
    }

    ScriptedOperator operator_;
    QJsonObject data_;
};

}  // namespace corvane
