#include "window/setup/forwarding_page.h"

#include <QVBoxLayout>

#include "forward/feed_upload.h"
#include "window/parts/widgets.h"
#include "window/setup/feed_channels_box.h"
#include "window/setup/output_box.h"

namespace corvane {

using namespace Qt::StringLiterals;

ForwardingPage::ForwardingPage(std::span<Output* const> outputs, FeedUpload& feed, Settings& settings,
                               Actions& actions) {
    QVBoxLayout* page = ScrolledLayout(this);
    for (Output* output : outputs) {
        OutputPart part;
        if (output == &feed) part = {.label = u"Datastreams"_s, .widget = new FeedChannelsBox(feed, actions)};
        boxes_.push_back(new OutputBox(*output, settings, actions, part));
        page->addWidget(boxes_.back());
    }
    page->addStretch();
}

void ForwardingPage::Refresh() {
    for (OutputBox* box : boxes_)
        box->Refresh();
}

}  // namespace corvane
