// The powers of a device's channels over the last minutes, as moving lines.
#pragma once

#include <QWidget>

#include <cstdint>
#include <optional>

namespace corvane {

class RecentPower;

class PowerTrace final : public QWidget {
    Q_OBJECT

public:
    /// Of slot 1..6.
    PowerTrace(const RecentPower& recent, int slot);

    /// Moves on to the present.
    void Refresh();

    /// Draws one channel over the others, which fade; or all alike.
    void Emphasize(std::optional<std::size_t> channel);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void DrawScale(QPainter& painter, const QRectF& field, double top) const;
    void DrawLine(QPainter& painter, const QRectF& field, double top, std::size_t channel) const;
    [[nodiscard]] double HighestWatts() const;

    const RecentPower& recent_;
    int slot_;
    std::int64_t now_ = 0;
    std::optional<std::size_t> emphasized_;
};

}  // namespace corvane
