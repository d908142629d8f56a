// The colours of charts.
#pragma once

#include <QColor>

#include <array>

#include "history/power_history.h"

namespace corvane {

/// The colours of the channels, such as are told apart on `background`.
[[nodiscard]] const std::array<QColor, kChannels>& ChannelColors(const QColor& background);

/// The colour that lies between the two; 0 is all of `a`, 1 all of `b`.
[[nodiscard]] QColor Mixed(const QColor& a, const QColor& b, double share);

}  // namespace corvane
