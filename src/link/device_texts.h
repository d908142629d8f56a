// The texts in which people read which monitor a device answers to.
#pragma once

#include <QString>

#include "base/outcome.h"

namespace corvane {

class DeviceSlots;

/// "Device A" to "Device F" for slot 1..6.
[[nodiscard]] QString SlotName(int slot);

/// "TCP Server A" or "Serial Connection A": the link of receive stream 0..4.
[[nodiscard]] QString LinkName(int stream);

/// The serial text that the slot answers to, or "not bound".
[[nodiscard]] QString BoundText(const DeviceSlots& slots, int slot);

/// "Device A answers to 301234.", or that it answers to no monitor.
[[nodiscard]] QString AnswersText(const DeviceSlots& slots, int slot);

/// The failure of what needs a device where none was chosen.
[[nodiscard]] Outcome NoUnitSelected();

}  // namespace corvane
