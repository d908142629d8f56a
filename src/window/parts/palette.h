// The colors that mean something, the same on every tab and, in src/web/pages/style.css, in the browser.
#pragma once

#include <QColor>

#include <array>

#include "base/channels.h"

namespace corvane {

/// Colors for one kind of background. Each stands out from it by a contrast of 3 : 1 at least, and those of
/// the channels are told apart by who does not see red or green, too.
struct Palette {
    std::array<QColor, kChannels> channels;  ///< by `kChannelTable`

    // Of states, which are told in words as well.
    QColor live;
    QColor stale;  ///< and off line, or waited for
    QColor lost;

    // Powers of the house, and the flow of water or gas.
    [[nodiscard]] const QColor& Used() const { return channels[0]; }
    [[nodiscard]] const QColor& FromGrid() const { return channels[1]; }
    [[nodiscard]] const QColor& Generated() const { return channels[2]; }  ///< and what is sent to the grid
    [[nodiscard]] const QColor& Flow() const { return channels[5]; }
};

/// The palette for that background, which is light or dark. It lasts as long as the program.
[[nodiscard]] const Palette& PaletteOn(const QColor& background);

/// The color that lies between the two; 0 is all of `a`, 1 all of `b`.
[[nodiscard]] QColor Mixed(const QColor& a, const QColor& b, double share);

}  // namespace corvane
