#include "window/setup/devices_page.h"

#include <QHBoxLayout>

#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/setup/channel_texts_box.h"
#include "window/setup/devices_box.h"
#include "window/setup/groups_box.h"
#include "window/setup/installation_box.h"
#include "window/setup/pulse_box.h"

namespace corvane {

DevicesPage::DevicesPage(const Boxes& boxes, const Actions& actions) : boxes_(boxes) {
    QVBoxLayout* page = ScrolledLayout(this);
    page->addWidget(boxes_.devices);
    page->addWidget(boxes_.channels);
    auto* row = new QHBoxLayout;
    row->addWidget(boxes_.pulses, 1);
    row->addWidget(boxes_.installation, 1);
    page->addLayout(row);
    page->addWidget(boxes_.groups);
    page->addStretch(1);
    connect(boxes_.devices, &DevicesBox::SlotChosen, boxes_.channels, &ChannelTextsBox::ShowSlot);
    connect(boxes_.devices, &DevicesBox::SlotChosen, boxes_.pulses, &PulseBox::ShowSlot);
    connect(&actions, &Actions::BusyChanged, this, [this](bool busy) {
        if (!busy) Refresh();
    });
    boxes_.devices->Choose(1);
}

void DevicesPage::Refresh() {
    boxes_.devices->Refresh();
    boxes_.pulses->Refresh();
    boxes_.installation->Refresh();
    boxes_.groups->Refresh();
}

}  // namespace corvane
