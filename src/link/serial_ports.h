// COM port numbers, the devices that stand behind them, and what the operating system tells of those.
#pragma once

#include <QString>

#include <array>

#include "base/outcome.h"
#include "base/setting.h"

namespace corvane {

class SettingsStore;

inline constexpr int kComPorts = 64;  ///< COM ports are numbered from 1 to this

Outcome CheckComDevice(QString& text, const SettingValues& values);

inline constexpr Setting kComDevice{.key = "ComDevice#",
                                    .members = "1-64",
                                    .check = CheckComDevice,
                                    .effect = SettingEffect::NextOpening,
                                    .help = "Path of the device that the COM port stands for."};
inline constexpr std::array kSerialPortsSettings = {kComDevice};

/// The path of the device that COM port 1..64 stands for. On Windows that is the port's own name; elsewhere
/// the setting `kComDevice`, and where there is none 1..32 = /dev/ttyS0..31, 33..48 =
/// /dev/ttyUSB0..15, 49..64 = /dev/ttyACM0..15.
[[nodiscard]] QString ComDevice(int number, const SettingsStore& settings);

/// The device itself where `path` is a symbolic link to it; else `path`.
[[nodiscard]] QString LinkedDevice(const QString& path);

enum class PortState {
    Missing,  ///< no such device, or no hardware behind it
    Free,
    Busy,     ///< another program has it, for itself alone
    Denied,   ///< this user has no right to open it
    OwnLink,  ///< open as one of the serial connections; never a result of `TestPort`
};

/// What a port's state means, to be read after its path: "is free", "is in use already". Where the user has
/// no right it names the group to join.
[[nodiscard]] QString PortStateText(PortState state, const QString& path);

/// The operating system's serial ports.
class SerialPorts {
public:
    virtual ~SerialPorts() = default;

    /// Opens a port and closes it again. One that is open elsewhere keeps its settings and its bytes.
    [[nodiscard]] virtual PortState TestPort(const QString& path) = 0;

    /// What the device calls itself, on USB; empty where nothing is known.
    [[nodiscard]] virtual QString Product(const QString& path) = 0;
};

class SystemSerialPorts final : public SerialPorts {
public:
    [[nodiscard]] PortState TestPort(const QString& path) override;
    [[nodiscard]] QString Product(const QString& path) override;
};

}  // namespace corvane
