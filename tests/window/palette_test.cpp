// The colors of window and pages: the same, readable on their backgrounds, and told apart by everybody.
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
using Matrix = std::array<Triple, 3>;

constexpr double kLeastContrast = 3;
constexpr double kLeastDistance = 0.12;  // in OKLab; black and white are 1 apart

Triple Times(const Matrix& matrix, const Triple& vector) {
    Triple product{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            product[row] += matrix[row][column] * vector[column];
    return product;
}

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

/// How eyes see light: all of it, without red, and without green (Machado, Oliveira and Fernandes, 2009).
constexpr std::array<Matrix, 3> kEyes = {{
    {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
    {{{0.152286, 1.052583, -0.204868}, {0.114503, 0.786281, 0.099216}, {-0.003882, -0.048116, 1.051998}}},
    {{{0.367322, 0.860646, -0.227968}, {0.280085, 0.672501, 0.047413}, {-0.011820, 0.042940, 0.968881}}},
}};

/// Where those eyes see the color, in OKLab.
Triple SeenBy(const Matrix& eyes, const QColor& color) {
    constexpr Matrix kCones = {{{0.4122214708, 0.5363325363, 0.0514459929},
                                {0.2119034982, 0.6806995451, 0.1073969566},
                                {0.0883024619, 0.2817188376, 0.6299787005}}};
    constexpr Matrix kLab = {{{0.2104542553, 0.7936177850, -0.0040720468},
                              {1.9779984951, -2.4285922050, 0.4505937099},
                              {0.0259040371, 0.7827717662, -0.8086757660}}};
    Triple cones = Times(kCones, Times(eyes, Linear(color)));
    for (double& cone : cones)
        cone = std::cbrt(std::max(cone, 0.0));
    return Times(kLab, cones);
}

double Distance(const Triple& a, const Triple& b) {
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
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

TEST(Palette, ChannelsAreToldApartByEveryEye) {
    for (const QColor& background : {QColor(Qt::white), QColor(Qt::black)}) {
        const auto& colors = PaletteOn(background).channels;
        for (std::size_t eyes = 0; eyes < kEyes.size(); ++eyes)
            for (std::size_t a = 0; a < kChannels; ++a)
                for (std::size_t b = 0; b < a; ++b)
                    EXPECT_GE(Distance(SeenBy(kEyes[eyes], colors[a]), SeenBy(kEyes[eyes], colors[b])),
                              kLeastDistance)
                        << ChannelName(a) << " and " << ChannelName(b) << ", eyes " << eyes;
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
