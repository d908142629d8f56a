#include "window/live/dashboard_page.h"

#include <QDateTime>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/number_format.h"
#include "link/device_slots.h"
#include "measure/measurement.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_texts.h"
#include "store/settings_store.h"
#include "window/live/channel_model.h"
#include "window/live/dashboard_readings.h"
#include "window/parts/gauge.h"
#include "window/parts/palette.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNoChannels = u"None"_s;

constexpr double kGaugeShape = 1.2;  ///< width to height

/// "Mon, Mar 02, 10:20:30 am", in English as all texts are.
QString HeaderTime(const LocalTime& time) {
    const QDateTime moment({time.year, time.month, time.day}, {time.hour, time.minute, time.second}, Qt::UTC);
    return QLocale::c().toString(moment, u"ddd, MMM dd, hh:mm:ss ap"_s);
}

}  // namespace

DashboardPage::DashboardPage(const LiveParts& parts, const VirtualChannels& virtualChannels,
                             SettingsStore& settings)
    : parts_(parts), virtualChannels_(virtualChannels), settings_(settings) {
    QVBoxLayout* page = ScrolledLayout(this);
    time_ = new QLabel;
    time_->setAccessibleName(u"Last packet"_s);
    volt_ = new QLabel;
    volt_->setAccessibleName(u"Line voltage"_s);
    choose_ = new QPushButton(u"Channels"_s);
    menu_ = new QMenu(choose_);
    choose_->setMenu(menu_);
    connect(menu_, &QMenu::aboutToShow, this, &DashboardPage::FillMenu);
    auto* header = new QHBoxLayout;
    header->addWidget(time_);
    header->addStretch();
    header->addWidget(volt_);
    header->addSpacing(fontMetrics().height());
    header->addWidget(choose_);
    page->addLayout(header);
    empty_ = new QLabel(u"Gauges appear here once a monitor sends. The Live tab tells how to connect one."_s);
    empty_->setAlignment(Qt::AlignCenter);
    page->addWidget(empty_, 1);
    grid_ = new QGridLayout;
    page->addLayout(grid_, 1);
    missing_ = new QLabel;
    missing_->setTextFormat(Qt::PlainText);
    page->addWidget(missing_);
}

void DashboardPage::Refresh() {
    if (auto labels = ReadChannelLabels(parts_.database); !labels.empty()) labels_ = std::move(labels);
    const std::vector<GaugeReading> readings = DashboardReadings(parts_, virtualChannels_, Chosen(), labels_,
                                                                 PaletteOn(palette().color(QPalette::Base)));
    SetGauges(readings.size());
    for (std::size_t i = 0; i < readings.size(); ++i)
        gauges_[i]->Show(readings[i]);
    empty_->setVisible(readings.empty());
    QStringList missing;
    const VirtualReadings sums = virtualChannels_.Read();
    for (const int slot : sums.missing)
        missing.append(MissingText(slot));
    if (const QString waits = SumsWaitText(sums); !waits.isEmpty()) missing.append(waits);
    missing_->setText(missing.join(u'\n'));
    missing_->setVisible(!missing.isEmpty() && !readings.empty());
    ShowHeader();
}

/// Of the last packet that came from any device.
void DashboardPage::ShowHeader() {
    const DeviceReadings* last = nullptr;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const DeviceReadings& readings = parts_.measurement.Readings(slot);
        if (!readings.Seen()) continue;
        if (last == nullptr || readings.at > last->at) last = &readings;
    }
    choose_->setHidden(window()->isFullScreen());
    if (last == nullptr) return;
    time_->setText(HeaderTime(last->time));
    volt_->setText(QString::fromStdString(FormatNumber(last->volt, "##0.0")) + u" Volt"_s);
}

/// Until somebody chooses: the main channels of every device, unless there are sums to look at.
std::vector<ChannelChoice> DashboardPage::Chosen() const {
    std::vector<ChannelChoice> chosen;
    const QString saved = settings_.Value(kDashboardChannels);
    if (saved.isEmpty() && virtualChannels_.Groups().Empty()) {
        for (int slot = 1; slot <= kSlots; ++slot) {
            if (parts_.deviceSlots.Bound(slot).isEmpty()) continue;
            for (std::size_t channel = 0; channel < kMainChannels; ++channel)
                chosen.push_back({.slot = slot, .channel = channel});
        }
    }
    for (const QString& text : saved.split(u';', Qt::SkipEmptyParts)) {
        if (const auto choice = ChannelChoice::Parse(text)) chosen.push_back(*choice);
    }
    return chosen;
}

void DashboardPage::Choose(const ChannelChoice& choice, bool on) {
    std::vector<ChannelChoice> chosen = Chosen();
    std::erase(chosen, choice);
    if (on) chosen.push_back(choice);
    QStringList texts;
    for (const ChannelChoice& each : chosen)
        texts.append(each.Text());
    settings_.Save(kDashboardChannels, texts.isEmpty() ? kNoChannels : texts.join(u';'));
    Refresh();
}

void DashboardPage::FillMenu() {
    menu_->clear();
    const std::vector<ChannelChoice> chosen = Chosen();
    for (int slot = 1; slot <= parts_.deviceSlots.InUse(); ++slot) {
        QMenu* device = menu_->addMenu(u"Device &%1"_s.arg(SlotLetter(slot)));
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const ChannelChoice choice{.slot = slot, .channel = channel};
            QAction* action = device->addAction(ChannelTitle(channel, labels_[slot][channel]));
            action->setCheckable(true);
            action->setChecked(std::ranges::find(chosen, choice) != chosen.end());
            connect(action, &QAction::toggled, this, [this, choice](bool on) { Choose(choice, on); });
        }
    }
}

void DashboardPage::SetGauges(std::size_t count) {
    if (gauges_.size() == count) return;
    for (; gauges_.size() > count; gauges_.pop_back())
        delete gauges_.back();
    while (gauges_.size() < count)
        gauges_.push_back(new Gauge);
    Arrange();
}

/// In as many columns as make the gauges largest.
void DashboardPage::Arrange() {
    const int count = static_cast<int>(gauges_.size());
    int columns = 1;
    double largest = 0;
    for (int tried = 1; tried <= count; ++tried) {
        const int rows = (count + tried - 1) / tried;
        const double size = std::min(width() / kGaugeShape / tried, static_cast<double>(height()) / rows);
        if (size <= largest) continue;
        largest = size;
        columns = tried;
    }
    for (int i = 0; i < count; ++i)
        grid_->addWidget(gauges_[static_cast<std::size_t>(i)], i / columns, i % columns);
    for (int column = 0; column < grid_->columnCount(); ++column)
        grid_->setColumnStretch(column, column < columns && count > 0 ? 1 : 0);
    for (int row = 0; row < grid_->rowCount(); ++row)
        grid_->setRowStretch(row, row * columns < count ? 1 : 0);
}

void DashboardPage::resizeEvent(QResizeEvent* event) {
    Page::resizeEvent(event);
    QFont large = font();
    large.setPixelSize(std::max(fontMetrics().height(), height() / 28));
    for (QLabel* label : {time_, volt_, missing_})
        label->setFont(large);
    Arrange();
}

}  // namespace corvane
