#include "window/parts/state_line.h"

#include <QGraphicsOpacityEffect>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>

#include <utility>

#include "window/parts/palette.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

/// A light with a halo while something comes in.
class StateLine::Lamp final : public QWidget {
public:
    Lamp() { setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed); }

    void Show(Light light) {
        if (std::exchange(light_, light) != light) update();
    }

    [[nodiscard]] QSize sizeHint() const override {
        const int side = fontMetrics().height() + 4;
        return {side, side};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        QColor color = LightColor();
        const QRectF all(rect());
        if (light_ == Light::Active) {
            color.setAlphaF(0.35F);
            painter.setBrush(color);
            painter.drawEllipse(all.adjusted(1, 1, -1, -1));
            color.setAlphaF(1);
        }
        const double margin = all.width() * 0.25;
        painter.setBrush(color);
        painter.drawEllipse(all.adjusted(margin, margin, -margin, -margin));
    }

private:
    [[nodiscard]] QColor LightColor() const {
        const Palette& colors = PaletteOn(palette().color(QPalette::Window));
        switch (light_) {
            case Light::Waiting:
                return colors.stale;
            case Light::On:
            case Light::Active:
                return colors.live;
            case Light::Fault:
                return colors.lost;
            case Light::Off:
                break;
        }
        QColor unlit = palette().color(QPalette::WindowText);
        unlit.setAlphaF(0.3F);
        return unlit;
    }

    Light light_ = Light::Off;
};

StateLine::StateLine(const QString& name, int noticeLines)
    : name_(name), lamp_(new Lamp), state_(TextLabel()), notice_(PaleLabel()) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setVerticalSpacing(0);
    grid->setColumnStretch(1, 1);
    QFont bold = state_->font();
    bold.setBold(true);
    state_->setFont(bold);
    notice_->setMinimumHeight(noticeLines * notice_->fontMetrics().lineSpacing());
    notice_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    grid->addWidget(lamp_, 0, 0);
    grid->addWidget(state_, 0, 1);
    grid->addWidget(notice_, 1, 1);
}

void StateLine::Show(Light light, const QString& state, const QString& notice) {
    lamp_->Show(light);
    state_->setText(state);
    state_->setAccessibleName(u"%1: %2"_s.arg(name_, state));
    notice_->setText(notice);
}

QLabel* PaleLabel(const QString& text) {
    QLabel* label = TextLabel(text);
    // Half-way to whatever lies behind it, in every palette.
    auto* paleness = new QGraphicsOpacityEffect(label);
    paleness->setOpacity(0.65);
    label->setGraphicsEffect(paleness);
    return label;
}

}  // namespace corvane
