#include "window/past/gap_timeline.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>
#include <utility>

#include "link/device_texts.h"
#include "window/parts/palette.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t kYear = 366 * kDay;

QString NameOf(const std::string& serial, const HeardSpan& span) {
    return u"%1 (%2)"_s.arg(SlotName(span.slot), QString::fromStdString(serial));
}

QString MinuteText(std::int64_t time) {
    return QString::fromStdString(DateMinuteText(LocalTimeAt(time)));
}

QString GapText(const Gap& gap) {
    return u"nothing heard from %1 to %2"_s.arg(MinuteText(gap.from),
                                                gap.open ? u"now"_s : MinuteText(gap.to));
}

}  // namespace

void GapTimeline::Show(std::vector<Gap> gaps, HeardSpans spans, std::int64_t now) {
    gaps_ = std::move(gaps);
    spans_ = std::move(spans);
    now_ = now;
    from_ = now - kDay;
    for (const auto& [serial, span] : spans_)
        from_ = std::min(from_, span.first);
    from_ = std::max(from_, now - kYear);
    QStringList texts;
    for (const auto& [serial, span] : spans_) {
        const auto count = std::ranges::count(gaps_, serial, &Gap::serial);
        texts.append(u"%1: %2 gaps"_s.arg(NameOf(serial, span)).arg(count));
    }
    setAccessibleDescription(texts.join(u", "_s));
    updateGeometry();
    update();
}

int GapTimeline::BandHeight() const {
    return fontMetrics().height() + 6;
}

int GapTimeline::LabelWidth() const {
    int width = 0;
    for (const auto& [serial, span] : spans_)
        width = std::max(width, fontMetrics().horizontalAdvance(NameOf(serial, span)));
    return width + 10;
}

QSize GapTimeline::sizeHint() const {
    return {600, BandHeight() * (static_cast<int>(spans_.size()) + 1)};
}

double GapTimeline::XOf(std::int64_t time) const {
    const double share = static_cast<double>(time - from_) / static_cast<double>(now_ - from_);
    return LabelWidth() + std::clamp(share, 0.0, 1.0) * (width() - 1 - LabelWidth());
}

void GapTimeline::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const Palette& colors = PaletteOn(palette().color(QPalette::Window));
    int top = 0;
    for (const auto& [serial, span] : spans_) {
        const auto band = [&](std::int64_t from, std::int64_t to) {
            // A short gap is seen, too.
            return QRectF(XOf(from), top + 3, std::max(XOf(to) - XOf(from), 1.0), BandHeight() - 6);
        };
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRect(0, top, LabelWidth(), BandHeight()), Qt::AlignVCenter, NameOf(serial, span));
        painter.fillRect(band(span.first, now_), colors.live);
        for (const Gap& gap : gaps_)
            if (gap.serial == serial && gap.to > from_) painter.fillRect(band(gap.from, gap.to), colors.lost);
        top += BandHeight();
    }
    if (spans_.empty()) return;
    const QRect scale(LabelWidth(), top, width() - LabelWidth(), BandHeight());
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(scale, Qt::AlignLeft | Qt::AlignVCenter, MinuteText(from_));
    painter.drawText(scale, Qt::AlignRight | Qt::AlignVCenter, u"now"_s);
}

QString GapTimeline::TextAt(QPoint place) const {
    auto span = spans_.begin();
    for (int row = place.y() / BandHeight(); row > 0 && span != spans_.end(); --row)
        ++span;
    if (span == spans_.end()) return {};
    for (const Gap& gap : gaps_)
        if (gap.serial == span->first && place.x() >= XOf(gap.from) - 2 && place.x() <= XOf(gap.to) + 2)
            return NameOf(span->first, span->second) + u": "_s + GapText(gap);
    return {};
}

bool GapTimeline::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    QToolTip::showText(help->globalPos(), TextAt(help->pos()), this);
    return true;
}

}  // namespace corvane
