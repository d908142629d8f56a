#include "window/parts/card.h"

#include <QPainter>
#include <QWidget>

namespace corvane {

void DrawCard(QPainter& painter, const QWidget& widget) {
    const double radius = widget.fontMetrics().height() / 2.0;
    QColor edge = widget.palette().color(QPalette::Text);
    edge.setAlphaF(0.15F);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(edge);
    painter.setBrush(widget.palette().base());
    painter.drawRoundedRect(QRectF(widget.rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.setBrush(Qt::NoBrush);
}

}  // namespace corvane
