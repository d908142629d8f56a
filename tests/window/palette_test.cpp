// The colors of window and pages: the same, and readable on their backgrounds.
#include <QApplication>
#include <QFile>
#include <QPalette>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "window/parts/palette.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using Triple = std::array<double, 3>;

constexpr double kLeastContrast = 3;

/// Red, green and blue as amounts of light.
Triple Linear(const QColor& color) {
    Triple light = {color.redF(), color.greenF(), color.blueF()};
    for (double& part : light)
        part = part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    return light;
}

/// As WCAG 2 has it.
double Contrast(const QColor& a, const QColor& b) {
    const auto luminance = [](const QColor& color) {
        const Triple light = Linear(color);
        return 0.2126 * light[0] + 0.7152 * light[1] + 0.0722 * light[2];
    };
    const auto [darker, lighter] = std::minmax({luminance(a), luminance(b)});
    return (lighter + 0.05) / (darker + 0.05);
}

/// A custom property of the pages' style, as it is given first, or again for dark screens.
QColor OfStyle(const QString& name, bool dark) {
    QFile file(u":/web/style.css"_s);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QString style = QString::fromUtf8(file.readAll());
    const auto from = dark ? style.indexOf(u"prefers-color-scheme: dark"_s) : 0;
    const QRegularExpression given(u"--%1: (#[0-9a-f]{6});"_s.arg(name));
    return QColor(given.match(style, from).captured(1));
}

struct Scheme {
    bool dark;
    std::vector<QColor> windows;  ///< backgrounds of usual desktops
};

std::vector<Scheme> Schemes() {
    std::vector<QColor> ours;
    for (const auto role : {QPalette::Base, QPalette::AlternateBase, QPalette::Window})
        ours.push_back(QApplication::palette().color(role));
    return {{false, ours}, {true, {0x353535, 0x2d2d2d, 0x31363b, 0x1b1e20}}};
}

TEST(Palette, EveryColorStandsOutFromEveryBackground) {
    for (const Scheme& scheme : Schemes()) {
        std::vector<QColor> backgrounds = scheme.windows;
        for (const auto& name : {u"paper"_s, u"card"_s})
            backgrounds.push_back(OfStyle(name, scheme.dark));
        for (const QColor& background : backgrounds) {
            const Palette& palette = PaletteOn(background);
            std::vector<QColor> colors(palette.channels.begin(), palette.channels.end());
            colors.insert(colors.end(), {palette.live, palette.stale, palette.lost});
            for (const QColor& color : colors)
                EXPECT_GE(Contrast(color, background), kLeastContrast)
                    << color.name().toStdString() << " on " << background.name().toStdString();
        }
    }
}

TEST(Palette, ThePagesHaveTheSameColors) {
    for (const bool dark : {false, true}) {
        const Palette& palette = PaletteOn(dark ? Qt::black : Qt::white);
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            EXPECT_EQ(OfStyle(QString::fromLatin1(kChannelTable[channel].column), dark),
                      palette.channels[channel])
                << ChannelName(channel);
        EXPECT_EQ(OfStyle(u"live"_s, dark), palette.live);
        EXPECT_EQ(OfStyle(u"warn"_s, dark), palette.stale);
        EXPECT_EQ(OfStyle(u"lost"_s, dark), palette.lost);
    }
    QFile file(u":/web/style.css"_s);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray style = file.readAll();
    const Palette& palette = PaletteOn(Qt::white);
    const std::pair<const char*, QColor> powers[] = {{"use", palette.Used()},
                                                     {"buy", palette.FromGrid()},
                                                     {"gen", palette.Generated()},
                                                     {"sell", palette.Generated()},
                                                     {"flow", palette.Flow()}};
    for (const auto& [name, color] : powers)
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            EXPECT_EQ(
                style.contains("--" + QByteArray(name) + ": var(--" + kChannelTable[channel].column + ");"),
                palette.channels[channel] == color)
                << name;
}

}  // namespace
}  // namespace corvane
