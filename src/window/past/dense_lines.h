// Lines of far more records than there are pixels.
#pragma once

#include <memory>
#include <vector>

#include "history/power_history.h"
#include "window/past/custom_plot.h"

namespace corvane {

/// Lines that have a point in each column of pixels, each with the band from its lowest to its highest
/// values. They are drawn column by column in plain colors: as paths, or see-through, they would take
/// seconds.
class DenseLines final : public QCPGraph {
    Q_OBJECT

public:
    enum class Part { Bands, Means };

    struct Line {
        std::vector<TracePoint> points;
        QColor color;
    };

    DenseLines(QCPAxis* xAxis, QCPAxis* yAxis, Part part) : QCPGraph(xAxis, yAxis), part_(part) {}

    /// What is drawn on which background. The lines are shared with others.
    void Show(std::shared_ptr<const std::vector<Line>> lines, const QColor& background);

protected:
    void draw(QCPPainter* painter) override;

private:
    void DrawBands(QCPPainter& painter) const;
    void DrawMeans(QCPPainter& painter) const;
    [[nodiscard]] int ColumnOf(const TracePoint& point) const;
    [[nodiscard]] int HeightOf(double watts) const;

    Part part_;
    std::shared_ptr<const std::vector<Line>> lines_;
    QColor background_;
};

}  // namespace corvane
