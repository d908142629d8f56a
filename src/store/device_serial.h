// Which monitor each device slot is bound to, as the settings keep it.
#pragma once

#include "base/setting.h"

namespace corvane {

/// Owned by the device slots; the upkeep of the database compares its rows with it.
inline constexpr Setting kDeviceSerial{.key = "DevSerial",
                                       .section = SettingSection::SlotFromZero,
                                       .by = SettingBy::Command,
                                       .help = "The serial text that the device is bound to."};

}  // namespace corvane
