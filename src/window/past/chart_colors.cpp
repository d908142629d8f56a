#include "window/past/chart_colors.h"

namespace corvane {

const std::array<QColor, kChannels>& ChannelColors(const QColor& background) {
    static const std::array<QColor, kChannels> onLight = {0x2563eb, 0xd9480f, 0x15803d, 0x9333ea,
                                                          0xb45309, 0x0e7490, 0xbe185d};
    static const std::array<QColor, kChannels> onDark = {0x60a5fa, 0xfb923c, 0x4ade80, 0xc084fc,
                                                         0xfacc15, 0x22d3ee, 0xf472b6};
    return background.lightness() < 128 ? onDark : onLight;
}

QColor Mixed(const QColor& a, const QColor& b, double share) {
    return QColor::fromRgbF(static_cast<float>(a.redF() * (1 - share) + b.redF() * share),
                            static_cast<float>(a.greenF() * (1 - share) + b.greenF() * share),
                            static_cast<float>(a.blueF() * (1 - share) + b.blueF() * share));
}

}  // namespace corvane
