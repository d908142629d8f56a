#include "window/past/dense_lines.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "window/parts/palette.h"

namespace corvane {

void DenseLines::Show(std::shared_ptr<const std::vector<Line>> lines, const QColor& background) {
    lines_ = std::move(lines);
    background_ = background;
}

int DenseLines::ColumnOf(const TracePoint& point) const {
    return qFloor(keyAxis()->coordToPixel(point.time));
}

int DenseLines::HeightOf(double watts) const {
    return qRound(valueAxis()->coordToPixel(watts));
}

void DenseLines::draw(QCPPainter* painter) {
    if (lines_ == nullptr) return;
    painter->setAntialiasing(false);
    if (part_ == Part::Bands)
        DrawBands(*painter);
    else
        DrawMeans(*painter);
}

void DenseLines::DrawBands(QCPPainter& painter) const {
    struct Band {
        std::size_t line;
        int top;
        int bottom;
    };
    std::map<int, std::vector<Band>> columns;
    for (std::size_t line = 0; line < lines_->size(); ++line)
        for (const TracePoint& point : (*lines_)[line].points)
            if (!std::isnan(point.mean))
                columns[ColumnOf(point)].push_back({line, HeightOf(point.highest), HeightOf(point.lowest)});
    for (const auto& [x, bands] : columns) {
        std::vector<int> edges;
        for (const Band& band : bands) {
            edges.push_back(band.top);
            edges.push_back(band.bottom);
        }
        std::ranges::sort(edges);
        for (std::size_t edge = 1; edge < edges.size(); ++edge) {
            const int top = edges[edge - 1];
            if (top == edges[edge]) continue;
            QColor color = background_;
            for (const Band& band : bands)
                if (band.top <= top && top < band.bottom)
                    color = Mixed(color, (*lines_)[band.line].color, 0.3);
            painter.fillRect(QRect(x, top, 1, edges[edge] - top), color);
        }
    }
}

void DenseLines::DrawMeans(QCPPainter& painter) const {
    constexpr int kThickness = 2;
    for (const Line& line : *lines_) {
        bool begins = true;
        int last = 0;
        for (const TracePoint& point : line.points) {
            if (std::isnan(point.mean)) {
                begins = true;
                continue;
            }
            const int height = HeightOf(point.mean);
            const int from = begins ? height : last;
            begins = false;
            painter.fillRect(
                QRect(ColumnOf(point), std::min(from, height), 1, std::abs(height - from) + kThickness),
                line.color);
            last = height;
        }
    }
}

}  // namespace corvane
