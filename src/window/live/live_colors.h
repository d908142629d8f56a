// Colours that mean something. Each stands out from a light and from a dark background.
#pragma once

#include <QColor>

#include <array>
#include <cstddef>

#include "measure/readings.h"

namespace corvane {

inline constexpr QColor kOnLineColor(0x2f, 0xa8, 0x66);
inline constexpr QColor kOffLineColor(0xe0, 0x7b, 0x1a);

/// Power that comes from the grid, and power that is generated or goes to it.
inline constexpr QColor kImportColor(0xe0, 0x7b, 0x1a);
inline constexpr QColor kExportColor(0x2f, 0xa8, 0x66);

inline constexpr QColor kUsedColor(0x3b, 0x82, 0xf6);
inline constexpr QColor kFlowColor(0x17, 0xa2, 0xb8);

/// CH1, CH2, AUX1..AUX5.
inline constexpr std::array<QColor, kChannels> kChannelColors = {
    QColor(0x3b, 0x82, 0xf6), QColor(0xe0, 0x7b, 0x1a), QColor(0x2f, 0xa8, 0x66), QColor(0xa0, 0x6b, 0xea),
    QColor(0xe0, 0x56, 0x7a), QColor(0x17, 0xa2, 0xb8), QColor(0xa8, 0x8a, 0x1f)};

}  // namespace corvane
