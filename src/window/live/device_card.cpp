#include "window/live/device_card.h"

#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QTableView>

#include "base/clock.h"
#include "base/number_format.h"
#include "link/device_texts.h"
#include "measure/measurement.h"
#include "window/live/channel_model.h"
#include "window/live/power_trace.h"
#include "window/parts/card.h"
#include "window/parts/palette.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kTitleScale = 1.5;
constexpr double kTableScale = 1.15;

QFont Scaled(QFont font, double factor, bool bold) {
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setBold(bold);
    return font;
}

QLabel* QuietLabel(Qt::Alignment alignment) {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(alignment);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

/// A colored dot in front of `text`, which tells the same in words.
QString DottedText(QColor color, const QString& text) {
    return u"<span style=\"color:%1\">&#9679;</span> %2"_s.arg(color.name(), text);
}

/// The time of a packet; with its day where that is not today.
QString SinceText(const LocalTime& time, const LocalTime& now) {
    const bool today = time.day == now.day && time.month == now.month && time.year == now.year;
    return QString::fromStdString(today ? ClockText(time) : DateTimeText(time));
}

}  // namespace

DeviceCard::DeviceCard(const LiveParts& parts, const RecentPower& recent, int slot)
    : parts_(parts), slot_(slot) {
    setAccessibleName(SlotName(slot));
    const int line = fontMetrics().height();
    auto* card = new QVBoxLayout(this);
    card->setContentsMargins(line, line * 3 / 4, line, line * 3 / 4);
    BuildHeader(card);
    body_ = new QWidget;
    bodyLayout_ = new QVBoxLayout(body_);
    bodyLayout_->setContentsMargins(0, line / 2, 0, 0);
    bodyLayout_->setSpacing(line / 2);
    channels_ = new ChannelModel(parts.measurement, parts.pulses, slot);
    channels_->setParent(this);
    BuildTable();
    trace_ = new PowerTrace(recent, slot);
    bodyLayout_->addWidget(table_, 0, Qt::AlignTop);
    bodyLayout_->addWidget(trace_, 1);
    card->addWidget(body_, 1);
    card->addStretch();
    connect(channels_, &QAbstractItemModel::modelReset, this, &DeviceCard::FitTable);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        const QModelIndexList rows = table_->selectionModel()->selectedRows();
        trace_->Emphasize(rows.isEmpty() ? std::nullopt : std::optional(channels_->ChannelOf(rows.first())));
    });
}

void DeviceCard::BuildHeader(QBoxLayout* card) {
    auto* title = new QLabel(SlotName(slot_));
    title->setFont(Scaled(font(), kTitleScale, true));
    monitor_ = QuietLabel(Qt::AlignLeft);
    volt_ = new QLabel;
    volt_->setFont(Scaled(font(), kTitleScale, false));
    volt_->setAccessibleName(u"Line voltage"_s);
    state_ = new QLabel;
    state_->setTextFormat(Qt::RichText);
    state_->setAlignment(Qt::AlignRight);
    lastPacket_ = QuietLabel(Qt::AlignRight);
    auto* top = new QHBoxLayout;
    top->addWidget(title);
    top->addStretch();
    top->addWidget(volt_);
    auto* below = new QHBoxLayout;
    below->addWidget(monitor_);
    below->addStretch();
    below->addWidget(state_);
    below->addWidget(lastPacket_);
    card->addLayout(top);
    card->addLayout(below);
}

void DeviceCard::BuildTable() {
    table_ = new QTableView;
    table_->setModel(channels_);
    table_->setAccessibleName(u"Channels of "_s + SlotName(slot_));
    table_->setFont(Scaled(font(), kTableScale, false));
    table_->setFrameShape(QFrame::NoFrame);
    table_->setShowGrid(false);
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    const int icon = fontMetrics().height() * 2 / 3;
    table_->setIconSize(QSize(icon, icon));
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->verticalHeader()->hide();
    QHeaderView* header = table_->horizontalHeader();
    header->setHighlightSections(false);
    header->setSectionsClickable(false);
    header->setStyleSheet(
        u"QHeaderView { background: transparent; } "
        "QHeaderView::section { background: transparent; border: none; padding: 2px 3px; }"_s);
    header->setMinimumSectionSize(1);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setSectionResizeMode(ChannelModel::Label, QHeaderView::Stretch);
    for (const int column : {ChannelModel::Watts, ChannelModel::Amps, ChannelModel::Energy})
        header->resizeSection(column, 1);
    const QFontMetrics metrics(table_->font());
    table_->verticalHeader()->setDefaultSectionSize(metrics.height() * 3 / 2);
    table_->setMinimumWidth(metrics.averageCharWidth() * 60);
}

void DeviceCard::FitTable() {
    const int rows = channels_->rowCount() * table_->verticalHeader()->defaultSectionSize();
    table_->setFixedHeight(table_->horizontalHeader()->sizeHint().height() + rows);
}

/// Columns only ever grow, so that nothing jumps while the digits change.
void DeviceCard::WidenColumns() {
    QHeaderView* header = table_->horizontalHeader();
    const QAbstractItemView& view = *table_;
    const int margin = table_->fontMetrics().height();
    for (const int column : {ChannelModel::Watts, ChannelModel::Amps, ChannelModel::Energy}) {
        const int wanted = std::max(view.sizeHintForColumn(column) + margin, header->sectionSizeHint(column));
        if (wanted > header->sectionSize(column)) header->resizeSection(column, wanted);
    }
}

void DeviceCard::Refresh(const ChannelLabels& labels) {
    ShowState();
    if (!body_->isVisibleTo(this)) return;
    channels_->Refresh(labels, parts_.measurement.PresenceOf(slot_) == Presence::Live);
    WidenColumns();
    trace_->Refresh();
}

void DeviceCard::ShowState() {
    const DeviceReadings& readings = parts_.measurement.Readings(slot_);
    const QString bound = parts_.deviceSlots.Bound(slot_);
    const Palette& colors = PaletteOn(palette().color(QPalette::Base));
    // After another monitor was bound, the values of the one before are not this device's.
    const bool seen = readings.Seen() && bound.toStdString() == readings.serial;
    body_->setVisible(seen);
    volt_->setVisible(seen);
    lastPacket_->setVisible(seen);
    if (!seen) {
        monitor_->setText(bound);
        state_->setText(bound.isEmpty() ? u"Not bound to a monitor: choose one on the Devices tab"_s
                                        : DottedText(colors.stale, u"Waiting for the first packet"_s));
        return;
    }
    const Presence presence = parts_.measurement.PresenceOf(slot_);
    const std::string_view model = readings.model->name;
    monitor_->setText(bound + u"  ·  "_s + QLatin1StringView(model.data(), qsizetype(model.size())));
    volt_->setText(QString::fromStdString(FormatNumber(readings.volt, "##0.0")) + u" V"_s);
    volt_->setForegroundRole(presence == Presence::Live ? QPalette::WindowText : QPalette::PlaceholderText);
    if (presence == Presence::Live)
        state_->setText(DottedText(colors.live, u"On line"_s));
    else if (presence == Presence::Stale)
        state_->setText(DottedText(colors.stale, u"<b>Stale</b>"_s));
    else
        state_->setText(DottedText(
            colors.stale, u"<b>Off line since %1</b>"_s.arg(SinceText(readings.time, parts_.clock.Now()))));
    lastPacket_->setVisible(presence != Presence::OffLine);
    lastPacket_->setText(u"  last packet "_s + QString::fromStdString(ClockText(readings.time)));
}

void DeviceCard::resizeEvent(QResizeEvent*) {
    const bool wide = width() > table_->minimumWidth() * 2;
    bodyLayout_->setDirection(wide ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    bodyLayout_->setStretch(0, wide ? 2 : 0);
    bodyLayout_->setStretch(1, wide ? 3 : 1);
}

void DeviceCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    DrawCard(painter, *this);
}

}  // namespace corvane
