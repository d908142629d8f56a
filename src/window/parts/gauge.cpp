#include "window/parts/gauge.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

#include "base/number_format.h"
#include "window/parts/card.h"
#include "window/parts/scale.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kArc = 240;  ///< degrees, open at the bottom
constexpr double kStart = 90 + kArc / 2;
constexpr double kDepth = 1.8;  ///< radii from the top of the arc to below the numbers at its ends

/// As large as asked for, or as `text` and one as long as `roomFor` fit into `place`: nothing is cut off.
void DrawFitted(QPainter& painter, const QRectF& place, const QString& text, bool bold = false,
                const QString& roomFor = {}) {
    QFont font = painter.font();
    font.setBold(bold);
    font.setPixelSize(std::max(1, static_cast<int>(place.height() * 0.75)));
    const QFontMetricsF metrics(font);
    const double width = std::max(metrics.horizontalAdvance(text), metrics.horizontalAdvance(roomFor));
    if (width > place.width())
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * place.width() / width)));
    painter.setFont(font);
    painter.drawText(place, Qt::AlignCenter, text);
}

QString SilenceText(const GaugeReading& reading) {
    return QString::fromLatin1(PresenceText(reading.presence));
}

void DrawArc(QPainter& painter, const QRectF& dial, double from, double span) {
    constexpr double kUnits = 16;  // of a degree
    painter.drawArc(dial, static_cast<int>(from * kUnits), static_cast<int>(span * kUnits));
}

}  // namespace

Gauge::Gauge() {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void Gauge::Show(const GaugeReading& reading) {
    if (reading == reading_) return;
    if (reading.title != reading_.title) end_ = 0;  // it measures something else now
    reading_ = reading;
    end_ = std::max(end_, RoundedUp(std::max(std::abs(reading.amount), reading.leastScale)));
    setAccessibleName(reading.title);
    QStringList texts = {reading.value, reading.note, reading.total};
    if (reading.presence != Presence::Live) texts.append(SilenceText(reading));
    texts.removeAll(QString());
    setAccessibleDescription(texts.join(u", "_s));
    update();
}

QSize Gauge::minimumSizeHint() const {
    const int line = fontMetrics().height();
    return {line * 11, line * 9};
}

void Gauge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    DrawCard(painter, *this);
    const double line = std::min(height() / 9.5, width() / 11.0);
    const QRectF inside = QRectF(rect()).adjusted(line / 2, line / 3, -line / 2, -line / 3);
    const QColor quiet = palette().color(QPalette::PlaceholderText);
    const bool live = reading_.presence == Presence::Live;
    const QColor strong = live ? palette().color(QPalette::Text) : quiet;
    painter.setPen(strong);
    DrawFitted(painter, {inside.left(), inside.top(), inside.width(), line}, reading_.title, true);

    const double below = line * (1 + (reading_.total.isEmpty() ? 0 : 1));
    const double depth = inside.height() - below - line * 1.4;
    const double radius = std::min(depth / kDepth, inside.width() / 2 - line / 2);
    const QRectF dial(inside.center().x() - radius, inside.top() + line * 1.4 + (depth - radius * kDepth) / 2,
                      2 * radius, 2 * radius);
    DrawDial(painter, dial);
    DrawEnds(painter, dial);
    painter.setPen(strong);
    const double wide = radius * 1.45;
    DrawFitted(painter, {dial.center().x() - wide / 2, dial.center().y() - radius * 0.4, wide, radius * 0.75},
               reading_.value, true, u"0000 W"_s);
    const QRectF note(inside.left(), inside.bottom() - below, inside.width(), line);
    painter.setPen(strong);
    DrawFitted(painter, note, live ? reading_.note : SilenceText(reading_));
    painter.setPen(quiet);
    if (!reading_.total.isEmpty()) DrawFitted(painter, note.translated(0, line), reading_.total);
}

void Gauge::DrawDial(QPainter& painter, const QRectF& dial) const {
    QColor track = palette().color(QPalette::Text);
    track.setAlphaF(0.1F);
    const double thick = dial.width() * 0.08;
    const QRectF arc = dial.adjusted(thick / 2, thick / 2, -thick / 2, -thick / 2);
    painter.setPen(QPen(track, thick, Qt::SolidLine, Qt::RoundCap));
    DrawArc(painter, arc, kStart, -kArc);
    const bool bothWays = reading_.bothWays || reading_.amount < 0;
    const double zero = bothWays ? 90 : kStart;
    const double share = std::clamp(reading_.amount / end_, bothWays ? -1.0 : 0.0, 1.0);
    QColor color = reading_.amount < 0 ? reading_.otherWay : reading_.color;
    if (reading_.presence != Presence::Live) color = palette().color(QPalette::PlaceholderText);
    if (share != 0) {
        painter.setPen(QPen(color, thick, Qt::SolidLine, Qt::RoundCap));
        DrawArc(painter, arc, zero, -share * (bothWays ? kArc / 2 : kArc));
    }
    if (!bothWays) return;
    painter.setPen(QPen(palette().color(QPalette::Text), std::max(1.0, thick / 6)));
    const double x = dial.center().x();
    painter.drawLine(QPointF(x, dial.top()), QPointF(x, dial.top() + thick));
}

/// What the scale begins and ends with, under the ends of the arc.
void Gauge::DrawEnds(QPainter& painter, const QRectF& dial) const {
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const double radius = dial.width() / 2;
    const double low = dial.center().y() + radius * 0.56;
    const QSizeF size(radius * 0.6, radius * 0.2);
    const bool bothWays = reading_.bothWays || reading_.amount < 0;
    for (const double side : {-1.0, 1.0}) {
        const double number = side > 0 ? end_ : bothWays ? -end_ : 0;
        const QPointF at(dial.center().x() + side * radius * 0.78 - size.width() / 2, low);
        DrawFitted(painter, {at, size}, QString::fromStdString(FormatNumber(number, "#######0")));
    }
}

}  // namespace corvane
