#include "window/past/channel_panel.h"

#include <QCheckBox>
#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPixmap>

#include "store/settings_store.h"
#include "window/parts/palette.h"
#include "window/parts/state_line.h"
#include "window/past/chart_settings.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QFrame* Line() {
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Midlight);
    return line;
}

/// A rounded square of that color.
QPixmap Swatch(const QColor& color, double ratio) {
    QPixmap swatch(QSize(12, 12) * ratio);
    swatch.setDevicePixelRatio(ratio);
    swatch.fill(Qt::transparent);
    QPainter painter(&swatch);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0, 0, 12, 12), 3, 3);
    return swatch;
}

}  // namespace

ChannelPanel::ChannelPanel(SettingsStore& settings) : settings_(settings), valuesName_(new QLabel) {
    setMinimumWidth(fontMetrics().averageCharWidth() * 38);
    setMaximumWidth(fontMetrics().averageCharWidth() * 60);
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    grid->setColumnStretch(0, 1);
    grid->setColumnMinimumWidth(1, fontMetrics().horizontalAdvance(u"-00,000 kWh"_s));  // else it jumps about
    valuesName_->setAccessibleName(u"Values of"_s);
    QFont strong = font();
    strong.setBold(true);
    valuesName_->setFont(strong);
    grid->addWidget(valuesName_, 0, 0, 1, 2);
    grid->addWidget(Line(), 1, 0, 1, 2);
    const QString shown = settings.Value(kChartChannels).leftJustified(int{kChannels}, u'0');
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        channels_[channel] = new QCheckBox;
        channels_[channel]->setChecked(shown[static_cast<qsizetype>(channel)] == u'1');
        connect(channels_[channel], &QCheckBox::toggled, this, &ChannelPanel::SaveChoice);
        values_[channel] = new QLabel;
        values_[channel]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        const int row = static_cast<int>(channel) + 2;
        grid->addWidget(channels_[channel], row, 0);
        grid->addWidget(values_[channel], row, 1);
    }
    grid->setRowStretch(static_cast<int>(kChannels) + 2, 1);
    QLabel* hint = PaleLabel(
        u"Drag to move, turn the wheel to zoom. Keys: \u2190 \u2192 move, + \u2212 zoom, Ctrl with "
        u"\u2190 \u2192 points at a time."_s);
    hint->setWordWrap(true);
    grid->addWidget(hint, static_cast<int>(kChannels) + 3, 0, 1, 2);
    Name({});
    TakePalette();
}

void ChannelPanel::SaveChoice() {
    QString mask;
    for (const QCheckBox* channel : channels_)
        mask += channel->isChecked() ? u'1' : u'0';
    settings_.Save(kChartChannels, mask);
    Q_EMIT ChoiceChanged();
}

void ChannelPanel::Name(const std::array<std::string, kChannels>& labels) {
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        QString name = QString::fromLatin1(ChannelName(channel));
        if (!labels[channel].empty()) name += u"  "_s + QString::fromStdString(labels[channel]);
        channels_[channel]->setText(name);
        channels_[channel]->setToolTip(name);
        values_[channel]->setAccessibleName(u"Value of "_s + name);
    }
}

void ChannelPanel::ShowValues(const ChartView::Values& values) {
    valuesName_->setText(values.name);
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        values_[channel]->setText(values.texts[channel]);
}

std::array<bool, kChannels> ChannelPanel::Chosen() const {
    std::array<bool, kChannels> chosen{};
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        chosen[channel] = channels_[channel]->isChecked();
    return chosen;
}

ShownChannels ChannelPanel::Shown() const {
    ShownChannels shown;
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        if (channels_[channel]->isChecked()) shown[channel] = channels_[channel]->text().toStdString();
    return shown;
}

void ChannelPanel::TakePalette() {
    const auto& colors = PaletteOn(palette().color(QPalette::Base)).channels;
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        channels_[channel]->setIcon(Swatch(colors[channel], devicePixelRatioF()));
}

void ChannelPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && channels_.back() != nullptr) TakePalette();
}

}  // namespace corvane
