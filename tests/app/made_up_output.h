// An output that the program knows nothing of: what one brings by itself.
#pragma once

#include "base/status_board.h"
#include "forward/output.h"
#include "measure/readings_sink.h"
#include "store/settings_store.h"

namespace corvane {

inline constexpr Setting kDisplayEnable{
    .key = "WallDisplayEnable", .kind = SettingKind::Switch, .fallback = "False"};
inline constexpr Setting kDisplayBrightness{
    .key = "WallDisplayBrightness", .kind = SettingKind::Number, .fallback = "3", .least = 1, .most = 9};
inline constexpr Setting kDisplayPin{.key = "WallDisplayPin", .privacy = SettingPrivacy::Secret};

class MadeUpOutput final : public Output, public ReadingsSink {
public:
    explicit MadeUpOutput(const SettingsStore& settings) : settings_(settings) {}

    [[nodiscard]] const OutputNames& Names() const override {
        static constexpr OutputNames kNames = {.word = "wall", .name = "Wall Display", .log = "Flashes"};
        return kNames;
    }
    [[nodiscard]] std::span<const Setting> Settings() const override {
        static constexpr Setting kSettings[] = {kDisplayEnable, kDisplayBrightness, kDisplayPin};
        return kSettings;
    }
    [[nodiscard]] std::span<const OutputChoice> Choices() const override {
        static constexpr OutputChoice kChoices[] = {
            {.setting = &kDisplayEnable, .word = "on", .offWord = "off", .label = "Show on the wall"},
            {.setting = &kDisplayBrightness,
             .word = "brightness",
             .argument = "NUMBER",
             .label = "Brightness"},
            {.setting = &kDisplayPin, .word = "pin", .argument = "PIN", .label = "PIN"}};
        return kChoices;
    }
    [[nodiscard]] std::vector<OutputAction> Actions() override {
        return {{.word = "flash",
                 .caption = QStringLiteral("Flash it"),
                 .done = "It flashed.",
                 .awaited = [this](Operator&) { return Flash(); }}};
    }
    [[nodiscard]] ReadingsSink* Sink() override { return this; }
    void StartUp() override { ++started; }
    void Close() override { ++closed; }
    [[nodiscard]] bool Enabled() const override { return settings_.IsOn(kDisplayEnable); }
    [[nodiscard]] OutputState Standing() const override { return standing; }
    [[nodiscard]] OutputStatus Status() const override {
        return {.lines = {Name() + QStringLiteral(": ") + OnOff(Enabled())},
                .data = {{QStringLiteral("brightness"), settings_.Value(kDisplayBrightness)}}};
    }
    [[nodiscard]] const StatusBoard* Log() const override { return &log_; }
    void OnReadings(const DeviceReadings&) override { ++shown; }

    OutputState standing = OutputState::Refused;
    int started = 0;
    int closed = 0;
    int shown = 0;  ///< readings

    QCoro::Task<Outcome> Flash() {
        log_.AddLine(QStringLiteral("on\r\noff\r\n"));
        co_return Outcome::Success();
    }

private:
    const SettingsStore& settings_;
    StatusBoard log_;
};

}  // namespace corvane
