// The settings block that a monitor answers to "RCV": its layout as a table, which the read-out and the
// simulated monitor share.
//
// Bytes are numbered from 1 as they arrive; byte 1 acknowledges. Numbers are unsigned, two-byte ones with the
// high byte first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

/// What a monitor answers to a piece of a command that it took.
inline constexpr std::uint8_t kAcknowledgement = 0xFC;

/// Bytes that a read-out waits for. Those past `kSettingsBytes` have no meaning.
inline constexpr std::size_t kSettingsReply = 34;
inline constexpr std::size_t kSettingsBytes = 33;

enum class MonitorSetting : std::uint8_t {
    Ct1Type,
    Ct1Range,
    Ct2Type,
    Ct2Range,
    PtType,
    PtRange,
    SendFrequency,
    StorageInterval,
    Firmware,
    UnitId,
    SerialNumber,
    AuxConstant,
    AuxOptions,
    AuxTrim1,
    AuxTrim2,
    AuxTrim3,
    AuxTrim4,
    AuxTrim5,
    AuxTrim6,
    K1H,
    K1L,
    K2H,
    K2L,
    KV0,
    Option,
    AuxVersion,
    TriggerThreshold,
};

enum class FieldPart : std::uint8_t { Byte, TwoBytes, LowNibble, HighNibble };

/// How a field's number becomes a text.
enum class FieldForm : std::uint8_t { Plain, Thousandths, FiveDigits, AuxMode, Trim, Watts };

struct SettingsField {
    std::string_view key;    ///< for programs
    std::string_view label;  ///< for people, with the blanks that belong to it
    std::uint8_t byte;       ///< number of the (first) byte
    FieldPart part = FieldPart::Byte;
    FieldForm form = FieldForm::Plain;
};

/// In the order of `Setting`. Bytes 26 to 29 and 33 are not read.
inline constexpr auto kSettingsFields = std::to_array<SettingsField>({
    {"ct1Type", "CT1 Type: ", 2},
    {"ct1Range", "CT1 Range: ", 3},
    {"ct2Type", "CT2 Type: ", 4},
    {"ct2Range", "CT2 Range: ", 5},
    {"ptType", "PT Type: ", 6},
    {"ptRange", "PT Range: ", 7},
    {"sendFrequency", "Packet Send Frequency: ", 8},
    {"storageInterval", "Data Logger Storage Interval: ", 9},
    {"firmware", "Firmware version: ", 10, FieldPart::TwoBytes, FieldForm::Thousandths},
    {"unitId", "Unit ID:  ", 12},
    {"serialNumber", "Unit serial number:  ", 13, FieldPart::TwoBytes, FieldForm::FiveDigits},
    {"auxConstant", "Aux Constant:  ", 15},
    {"auxOptions", "Aux Options:    ", 16, FieldPart::Byte, FieldForm::AuxMode},
    {"auxTrim1", "Aux Trim 1  ", 17, FieldPart::LowNibble, FieldForm::Trim},
    {"auxTrim2", "Aux Trim 2  ", 17, FieldPart::HighNibble, FieldForm::Trim},
    {"auxTrim3", "Aux Trim 3  ", 18, FieldPart::LowNibble, FieldForm::Trim},
    {"auxTrim4", "Aux Trim 4  ", 18, FieldPart::HighNibble, FieldForm::Trim},
    {"auxTrim5", "Aux Trim 5  ", 19, FieldPart::LowNibble, FieldForm::Trim},
    {"auxTrim6", "Aux Trim 6  ", 19, FieldPart::HighNibble, FieldForm::Trim},
    {"k1h", "K1H Constant:  ", 20},
    {"k1l", "K1L Constant:  ", 21},
    {"k2h", "K2H Constant:  ", 22},
    {"k2l", "K2L Constant:  ", 23},
    {"kv0", "KV0 Constant:  ", 24},
    {"option", "Option:  ", 25},
    {"auxVersion", "Aux Ver: ", 30},
    {"triggerThreshold", "Packet Trigger Threshold:   ", 31, FieldPart::TwoBytes, FieldForm::Watts},
});

[[nodiscard]] constexpr const SettingsField& Layout(MonitorSetting setting) {
    return kSettingsFields[static_cast<std::size_t>(setting)];
}

/// A trim has four bits: up to 7 they are the number itself, above that 8 minus them, which is negative.
[[nodiscard]] constexpr int TrimOfNibble(int nibble) {
    return nibble <= 7 ? nibble : 8 - nibble;
}
[[nodiscard]] constexpr int NibbleOfTrim(int trim) {
    return trim >= 0 ? trim : 8 - trim;
}

struct SettingsBlock {
    std::array<std::uint8_t, kSettingsBytes> bytes{};

    /// The field's number as sent.
    [[nodiscard]] constexpr int Raw(MonitorSetting setting) const {
        const SettingsField& field = Layout(setting);
        const int byte = bytes[field.byte - 1U];
        switch (field.part) {
            case FieldPart::Byte:
                break;
            case FieldPart::TwoBytes:
                return byte * 256 + bytes[field.byte];
            case FieldPart::LowNibble:
                return byte % 16;
            case FieldPart::HighNibble:
                return byte / 16;
        }
        return byte;
    }

    /// Higher bits than the field has room for are cut off.
    constexpr void Set(MonitorSetting setting, int raw) {
        const SettingsField& field = Layout(setting);
        std::uint8_t& byte = bytes[field.byte - 1U];
        switch (field.part) {
            case FieldPart::Byte:
                byte = static_cast<std::uint8_t>(raw);
                break;
            case FieldPart::TwoBytes:
                byte = static_cast<std::uint8_t>(raw / 256);
                bytes[field.byte] = static_cast<std::uint8_t>(raw);
                break;
            case FieldPart::LowNibble:
                byte = static_cast<std::uint8_t>((byte & 0xF0) | (raw & 0x0F));
                break;
            case FieldPart::HighNibble:
                byte = static_cast<std::uint8_t>((byte & 0x0F) | (raw & 0x0F) << 4);
                break;
        }
    }

    /// The number that a setter would be given to bring this value about.
    [[nodiscard]] constexpr int Value(MonitorSetting setting) const {
        return Layout(setting).form == FieldForm::Trim ? TrimOfNibble(Raw(setting)) : Raw(setting);
    }

    [[nodiscard]] constexpr bool Acknowledged() const { return bytes[0] == kAcknowledgement; }

    /// Whether the block can be that of a monitor: an aux constant below 181 and an option below 6.
    [[nodiscard]] constexpr bool Plausible() const {
        return Raw(MonitorSetting::AuxConstant) < 181 && Raw(MonitorSetting::Option) < 6;
    }

    /// The unit id in decimal, then the serial number as five digits: what a device is bound to.
    [[nodiscard]] std::string SerialText() const;

    /// Whether the monitor has no serial number of its own.
    [[nodiscard]] constexpr bool HasNoSerial() const { return Raw(MonitorSetting::SerialNumber) == 0; }

    /// The value as people read it, without the label.
    [[nodiscard]] std::string Text(MonitorSetting setting) const;
};

}  // namespace corvane
