// A round gauge that is readable from across a room: what it measures, how much, which way, and its total.
#pragma once

#include <QColor>
#include <QWidget>

#include "measure/readings.h"

namespace corvane {

struct GaugeReading {
    QString title;
    QString value;       ///< with its unit
    QString note = {};   ///< what the value means; may be empty
    QString total = {};  ///< may be empty
    double amount = 0;
    double leastScale = 1000;  ///< the gauge ends there at least
    bool bothWays = false;     ///< zero is at the top, and what flows the other way goes to the left
    Presence presence = Presence::Live;  ///< of the device; but for a live one, in words instead of the note
    QColor color;
    QColor otherWay = {};  ///< of amounts below 0

    bool operator==(const GaugeReading&) const = default;
};

class Gauge final : public QWidget {
    Q_OBJECT

public:
    Gauge();

    void Show(const GaugeReading& reading);

    [[nodiscard]] const GaugeReading& Reading() const { return reading_; }

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void DrawDial(QPainter& painter, const QRectF& dial) const;
    void DrawEnds(QPainter& painter, const QRectF& dial) const;

    GaugeReading reading_;
    double end_ = 0;  ///< of the scale; grows with what was seen
};

}  // namespace corvane
