#include "window/past/chart_view.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "window/parts/palette.h"
#include "window/past/chart_texts.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kShortestSpan = 300;  // s
constexpr double kLongestSpan = 25.0 * 366 * kWallDay;
constexpr double kDotSize = 4;    // pixels, also of the shortest run that needs no dots
constexpr double kPartly = 0.98;  // of a unit; what is less covered is drawn paler

/// A width that all units of the kind have room for.
double ShortestLength(CalendarUnit unit) {
    switch (unit) {
        case CalendarUnit::Hour:
            return kWallHour;
        case CalendarUnit::Day:
            return kWallDay;
        case CalendarUnit::Week:
            return 7.0 * kWallDay;
        case CalendarUnit::Month:
            return 28.0 * kWallDay;
        case CalendarUnit::Year:
            break;
    }
    return 365.0 * kWallDay;
}

/// What lies between gaps and is shorter than `shortest` seconds.
QVector<QCPGraphData> ShortRuns(const std::vector<TracePoint>& trace, double shortest) {
    QVector<QCPGraphData> found;
    for (auto run = trace.begin(); run != trace.end();) {
        const auto gap =
            std::find_if(run, trace.end(), [](const auto& point) { return std::isnan(point.mean); });
        const bool isShort = run != gap && gap[-1].time - run->time < shortest;
        for (; run != gap; ++run)
            if (isShort) found.append(QCPGraphData(run->time, run->mean));
        if (run != trace.end()) ++run;
    }
    return found;
}

}  // namespace

ChartView::ChartView()
    : bands_(new DenseLines(xAxis, yAxis, DenseLines::Part::Bands)),
      means_(new DenseLines(xAxis, yAxis, DenseLines::Part::Means)),
      crosshair_(new QCPItemStraightLine(this)),
      nothing_(new QCPItemText(this)),
      timeTicker_(new QCPAxisTickerDateTime),
      barTicker_(new QCPAxisTickerText) {
    setAccessibleName(u"Chart"_s);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setMinimumSize(320, 220);
    setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
    setPlottingHint(QCP::phFastPolylines);  // a line that turns at every pixel takes seconds as one path
    axisRect()->setRangeDrag(Qt::Horizontal);
    axisRect()->setRangeZoom(Qt::Horizontal);
    axisRect()->setRangeZoomFactor(0.8);
    timeTicker_->setDateTimeSpec(Qt::UTC);
    addLayer(u"bands"_s, layer(u"background"_s));
    bands_->setLayer(u"bands"_s);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        lines_[channel] = addGraph();
        lines_[channel]->setAdaptiveSampling(false);  // it is reduced to the columns already
        dots_[channel] = addGraph();
        dots_[channel]->setLineStyle(QCPGraph::lsNone);
        fullBars_[channel] = new QCPBars(xAxis, yAxis);
        partBars_[channel] = new QCPBars(xAxis, yAxis);
    }
    addLayer(u"crosshair"_s, layer(u"overlay"_s), QCustomPlot::limBelow);
    layer(u"crosshair"_s)->setMode(QCPLayer::lmBuffered);
    crosshair_->setLayer(u"crosshair"_s);
    crosshair_->setVisible(false);
    nothing_->position->setType(QCPItemPosition::ptAxisRectRatio);
    nothing_->position->setCoords(0.5, 0.45);
    Say({});
    connect(xAxis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), this, [this](const QCPRange& range) {
        if (range.size() < kShortestSpan || range.size() > kLongestSpan) {
            const double size = std::clamp(range.size(), kShortestSpan, kLongestSpan);
            xAxis->setRange(range.center() - size / 2, range.center() + size / 2);
            return;
        }
        Redraw();
        Q_EMIT SpanMoved();
    });
    TakePalette();
}

void ChartView::Show(std::shared_ptr<const DeviceHistory> history) {
    history_ = std::move(history);
    Redraw();
}

void ChartView::Choose(const Choice& choice) {
    choice_ = choice;
    Redraw();
}

void ChartView::Say(const QString& text) {
    nothing_->setText(text.isEmpty() ? u"No records in this time"_s : text);
    replot(rpQueuedReplot);
}

void ChartView::SetSpan(WallTime from, WallTime to) {
    xAxis->setRange(static_cast<double>(from), static_cast<double>(to));
}

void ChartView::TakePalette() {
    const QColor background = palette().color(QPalette::Base);
    const QColor text = palette().color(QPalette::Text);
    const QColor faint = Mixed(background, text, 0.12);
    const QColor quiet = Mixed(background, text, 0.65);
    setBackground(background);
    for (QCPAxis* axis : {xAxis, yAxis}) {
        axis->setBasePen(QPen(faint));
        axis->setTickPen(QPen(faint));
        axis->setSubTickPen(Qt::NoPen);
        axis->setTickLabelColor(quiet);
        axis->setLabelColor(quiet);
        axis->setTickLabelFont(font());
        axis->setLabelFont(font());
        axis->setTickLengthIn(0);
        axis->setTickLengthOut(4);
        axis->grid()->setPen(QPen(faint, 1, Qt::SolidLine));
        axis->grid()->setZeroLinePen(QPen(Mixed(background, text, 0.35), 1));
    }
    xAxis->grid()->setVisible(false);
    yAxis->setBasePen(Qt::NoPen);
    yAxis->setTickPen(Qt::NoPen);
    crosshair_->setPen(QPen(quiet, 1, Qt::DashLine));
    nothing_->setColor(quiet);
    nothing_->setFont(font());
    const auto& colors = PaletteOn(background).channels;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        lines_[channel]->setPen(QPen(colors[channel], 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        dots_[channel]->setScatterStyle(
            QCPScatterStyle(QCPScatterStyle::ssDisc, colors[channel], colors[channel], kDotSize));
        fullBars_[channel]->setPen(Qt::NoPen);
        fullBars_[channel]->setBrush(colors[channel]);
        partBars_[channel]->setPen(Qt::NoPen);
        partBars_[channel]->setBrush(Mixed(colors[channel], background, 0.5));
    }
    Redraw();
}

void ChartView::Redraw() {
    const bool power = choice_.measure == Measure::Power;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        for (QCPGraph* graph : {lines_[channel], dots_[channel]})
            graph->setVisible(power && choice_.channels[channel]);
        for (QCPBars* bars : {fullBars_[channel], partBars_[channel]})
            bars->setVisible(!power && choice_.channels[channel]);
    }
    bands_->setVisible(power);
    means_->setVisible(power);
    bars_ = {};
    if (history_ != nullptr && To() > From()) {
        const CalendarUnit unit = power ? CalendarUnit::Hour : choice_.unit;
        bars_ = history_->energy.Bars(unit, From(), To(), history_->tariff);
    }
    if (power)
        DrawLines();
    else
        DrawBars();
    replot(rpQueuedReplot);
}

void ChartView::DrawLines() {
    const bool alone = std::ranges::count(choice_.channels, true) == 1;
    const QColor background = palette().color(QPalette::Base);
    const auto& colors = PaletteOn(background).channels;
    const auto dense = std::make_shared<std::vector<DenseLines::Line>>();
    const double dot = kDotSize * xAxis->range().size() / std::max(axisRect()->width(), 1);
    double lowest = 0;
    double highest = 0;
    bool any = false;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        if (!choice_.channels[channel]) continue;
        std::vector<TracePoint> trace;
        if (history_ != nullptr)
            trace = TraceOf(history_->power, channel, From(), To(), std::max(axisRect()->width(), 1));
        dots_[channel]->data()->set(ShortRuns(trace, dot), true);
        QVector<QCPGraphData> line;
        bool columns = false;
        for (const TracePoint& point : trace) {
            line.append(QCPGraphData(point.time, point.mean));
            if (std::isnan(point.mean)) continue;
            columns = columns || point.lowest < point.highest;
            lowest = std::min(lowest, point.lowest);
            highest = std::max(highest, point.highest);
            any = any || xAxis->range().contains(point.time);
        }
        QColor fill = colors[channel];
        fill.setAlpha(70);
        lines_[channel]->setBrush(alone ? QBrush(fill) : QBrush(Qt::NoBrush));
        if (columns) {
            line.clear();
            dense->push_back({std::move(trace), colors[channel]});
        }
        lines_[channel]->data()->set(line, true);
    }
    bands_->Show(dense, background);
    means_->Show(dense, background);
    ShowWhetherAny(any);
    const double days = static_cast<double>(To() - From()) / kWallDay;
    timeTicker_->setDateTimeFormat(days > 60  ? u"MMM\nyyyy"_s
                                   : days > 3 ? u"ddd\nd MMM"_s
                                              : u"HH:mm\nd MMM"_s);
    timeTicker_->setTickCount(std::clamp(axisRect()->width() / 90, 2, 12));
    xAxis->setTicker(timeTicker_);
    yAxis->setLabel(u"W"_s);
    FitHeight(lowest, highest);
}

const ChannelEnergies& ChartView::ValuesOf(const EnergyBar& bar, Measure measure) {
    return measure == Measure::Cost ? bar.cost : bar.kwh;
}

void ChartView::DrawBars() {
    const auto shown = std::max<double>(1, static_cast<double>(std::ranges::count(choice_.channels, true)));
    double lowest = 0;
    double highest = 0;
    const double width = 0.8 * ShortestLength(choice_.unit) / shown;
    double at = -0.5 * (shown - 1) * width;  // of the channel's bar, from the middle of the unit
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        if (!choice_.channels[channel]) continue;
        QVector<QCPBarsData> full;
        QVector<QCPBarsData> part;
        for (const EnergyBar& bar : bars_.bars) {
            const double value = ValuesOf(bar, choice_.measure)[channel];
            const double middle = static_cast<double>(bar.from + bar.to) / 2 + at;
            const bool whole =
                static_cast<double>(bar.covered) >= kPartly * static_cast<double>(bar.to - bar.from);
            (whole ? full : part).append(QCPBarsData(middle, value));
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
        for (QCPBars* bars : {fullBars_[channel], partBars_[channel]})
            bars->setWidth(0.94 * width);
        fullBars_[channel]->data()->set(full, true);
        partBars_[channel]->data()->set(part, true);
        at += width;
    }
    ShowWhetherAny(!bars_.bars.empty());
    LabelBars();
    yAxis->setLabel(choice_.measure == Measure::Cost ? u"cost"_s : u"kWh"_s);
    FitHeight(lowest, highest);
}

/// A name below each bar, or below every so many where there is no room for all.
void ChartView::LabelBars() {
    barTicker_->clear();
    xAxis->setTicker(barTicker_);
    const int room =
        std::max(1, axisRect()->width() / (QFontMetrics(font()).horizontalAdvance(u"00 MMM 00"_s)));
    const WallTime begin = StartOf(choice_.unit, From());
    int units = 0;
    for (WallTime time = begin; time < To(); time = NextStart(choice_.unit, time))
        ++units;
    const int each = std::max(1, (units + room - 1) / room);
    int unit = 0;
    for (WallTime time = begin; time < To(); time = NextStart(choice_.unit, time)) {
        if (unit++ % each != 0) continue;
        const double middle = static_cast<double>(time + NextStart(choice_.unit, time)) / 2;
        barTicker_->addTick(middle, BarName(choice_.unit, time, true));
    }
}

/// An empty chart says so, and has no heights.
void ChartView::ShowWhetherAny(bool any) {
    nothing_->setVisible(!any);
    yAxis->setTickLabels(any);
    yAxis->grid()->setVisible(any);
}

void ChartView::FitHeight(double lowest, double highest) {
    if (highest <= lowest) highest = lowest + 1;
    const double room = 0.06 * (highest - lowest);
    yAxis->setRange(lowest < 0 ? lowest - room : 0, highest + room);
}

const EnergyBar* ChartView::BarAt(WallTime time) const {
    const auto after = std::ranges::upper_bound(bars_.bars, time, {}, &EnergyBar::from);
    if (after == bars_.bars.begin() || after[-1].to <= time) return nullptr;
    return &after[-1];
}

ChartView::Values ChartView::WholeSpan() const {
    Values result;
    result.name = choice_.measure == Measure::Cost ? u"Cost in this time"_s : u"Energy in this time"_s;
    ChannelEnergies sums{};
    if (bars_.bars.empty()) sums.fill(kUnknown);
    for (const EnergyBar& bar : bars_.bars)
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            sums[channel] += ValuesOf(bar, choice_.measure)[channel];
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        result.texts[channel] =
            ValueText(choice_.measure == Measure::Power ? Measure::Energy : choice_.measure, sums[channel]);
    return result;
}

ChartView::Values ChartView::PointedAt() const {
    if (!cursor_) return WholeSpan();
    Values result;
    ChannelEnergies values{};
    values.fill(kUnknown);
    if (choice_.measure != Measure::Power) {
        result.name = BarName(choice_.unit, StartOf(choice_.unit, *cursor_), false);
        if (const EnergyBar* bar = BarAt(*cursor_)) values = ValuesOf(*bar, choice_.measure);
    } else {
        const std::ptrdiff_t nearest = history_ != nullptr ? history_->power.Nearest(*cursor_) : -1;
        const auto row = static_cast<std::size_t>(nearest);
        const WallTime time = nearest < 0 ? *cursor_ : history_->power.times[row];
        result.name = QLocale().toString(DateTimeOf(time), u"ddd d MMM yyyy, HH:mm:ss"_s);
        for (std::size_t channel = 0; nearest >= 0 && channel < kChannels; ++channel)
            values[channel] = static_cast<double>(history_->power.watts[channel][row]);
    }
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        result.texts[channel] = ValueText(choice_.measure, values[channel]);
    return result;
}

void ChartView::PointAt(std::optional<WallTime> time) {
    cursor_ = time;
    crosshair_->setVisible(time.has_value());
    if (time) {
        crosshair_->point1->setCoords(static_cast<double>(*time), 0);
        crosshair_->point2->setCoords(static_cast<double>(*time), 1);
    }
    layer(u"crosshair"_s)->replot();
    Q_EMIT CursorMoved();
}

void ChartView::mouseMoveEvent(QMouseEvent* event) {
    QCustomPlot::mouseMoveEvent(event);
    if (axisRect()->rect().contains(event->pos()))
        PointAt(static_cast<WallTime>(xAxis->pixelToCoord(event->position().x())));
    else if (cursor_)
        PointAt(std::nullopt);
}

void ChartView::leaveEvent(QEvent* event) {
    QCustomPlot::leaveEvent(event);
    PointAt(std::nullopt);
}

void ChartView::keyPressEvent(QKeyEvent* event) {
    const bool pointing = event->modifiers().testFlag(Qt::ControlModifier);
    const double size = xAxis->range().size();
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Right: {
            const double sign = event->key() == Qt::Key_Left ? -1 : 1;
            if (!pointing) return xAxis->moveRange(sign * size / 10);
            const double from = cursor_ ? static_cast<double>(*cursor_) : xAxis->range().center();
            return PointAt(static_cast<WallTime>(from + sign * size / 100));
        }
        case Qt::Key_Plus:
        case Qt::Key_Equal:
            return xAxis->scaleRange(0.8);
        case Qt::Key_Minus:
            return xAxis->scaleRange(1 / 0.8);
        case Qt::Key_Escape:
            return PointAt(std::nullopt);
        default:
            QCustomPlot::keyPressEvent(event);
    }
}

void ChartView::changeEvent(QEvent* event) {
    QCustomPlot::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) TakePalette();
}

void ChartView::resizeEvent(QResizeEvent* event) {
    QCustomPlot::resizeEvent(event);
    Redraw();
}

}  // namespace corvane
