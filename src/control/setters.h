// What of a monitor can be set, by which words, and what the values must be.
#pragma once

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>
#include <QStringList>

#include <array>
#include <span>
#include <variant>
#include <vector>

#include "control/command_sequences.h"

namespace corvane {

/// An input of a setter. One outside the range, or that is no whole number, is refused with the message.
struct SetterInput {
    const char* name = nullptr;  ///< as help shows it; null where there is no such input
    int least = 0;
    int most = 0;
    int bytes = 1;  ///< sent for it, low byte first
    const char* refusal = nullptr;
};

struct Setter {
    QLatin1StringView name;
    QLatin1StringView title;  ///< what it sets, in words
    Operation operation;
    std::array<SetterInput, 2> inputs = {};
    int auxChannel = 0;  ///< of an aux trim: 1..5

    [[nodiscard]] std::size_t InputCount() const;

    /// "iv3 WATTS".
    [[nodiscard]] QString Usage() const;

    /// The argument bytes for `inputs`, or why they are refused.
    [[nodiscard]] std::variant<QByteArray, QString> Parse(const QStringList& inputs) const;

    /// The settings that its sequence writes, in the order of the inputs.
    [[nodiscard]] std::vector<MonitorSetting> Settings() const;
};

[[nodiscard]] std::span<const Setter> Setters();

/// Null where there is none of that name.
[[nodiscard]] const Setter* FindSetter(const QString& name);

}  // namespace corvane
