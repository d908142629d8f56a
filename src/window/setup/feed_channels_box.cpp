#include "window/setup/feed_channels_box.h"

#include <QComboBox>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "base/channels.h"
#include "forward/feed_upload.h"
#include "link/device_slots.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// All channels that a datastream can carry, "None" first.
QStringList DatastreamChannels() {
    QStringList texts{u"None"_s};
    for (int slot = 1; slot <= kSlots; ++slot) {
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            texts.append(ChannelChoice{.slot = slot, .channel = channel}.Text());
    }
    return texts;
}

}  // namespace

FeedChannelsBox::FeedChannelsBox(FeedUpload& feed, Actions& actions)
    : feed_(feed), assignments_(new QTableWidget(kDatastreams, 1)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    assignments_->setCornerButtonEnabled(false);
    assignments_->setAccessibleName(u"Datastreams"_s);
    assignments_->setHorizontalHeaderLabels({u"Channel"_s});
    QStringList ids;
    for (std::size_t id = 0; id < kDatastreams; ++id)
        ids.append(QString::number(id));
    assignments_->setVerticalHeaderLabels(ids);
    assignments_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    assignments_->setSelectionMode(QAbstractItemView::SingleSelection);
    assignments_->horizontalHeader()->setStretchLastSection(true);
    assignments_->setMinimumHeight(180);
    assignments_->setCurrentCell(0, 0);
    column->addWidget(assignments_);

    auto* channel = new QComboBox;
    channel->addItems(DatastreamChannels());
    channel->setAccessibleName(u"Channel of the datastream"_s);
    const auto assign = [this, channel](Operator& op) {
        const QString id = QString::number(assignments_->currentRow());
        const bool none = channel->currentIndex() == 0;
        return feed_.Assign(id, none ? std::nullopt : std::optional(channel->currentText()), op);
    };
    column->addWidget(Row({channel, ActionButton(u"Assign to the datastream chosen"_s, actions, assign)}));
    connect(&actions, &Actions::BusyChanged, this, &FeedChannelsBox::ShowAssignments);
    ShowAssignments();
}

void FeedChannelsBox::ShowAssignments() {
    const FeedChannels channels = feed_.Channels();
    for (std::size_t id = 0; id < kDatastreams; ++id) {
        const QString text = channels[id].has_value() ? channels[id]->Text() : QString();
        assignments_->setItem(static_cast<int>(id), 0, new QTableWidgetItem(text));
    }
}

}  // namespace corvane
