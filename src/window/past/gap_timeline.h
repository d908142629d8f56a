// The last year of each monitor as a band, with holes where it was not heard.
#pragma once

#include <QWidget>

#include <cstdint>
#include <vector>

#include "measure/gaps.h"

namespace corvane {

class GapTimeline final : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    /// Shows what there is of the year up to `now` (seconds of UTC). What it shows is its accessible
    /// description, too.
    void Show(std::vector<Gap> gaps, HeardSpans spans, std::int64_t now);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;  ///< tells of the gap below the mouse

private:
    [[nodiscard]] int BandHeight() const;
    [[nodiscard]] int LabelWidth() const;
    [[nodiscard]] double XOf(std::int64_t time) const;
    [[nodiscard]] QString TextAt(QPoint place) const;

    std::vector<Gap> gaps_;
    HeardSpans spans_;
    std::int64_t from_ = 0;
    std::int64_t now_ = 0;
};

}  // namespace corvane
