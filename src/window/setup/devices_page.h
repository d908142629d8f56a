// The devices: which monitor each one is, what its channels are called, and what is made of them.
#pragma once

#include "window/page.h"

namespace corvane {

class Actions;
class ChannelTextsBox;
class DevicesBox;
class GroupsBox;
class InstallationBox;
class PulseBox;

class DevicesPage final : public Page {
    Q_OBJECT

public:
    struct Boxes {
        DevicesBox* devices;
        ChannelTextsBox* channels;
        PulseBox* pulses;
        InstallationBox* installation;
        GroupsBox* groups;
    };

    /// The boxes become the page's.
    DevicesPage(const Boxes& boxes, const Actions& actions);

    void Refresh() override;

private:
    Boxes boxes_;
};

}  // namespace corvane
