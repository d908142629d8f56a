#include "app/window/power_trace.h"

#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>

#include "app/window/live_colors.h"
#include "app/window/recent_power.h"
#include "app/window/scale.h"
#include "base/clock.h"
#include "measure/measurement.h"
#include "measure/virtual_texts.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kLeastTop = 100;  // watts; below, a trace of nothing would look like one of something
constexpr std::int64_t kMinute = 60 * 1000;
/// A line never bridges the time that the device was off line.
constexpr std::int64_t kLongestStep = Measurement::kOfflineAfter * 1000;

}  // namespace

PowerTrace::PowerTrace(const RecentPower& recent, int slot) : recent_(recent), slot_(slot) {
    setAccessibleName(u"Power in the last 5 minutes, Device %1"_s.arg(SlotLetter(slot)));
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
    painter.setRenderHint(QPainter::Antialiasing);
    const double line = fontMetrics().height();
    const double top = RoundedUp(std::max(HighestWatts(), kLeastTop));
    const double labels = fontMetrics().horizontalAdvance(WattsText(top)) + line / 2;
    const QRectF field = QRectF(rect()).adjusted(labels, line / 2, -line / 2, -line * 1.4);
    DrawScale(painter, field, top);
    painter.setClipRect(field.adjusted(0, -2, 2, 2));
    for (std::size_t channel = kChannels; channel-- > 0;) {
        if (channel != emphasized_) DrawLine(painter, field, top, channel);
    }
    if (emphasized_.has_value()) DrawLine(painter, field, top, *emphasized_);
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
    for (int minutes = 0; minutes * kMinute <= RecentPower::kSpan; ++minutes) {
        const double x = field.right() - field.width() * minutes * kMinute / RecentPower::kSpan;
        const QString text = minutes == 0 ? u"now"_s : u"-%1 min"_s.arg(minutes);
        const double width = fontMetrics().horizontalAdvance(text);
        const double left = std::min(x - width / 2, this->width() - width);
        painter.drawText(QPointF(left, field.bottom() + line * 1.2), text);
    }
}

void PowerTrace::DrawLine(QPainter& painter, const QRectF& field, double top, std::size_t channel) const {
    QColor color = kChannelColors[channel];
    if (emphasized_.has_value() && emphasized_ != channel) color.setAlphaF(0.25F);
    painter.setPen(QPen(color, emphasized_ == channel ? 2.5 : 1.5));
    QPolygonF points;
    const auto drawPoints = [&painter, &points] {
        painter.drawPolyline(points);
        points.clear();
    };
    std::int64_t previous = 0;
    for (const RecentPower::Sample& sample : recent_.Of(slot_)) {
        const auto& watts = sample.watts[channel];
        if (!watts.has_value() || sample.at - previous >= kLongestStep) drawPoints();
        previous = sample.at;
        if (!watts.has_value()) continue;
        const double age = static_cast<double>(now_ - sample.at) / RecentPower::kSpan;
        const QPointF point(field.right() - field.width() * age,
                            field.bottom() - field.height() * *watts / top);
        // A level run needs its two ends only; much of what a house draws is level.
        const qsizetype count = points.size();
        const bool level =
            count > 1 && points[count - 1].y() == point.y() && points[count - 2].y() == point.y();
        if (level) points.removeLast();
        points.append(point);
    }
    drawPoints();
}

}  // namespace corvane
