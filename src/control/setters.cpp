#include "control/setters.h"

#include <cmath>
#include <optional>

#include "base/number_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* kNoByte = "Value is greater than one byte or not numeric";
constexpr int kMostTrim = 7;

constexpr SetterInput kCtType = {"TYPE", 0, 255, 1, "Invalid CT type value."};
constexpr SetterInput kCtRange = {"RANGE", 2, 7, 1, "Invalid CT Range value."};

constexpr Setter Trim(QLatin1StringView name, QLatin1StringView title, Operation operation, int auxChannel) {
    return {name, title, operation, {{{"VALUE", -kMostTrim, kMostTrim}}}, auxChannel};
}

constexpr auto kSetters = std::to_array<Setter>({
    {"ct1"_L1, "Current transformer of CH1"_L1, Operation::Ct1, {{kCtType, kCtRange}}},
    {"ct2"_L1, "Current transformer of CH2"_L1, Operation::Ct2, {{kCtType, kCtRange}}},
    {"pt"_L1,
     "Potential transformer"_L1,
     Operation::Pt,
     {{{"TYPE", 0, 255, 1, "Invalid PT type value."}, {"RANGE", 0, 255, 1, "Invalid PT Range value."}}}},
    {"iv2"_L1, "Packet send frequency"_L1, Operation::SendFrequency, {{{"SECONDS", 0, 255, 1, kNoByte}}}},
    {"iv3"_L1,
     "Change of power that sends a packet"_L1,
     Operation::TriggerThreshold,
     {{{"WATTS", 0, 65535, 2, "Value is not numeric"}}}},
    {"aux"_L1,
     "AUX constant"_L1,
     Operation::AuxConstant,
     {{{"CONSTANT", 1, 255, 1, "Improper constant value must be 1 - 255"}}}},
    Trim("trim1"_L1, "Trim of AUX1"_L1, Operation::AuxTrim1, 1),
    Trim("trim2"_L1, "Trim of AUX2"_L1, Operation::AuxTrim2, 2),
    Trim("trim3"_L1, "Trim of AUX3"_L1, Operation::AuxTrim3, 3),
    Trim("trim4"_L1, "Trim of AUX4"_L1, Operation::AuxTrim4, 4),
    Trim("trim5"_L1, "Trim of AUX5"_L1, Operation::AuxTrim5, 5),
    {"options"_L1, "Option byte"_L1, Operation::OptionsByte, {{{"BYTE", 0, 255, 1, kNoByte}}}},
    {"interval"_L1,
     "Storage interval of the data logger"_L1,
     Operation::StorageInterval,
     {{{"MINUTES", 1, 255, 1, "Must be a numeric value between 1 and 255 (minutes)"}}}},
    {"ng1"_L1, "NG1"_L1, Operation::Ng1},
    {"ng2"_L1, "NG2"_L1, Operation::Ng2},
    {"identity"_L1,
     "Identity of a VRQ-5806"_L1,
     Operation::TwoChannelIdentity,
     {{{"SERIAL", 0, 65535, 2, "The serial number is a number from 0 to 65535."},
       {"UNITID", 0, 255, 1, "The unit id is a number from 0 to 255."}}}},
});

/// The whole number that `text` stands for; nothing where it stands for none that any setter takes.
std::optional<int> WholeNumber(const QString& text) {
    return WholeNumberEntry(text, -1'000'000, 1'000'000);
}

std::variant<QByteArray, QString> ParseTrim(int auxChannel, const QString& text) {
    const auto trim = WholeNumber(text);
    if (!trim.has_value()) {
        return u"The value for AUX %1 is not a numerical value. Correct and try again."_s.arg(auxChannel);
    }
    if (std::abs(*trim) > kMostTrim) {
        return u"More than seven CTs on one AUX channel is not allowed. Correct and try again"_s;
    }
    if (*trim == 0) {
        return u"Zero value is not allowed. If no Nanocoils are connected, use the value of 1."_s;
    }
    return QByteArray(1, static_cast<char>(NibbleOfTrim(*trim)));
}

}  // namespace

std::size_t Setter::InputCount() const {
    std::size_t count = 0;
    while (count < inputs.size() && inputs[count].name != nullptr)
        ++count;
    return count;
}

QString Setter::Usage() const {
    QString usage = name;
    for (std::size_t i = 0; i < InputCount(); ++i)
        usage += u' ' + QLatin1StringView(inputs[i].name);
    return usage;
}

std::variant<QByteArray, QString> Setter::Parse(const QStringList& texts) const {
    if (static_cast<std::size_t>(texts.size()) != InputCount()) return u"Usage: %1"_s.arg(Usage());
    if (auxChannel > 0) return ParseTrim(auxChannel, texts.first());
    QByteArray bytes;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const SetterInput& input = inputs[static_cast<std::size_t>(i)];
        const auto value = WholeNumber(texts[i]);
        if (!value.has_value() || *value < input.least || *value > input.most) {
            return QString::fromLatin1(input.refusal);
        }
        bytes.append(static_cast<char>(*value % 256));
        if (input.bytes == 2) bytes.append(static_cast<char>(*value / 256));
    }
    return bytes;
}

std::vector<MonitorSetting> Setter::Settings() const {
    std::vector<MonitorSetting> settings;
    for (const Piece& piece : SequenceOf(operation)) {
        if (piece.setting.has_value() && !piece.highByte) settings.push_back(*piece.setting);
    }
    return settings;
}

std::span<const Setter> Setters() {
    return kSetters;
}

const Setter* FindSetter(const QString& name) {
    for (const Setter& setter : kSetters) {
        if (setter.name == name) return &setter;
    }
    return nullptr;
}

}  // namespace corvane
