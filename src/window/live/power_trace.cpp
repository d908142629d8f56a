#include "window/live/power_trace.h"

#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/clock.h"
#include "link/device_texts.h"
#include "measure/measurement.h"
#include "measure/virtual_texts.h"
#include "window/live/recent_power.h"
#include "window/parts/palette.h"
#include "window/parts/scale.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kLeastTop = 100;  // watts; below, a trace of nothing would look like one of something
constexpr int kMargin = 3;         // around the lines, for their thickness
constexpr int kMinutes = RecentPower::kSpan / (60 * 1000);
/// A line never bridges the time that the device was off line.
constexpr std::int64_t kLongestStep = Measurement::kOfflineAfter * 1000;

}  // namespace

PowerTrace::PowerTrace(const RecentPower& recent, int slot) : recent_(recent), slot_(slot) {
    setAccessibleName(u"Power in the last 5 minutes, "_s + SlotName(slot));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PowerTrace::Refresh() {
    now_ = recent_.Time().Monotonic();
    update();
}

void PowerTrace::Emphasize(std::optional<std::size_t> channel) {
    emphasized_ = channel;
    update();
}

QSize PowerTrace::sizeHint() const {
    return minimumSizeHint();
}

QSize PowerTrace::minimumSizeHint() const {
    const int line = fontMetrics().height();
    return {line * 12, line * 8};
}

double PowerTrace::HighestWatts() const {
    std::int32_t highest = 0;
    for (const RecentPower::Sample& sample : recent_.Of(slot_)) {
        for (const auto& watts : sample.watts)
            highest = std::max(highest, watts.value_or(0));
    }
    return highest;
}

void PowerTrace::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const int line = fontMetrics().height();
    const double top = RoundedUp(std::max(HighestWatts(), kLeastTop));
    const int labels = fontMetrics().horizontalAdvance(WattsText(top)) + line / 2;
    const QRect field = rect().adjusted(labels, line / 2, -line / 2, -line * 7 / 5);
    if (field.isEmpty()) return;
    DrawScale(painter, field, top);
    const QRect place = field.adjusted(0, -kMargin, 0, kMargin);
    const double ratio = devicePixelRatioF();
    const Palette& colors = PaletteOn(palette().color(QPalette::Base));
    UpdateLines({(QSizeF(place.size()) * ratio).toSize(), ratio, top, emphasized_, &colors});
    painter.drawPixmap(place, lines_, lines_.rect());
}

void PowerTrace::DrawScale(QPainter& painter, const QRectF& field, double top) const {
    constexpr int kSteps = 4;
    const double line = fontMetrics().height();
    QColor grid = palette().color(QPalette::Text);
    grid.setAlphaF(0.12F);
    const QColor words = palette().color(QPalette::PlaceholderText);
    for (int i = 0; i <= kSteps; ++i) {
        const double y = std::round(field.bottom() - field.height() * i / kSteps) + 0.5;
        painter.setPen(grid);
        painter.drawLine(QPointF(field.left(), y), QPointF(field.right(), y));
        if (i % 2 != 0) continue;
        painter.setPen(words);
        painter.drawText(QRectF(0, y - line, field.left() - line / 3, 2 * line),
                         Qt::AlignRight | Qt::AlignVCenter, WattsText(top * i / kSteps));
    }
    for (int minutes = 0; minutes <= kMinutes; ++minutes) {
        const double x = field.right() - field.width() * minutes / kMinutes;
        const QString text = minutes == 0 ? u"now"_s : u"-%1 min"_s.arg(minutes);
        const double width = fontMetrics().horizontalAdvance(text);
        const double left = std::min(x - width / 2, this->width() - width);
        painter.drawText(QPointF(left, field.bottom() + line * 1.2), text);
    }
}

double PowerTrace::PixelOf(std::int64_t at) const {
    const double perMillisecond = static_cast<double>(look_.size.width()) / RecentPower::kSpan;
    return look_.size.width() + static_cast<double>(at) * perMillisecond - static_cast<double>(edge_);
}

void PowerTrace::UpdateLines(const Look& look) {
    const std::int64_t edge = now_ * look.size.width() / RecentPower::kSpan;
    const std::int64_t shift = edge - std::exchange(edge_, edge);
    double from = 0;
    if (look == look_ && shift < look.size.width()) {
        lines_.scroll(static_cast<int>(-shift), 0, lines_.rect());
        from = std::clamp(PixelOf(newest_) - kMargin * look.ratio, 0.0,
                          static_cast<double>(look.size.width() - shift));
    } else {
        look_ = look;
        lines_ = QPixmap(look.size);
        lines_.fill(Qt::transparent);
    }
    QPainter painter(&lines_);
    DrawLines(painter, std::floor(from));
    const auto& samples = recent_.Of(slot_);
    newest_ = samples.empty() ? now_ : samples.back().at;
}

/// Draws what is to the right of the pixel `from`.
void PowerTrace::DrawLines(QPainter& painter, double from) const {
    const QRectF part = QRectF(lines_.rect()).adjusted(from, 0, 0, 0);
    painter.setClipRect(part);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(part, Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto& samples = recent_.Of(slot_);
    const auto reaches = std::ranges::find_if(samples, [this, from](const RecentPower::Sample& sample) {
        return PixelOf(sample.at) >= from - kMargin * look_.ratio;
    });
    const auto within = static_cast<std::size_t>(reaches - samples.begin());
    const std::size_t first = within - std::min<std::size_t>(within, 1);
    for (std::size_t channel = kChannels; channel-- > 0;) {
        if (channel != look_.emphasized) DrawLine(painter, first, channel);
    }
    if (look_.emphasized.has_value()) DrawLine(painter, first, *look_.emphasized);
}

void PowerTrace::DrawLine(QPainter& painter, std::size_t first, std::size_t channel) const {
    const bool emphasized = look_.emphasized == channel;
    QColor color = look_.palette->channels[channel];
    if (look_.emphasized.has_value() && !emphasized) color.setAlphaF(0.25F);
    painter.setPen(
        QPen(color, (emphasized ? 2.5 : 1.5) * look_.ratio, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
    const double bottom = look_.size.height() - kMargin * look_.ratio;
    const double perWatt = (look_.size.height() - 2 * kMargin * look_.ratio) / look_.top;
    QPolygonF points;
    const auto drawPoints = [&painter, &points] {
        painter.drawPolyline(points);
        points.clear();
    };
    const auto& samples = recent_.Of(slot_);
    std::int64_t previous = 0;
    for (std::size_t i = first; i < samples.size(); ++i) {
        const auto& watts = samples[i].watts[channel];
        if (!watts.has_value() || samples[i].at - previous >= kLongestStep) drawPoints();
        previous = samples[i].at;
        if (watts.has_value()) points.append(QPointF(PixelOf(samples[i].at), bottom - perWatt * *watts));
    }
    drawPoints();
}

}  // namespace corvane
