// The drawn chart: power as lines, energy or cost as bars; moved and zoomed by mouse and keyboard.
#pragma once

#include <array>
#include <memory>
#include <optional>

#include "history/history_reader.h"
#include "window/past/chart_texts.h"
#include "window/past/dense_lines.h"

namespace corvane {

class ChartView : public QCustomPlot {
    Q_OBJECT

public:
    struct Choice {
        Measure measure = Measure::Power;
        CalendarUnit unit = CalendarUnit::Day;  ///< of the bars
        std::array<bool, kChannels> channels{};
    };

    ChartView();

    /// Shows `history`, which may be null, from now on. The view reads it whenever it draws.
    void Show(std::shared_ptr<const DeviceHistory> history);
    void Choose(const Choice& choice);

    /// What stands in the chart while it has nothing to show; empty: that there are no records.
    void Say(const QString& text);

    /// Shows the time from `from` up to `to`.
    void SetSpan(WallTime from, WallTime to);
    [[nodiscard]] WallTime From() const { return static_cast<WallTime>(xAxis->range().lower); }
    [[nodiscard]] WallTime To() const { return static_cast<WallTime>(xAxis->range().upper); }

    /// What the bars show, in measures of energy and cost.
    [[nodiscard]] const EnergyBars& Bars() const { return bars_; }

    /// What the crosshair points at, or the whole span where there is none: its name, and the value of each
    /// channel with its unit.
    struct Values {
        QString name;
        std::array<QString, kChannels> texts;
    };
    [[nodiscard]] Values PointedAt() const;

Q_SIGNALS:
    /// The time that is shown has changed.
    void SpanMoved();

    /// The crosshair has.
    void CursorMoved();

protected:
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void TakePalette();
    void Redraw();
    void DrawLines();
    void DrawBars();
    void LabelBars();
    void ShowWhetherAny(bool any);
    void FitHeight(double lowest, double highest);
    void PointAt(std::optional<WallTime> time);
    [[nodiscard]] Values WholeSpan() const;
    [[nodiscard]] const EnergyBar* BarAt(WallTime time) const;
    [[nodiscard]] static const ChannelEnergies& ValuesOf(const EnergyBar& bar, Measure measure);

    std::shared_ptr<const DeviceHistory> history_;
    Choice choice_;
    EnergyBars bars_;
    std::optional<WallTime> cursor_;
    std::array<QCPGraph*, kChannels> lines_{};  ///< of records that have columns of their own
    std::array<QCPGraph*, kChannels> dots_{};   ///< of records that no line shows
    std::array<QCPBars*, kChannels> fullBars_{};
    std::array<QCPBars*, kChannels> partBars_{};  ///< of units that are known in part, drawn paler
    DenseLines* bands_;
    DenseLines* means_;
    QCPItemStraightLine* crosshair_;
    QCPItemText* nothing_;
    QSharedPointer<QCPAxisTickerDateTime> timeTicker_;
    QSharedPointer<QCPAxisTickerText> barTicker_;
};

}  // namespace corvane
