#include "control/settings_block.h"

#include "base/number_format.h"

namespace corvane {
namespace {

constexpr std::array<std::string_view, 3> kAuxModes = {"AC Power or Unipolar DC", "Pulse Counting",
                                                       "Set Bipolar DC"};

}  // namespace

std::string SettingsBlock::SerialText() const {
    return std::to_string(Raw(MonitorSetting::UnitId)) + Text(MonitorSetting::SerialNumber);
}

std::string SettingsBlock::Text(MonitorSetting setting) const {
    const int value = Value(setting);
    switch (Layout(setting).form) {
        case FieldForm::Plain:
        case FieldForm::Trim:
            break;
        case FieldForm::Thousandths:
            return FormatNumber(value * 0.001, "##.000");
        case FieldForm::FiveDigits:
            return FormatNumber(value, "00000");
        case FieldForm::AuxMode:
            if (static_cast<std::size_t>(value) >= kAuxModes.size()) break;
            return std::string(kAuxModes[static_cast<std::size_t>(value)]);
        case FieldForm::Watts:
            return std::to_string(value) + " Watts";
    }
    return std::to_string(value);
}

}  // namespace corvane
