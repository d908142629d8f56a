// The powers of a device's channels over the last minutes, as moving lines.
#pragma once

#include <QPixmap>
#include <QWidget>

#include <cstdint>
#include <optional>

namespace corvane {

class RecentPower;
struct Palette;

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
    /// What the lines that are kept were drawn for; a change of it needs them drawn again.
    struct Look {
        QSize size;  ///< in pixels of the screen
        double ratio = 1;
        double top = 0;  ///< watts at the upper edge
        std::optional<std::size_t> emphasized;
        const Palette* palette = nullptr;

        bool operator==(const Look&) const = default;
    };

    void DrawScale(QPainter& painter, const QRectF& field, double top) const;
    void UpdateLines(const Look& look);
    void DrawLines(QPainter& painter, double from) const;
    void DrawLine(QPainter& painter, std::size_t first, std::size_t channel) const;
    [[nodiscard]] double PixelOf(std::int64_t at) const;
    [[nodiscard]] double HighestWatts() const;

    const RecentPower& recent_;
    int slot_;
    std::int64_t now_ = 0;
    std::optional<std::size_t> emphasized_;

    // The lines move to the left as they are, and only what is new is drawn: stroking them all every second
    // would take more of the processor than all else that the program does.
    QPixmap lines_;
    Look look_;
    std::int64_t edge_ = 0;    ///< the time at the right edge of `lines_`, in pixels
    std::int64_t newest_ = 0;  ///< when the last sample in `lines_` came
};

}  // namespace corvane
