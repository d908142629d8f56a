// The face of a card: what belongs together stands on a sheet of its own.
#pragma once

class QPainter;
class QWidget;

namespace corvane {

/// Fills `widget`, whose painter this is, with a sheet with rounded corners.
void DrawCard(QPainter& painter, const QWidget& widget);

}  // namespace corvane
