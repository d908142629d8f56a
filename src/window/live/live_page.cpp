#include "window/live/live_page.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

#include "link/framer.h"
#include "link/tcp_link.h"
#include "measure/measurement.h"
#include "window/live/device_card.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

LivePage::LivePage(const LiveParts& parts, const Framer& framer, const TcpLink& tcpA, const TcpLink& tcpB)
    : parts_(parts), framer_(framer), tcpA_(tcpA), tcpB_(tcpB), recent_(parts.clock) {
    QVBoxLayout* page = ScrolledLayout(this);
    BuildEmptyState();
    page->addWidget(empty_);
    cardArea_ = new QWidget;
    grid_ = new QGridLayout(cardArea_);
    grid_->setContentsMargins(0, 0, 0, 0);
    page->addWidget(cardArea_);
    parts.measurement.AddSink(recent_);
}

void LivePage::BuildEmptyState() {
    empty_ = new QWidget;
    QFont large = font();
    large.setPointSizeF(font().pointSizeF() * 1.2);
    auto* text = new QWidget;
    text->setFont(large);
    text->setFixedWidth(QFontMetrics(large).averageCharWidth() * 72);
    auto* title = TextLabel(u"No monitor is connected yet"_s);
    large.setPointSizeF(font().pointSizeF() * 2);
    title->setFont(large);
    steps_ = TextLabel();
    strangers_ = TextLabel();
    auto* column = new QVBoxLayout(text);
    column->setSpacing(fontMetrics().height());
    column->addStretch(1);
    for (QLabel* label : {title, steps_, strangers_})
        column->addWidget(label);
    column->addStretch(2);
    auto* middle = new QHBoxLayout(empty_);
    middle->addStretch();
    middle->addWidget(text);
    middle->addStretch();
}

void LivePage::ShowEmptyState() {
    const auto port = [](const TcpLink& link) {
        return link.LocalPort() == 0 ? u"closed"_s : QString::number(link.LocalPort());
    };
    steps_->setText(
        u"1.  Connect the monitor. By a serial cable or a USB adapter: plug it in, then open its port on the "
        "Connections tab. By a network gateway: let the gateway send to this computer (TCP Server A: port "
        "%1, "
        "B: port %2).\n\n"
        "2.  Bind it to a device on the Devices tab, by its serial number.\n\n"
        "3.  Come back: its values are here as soon as its next packet comes."_s.arg(port(tcpA_),
                                                                                     port(tcpB_)));
    const auto packets = framer_.GoodPackets();
    strangers_->setVisible(packets > 0);
    strangers_->setText(
        u"%1 packets have come, from monitors that no device is bound to: step 2 is next."_s.arg(packets));
}

void LivePage::Refresh() {
    const int inUse = parts_.deviceSlots.InUse();
    bool any = false;
    for (int slot = 1; slot <= inUse; ++slot)
        any = any || !parts_.deviceSlots.Bound(slot).isEmpty();
    empty_->setVisible(!any);
    cardArea_->setVisible(any);
    if (!any) return ShowEmptyState();
    SetCards(inUse);
    // Nothing while the database is locked: then those of before go on being shown.
    if (auto labels = ReadChannelLabels(parts_.database); !labels.empty()) labels_ = std::move(labels);
    for (std::size_t i = 0; i < cards_.size(); ++i)
        cards_[i]->Refresh(labels_[static_cast<int>(i) + 1]);
}

void LivePage::SetCards(int count) {
    if (static_cast<int>(cards_.size()) == count) return;
    for (; static_cast<int>(cards_.size()) > count; cards_.pop_back())
        delete cards_.back();
    while (static_cast<int>(cards_.size()) < count)
        cards_.push_back(new DeviceCard(parts_, recent_, static_cast<int>(cards_.size()) + 1));
    columns_ = 0;
    Arrange();
}

/// In as few rows as are readable.
void LivePage::Arrange() {
    if (cards_.empty()) return;
    const int count = static_cast<int>(cards_.size());
    const int most = std::clamp(width() / (fontMetrics().averageCharWidth() * 76), 1, count);
    const int rows = (count + most - 1) / most;
    const int columns = (count + rows - 1) / rows;  // rows of the same length, where that goes
    if (columns == columns_) return;
    columns_ = columns;
    for (int i = 0; i < count; ++i)
        grid_->addWidget(cards_[static_cast<std::size_t>(i)], i / columns, i % columns);
    for (int column = 0; column < kSlots; ++column)
        grid_->setColumnStretch(column, column < columns ? 1 : 0);
}

void LivePage::resizeEvent(QResizeEvent* event) {
    Page::resizeEvent(event);
    Arrange();
}

}  // namespace corvane
