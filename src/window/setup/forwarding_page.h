// Where the live data go: each output that there is, in a box of its own.
#pragma once

#include <span>
#include <vector>

#include "window/page.h"

namespace corvane {

class Actions;
class FeedUpload;
class Output;
class OutputBox;
class Settings;

class ForwardingPage final : public Page {
    Q_OBJECT

public:
    /// `feed` is one of the outputs; its datastreams are a part of its box.
    ForwardingPage(std::span<Output* const> outputs, FeedUpload& feed, Settings& settings, Actions& actions);

    void Refresh() override;

private:
    std::vector<OutputBox*> boxes_;
};

}  // namespace corvane
