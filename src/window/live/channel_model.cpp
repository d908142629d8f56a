#include "window/live/channel_model.h"

#include <QFont>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

#include <algorithm>
#include <utility>

#include "measure/measurement.h"
#include "measure/pulse_counters.h"
#include "measure/virtual_texts.h"
#include "window/parts/palette.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNone = u"–"_s;

QIcon Dot(QColor color) {
    QPixmap picture(64, 64);  // drawn smaller, at any resolution of the screen
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(picture.rect());
    return picture;
}

}  // namespace

QString ChannelTitle(std::size_t channel, const QString& label) {
    const QString name = QLatin1StringView(ChannelName(channel));
    return label.isEmpty() ? name : name + u"  "_s + label;
}

ChannelModel::ChannelModel(const Measurement& measurement, const PulseCounters& pulses, int slot)
    : measurement_(measurement), pulses_(pulses), slot_(slot) {}

void ChannelModel::Refresh(const ChannelLabels& labels, bool current) {
    const MonitorModel* model = measurement_.Readings(slot_).model;
    std::vector<std::size_t> channels;
    for (std::size_t channel = 0; model != nullptr && channel < kChannels; ++channel) {
        if (model->Has(channel)) channels.push_back(channel);
    }
    labels_ = labels;
    current_ = current;
    const Palette& palette = PaletteOn(QGuiApplication::palette().color(QPalette::Base));
    if (std::exchange(palette_, &palette) != &palette)
        std::ranges::transform(palette.channels, dots_.begin(), Dot);
    if (channels != channels_) {
        beginResetModel();
        channels_ = std::move(channels);
        endResetModel();
    } else if (!channels.empty()) {
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, Columns - 1));
    }
}

QString ChannelModel::Text(std::size_t channel, int column) const {
    if (column == Label) return ChannelTitle(channel, labels_[channel]);
    const auto pulse = pulses_.Setup(slot_).channel == channel ? pulses_.Readings(slot_) : std::nullopt;
    if (pulse.has_value()) {
        return column == Watts ? FlowRateText(*pulse) : column == Energy ? FlowTotalText(*pulse) : QString();
    }
    const ChannelReadings& readings = measurement_.Readings(slot_).channels[channel];
    switch (column) {
        case Watts:
            return readings.absolute.lastWatts.has_value() ? WattsText(*readings.absolute.lastWatts) : kNone;
        case Amps:  // the monitor measures the current of its main channels only
            return kChannelTable[channel].polarized ? AmpsText(static_cast<double>(readings.amps))
                                                    : QString();
        case Energy:
            return ChannelKwhText(readings.absolute.Kwh());
        default:
            return {};
    }
}

QVariant ChannelModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) return {};
    const std::size_t channel = ChannelOf(index);
    const int column = index.column();
    switch (role) {
        case Qt::DisplayRole:
            return Text(channel, column);
        case Qt::ToolTipRole:
            return column == Label ? Text(channel, column) : QVariant();
        case Qt::DecorationRole:
            return column == Label ? QVariant(dots_[channel]) : QVariant();
        case Qt::TextAlignmentRole:
            return int((column == Label ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
        case Qt::ForegroundRole:
            return current_ ? QVariant() : QGuiApplication::palette().brush(QPalette::PlaceholderText);
        case Qt::FontRole: {
            QFont font;
            font.setBold(column == Watts && current_);
            font.setItalic(column != Label && !current_);
            return font;
        }
        default:
            return {};
    }
}

QVariant ChannelModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal) return {};
    if (role == Qt::TextAlignmentRole)
        return int((section == Label ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    constexpr const char* kTitles[Columns] = {"Channel", "Power", "Current", "Energy"};
    return role == Qt::DisplayRole ? QVariant(QLatin1StringView(kTitles[section])) : QVariant();
}

}  // namespace corvane
