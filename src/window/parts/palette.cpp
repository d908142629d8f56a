#include "window/parts/palette.h"

namespace corvane {

const Palette& PaletteOn(const QColor& background) {
    static const Palette onLight = {
        .channels = {0x5181e3, 0xf24d01, 0x3f9876, 0x56099b, 0x6e034f, 0x047175, 0x684a04},
        .live = 0x2c7a3f,
        .stale = 0x8a4b00,
        .lost = 0xa3242b};
    static const Palette onDark = {
        .channels = {0x4176fd, 0xcc7102, 0x98ca8f, 0xcba2fd, 0xbb6196, 0x8efdfe, 0xeff124},
        .live = 0x8fdba0,
        .stale = 0xffcf85,
        .lost = 0xffaca8};
    return background.lightness() < 128 ? onDark : onLight;
}

QColor Mixed(const QColor& a, const QColor& b, double share) {
    return QColor::fromRgbF(static_cast<float>(a.redF() * (1 - share) + b.redF() * share),
                            static_cast<float>(a.greenF() * (1 - share) + b.greenF() * share),
                            static_cast<float>(a.blueF() * (1 - share) + b.blueF() * share));
}

}  // namespace corvane
