#include <QJsonArray>

#include "app/program.h"
#include "base/number_format.h"
#include "link/device_texts.h"
#include "measure/readings.h"
#include "measure/virtual_texts.h"
#include "remote/command.h"
#include "remote/given_text.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString GroupLine(const Program& program, ChannelGroup group) {
    return u"%1: %2"_s.arg(QLatin1StringView(WordsOf(group).title), ChosenText(program.channelGroups, group));
}

QJsonObject GroupObject(const Program& program, ChannelGroup group) {
    const GroupWords& words = WordsOf(group);
    return {{u"name"_s, QLatin1StringView(words.name)},
            {u"title"_s, QLatin1StringView(words.title)},
            {u"note"_s, QLatin1StringView(words.note)},
            {u"channels"_s, QJsonArray::fromStringList(program.channelGroups.TextsOf(group))}};
}

Reply GroupReply(const Program& program, ChannelGroup group) {
    return {.lines = {GroupLine(program, group)}, .data = GroupObject(program, group)};
}

/// The installation type, and whether there is a virtual device.
Reply DeviceReply(const Program& program) {
    const VirtualDevice& device = program.virtualDevice;
    const InstallationType type = device.Type();
    const bool net = type == InstallationType::NetMetering;
    return {.lines = {u"Installation Type: "_s + VirtualDevice::TypeText(type), VirtualDeviceText(device)},
            .data = {{u"installation"_s, net ? u"net"_s : u"consumption"_s},
                     {u"virtualDevice"_s, device.Exists()}}};
}

/// A failure, or what is in effect now.
Reply DeviceReply(const Program& program, const Outcome& outcome) {
    return outcome ? DeviceReply(program) : Reply::Failure(outcome.Error());
}

QCoro::Task<Reply> Groups(Program& program, QStringList, Operator&) {
    Reply reply = DeviceReply(program);
    QJsonArray groups;
    QStringList lines;
    for (const ChannelGroup group : kChannelGroups) {
        lines.append(GroupLine(program, group));
        groups.append(GroupObject(program, group));
    }
    const QString panel = program.virtualDevice.SetMainPanelID();
    if (!panel.isEmpty()) lines.append(u"Main panel by the database: "_s + panel);
    reply.lines = lines + reply.lines;
    reply.data[u"groups"_s] = groups;
    reply.data[u"totalPanelChannel"_s] = panel;
    co_return reply;
}

QCoro::Task<Reply> ChangeGroup(Program& program, QStringList arguments, Operator&) {
    const auto group = GroupOfName(arguments[1]);
    if (!group.has_value()) {
        co_return Reply::Failure(
            u"The groups are main, generator, virtual1, virtual2, virtual3 and other."_s);
    }
    if (arguments.first() == "clear"_L1 && arguments.size() == 2) {
        program.channelGroups.Clear(*group);
    } else if (arguments.first() == "set"_L1) {
        const Outcome chosen = program.channelGroups.Choose(*group, arguments.mid(2));
        if (!chosen) co_return Reply::Failure(chosen.Error());
    } else {
        co_return Reply::Failure(u"Usage: group set GROUP CHANNEL... or group clear GROUP"_s);
    }
    co_return GroupReply(program, *group);
}

QCoro::Task<Reply> ChangeVirtualDevice(Program& program, QStringList arguments, Operator& op) {
    VirtualDevice& device = program.virtualDevice;
    if (arguments.first() == "create"_L1) co_return DeviceReply(program, co_await device.Create(op));
    if (arguments.first() == "delete"_L1) co_return DeviceReply(program, co_await device.Delete(op));
    co_return Reply::Failure(u"Usage: virtual create|delete"_s);
}

QCoro::Task<Reply> Installation(Program& program, QStringList arguments, Operator& op) {
    const bool net = arguments.first() == "net"_L1;
    if (!net && arguments.first() != "consumption"_L1)
        co_return Reply::Failure(u"Usage: installation consumption|net"_s);
    const auto type = net ? InstallationType::NetMetering : InstallationType::ConsumptionOnly;
    co_return DeviceReply(program, co_await program.virtualDevice.SetInstallationType(type, op));
}

Reply PulseReply(const Program& program, int slot) {
    const PulseSetup& setup = program.pulses.Setup(slot);
    const FlowUnit& unit = setup.Unit();
    const QString source =
        setup.channel.has_value() ? QString::fromLatin1(ChannelName(*setup.channel)) : u"no input"_s;
    const QString factor = QString::fromStdString(ShortestText(setup.countK));
    Reply reply;
    reply.lines = {u"%1: pulses on %2 are %3"_s.arg(SlotName(slot), source,
                                                    setup.enabled ? u"counted"_s : u"not counted"_s),
                   u"One Pulse Equals: %1 %2, rate in %3"_s.arg(factor, QLatin1StringView(unit.total),
                                                                QLatin1StringView(unit.rate))};
    if (const QString page = program.pulses.FlowPage(slot); !page.isEmpty())
        reply.lines.append(u"Flow page: "_s + page);
    if (const auto now = program.pulses.Readings(slot)) reply.lines.append(FlowText(*now));
    reply.data = {{u"slot"_s, SlotLetter(slot)},
                  {u"enabled"_s, setup.enabled},
                  {u"source"_s, source},
                  {u"countK"_s, setup.countK},
                  {u"rate"_s, QLatin1StringView(unit.rate)},
                  {u"rateUnit"_s, QLatin1StringView(unit.shortRate)},
                  {u"totalUnit"_s, QLatin1StringView(unit.total)},
                  {u"page"_s, program.pulses.FlowPage(slot)}};
    return reply;
}

QCoro::Task<Outcome> Preset(PulseCounters& pulses, int slot, QStringList value, Operator& op) {
    if (value.isEmpty()) co_return co_await pulses.PresetTotal(slot, op);
    GivenText given(op, value.first());
    co_return co_await pulses.PresetTotal(slot, given);
}

QCoro::Task<Reply> ChangePulse(Program& program, QStringList arguments, Operator& op) {
    PulseCounters& pulses = program.pulses;
    const QString action = arguments.takeFirst();
    const auto slot = SlotOfLetter(arguments.takeFirst());
    if (!slot.has_value()) co_return Reply::Failure(u"Devices are named A to F."_s);
    Outcome done = Outcome::Failure(
        u"Usage: pulse set SLOT AUX1..AUX4 0..3 minute|hour FACTOR, pulse enable|disable SLOT, "
        "or pulse preset SLOT [VALUE]"_s);
    if (action == "set"_L1 && arguments.size() == 4) {
        done = pulses.SetUp(*slot, arguments[0], arguments[1], arguments[2], arguments[3]);
    } else if ((action == "enable"_L1 || action == "disable"_L1) && arguments.isEmpty()) {
        done = co_await pulses.SetEnabled(*slot, action == "enable"_L1, op);
    } else if (action == "preset"_L1 && arguments.size() <= 1) {
        done = co_await Preset(pulses, *slot, arguments, op);
    }
    co_return done ? PulseReply(program, *slot) : Reply::Failure(done.Error());
}

constexpr int kMostGroupArguments = 2 + static_cast<int>(ChannelGroups::kMostChannels);

}  // namespace

std::span<const Command> VirtualCommands() {
    static constexpr Command commands[] = {
        {"groups", "", "The channels that the virtual channels are made of.", 0, 0, true, Groups},
        {"group", "set|clear GROUP [CHANNEL...]",
         "Chooses the channels of a group, for example A:CH1 B:AUX2.", 2, kMostGroupArguments, false,
         ChangeGroup},
        {"virtual", "create|delete", "Whether the virtual device is recorded.", 1, 1, false,
         ChangeVirtualDevice},
        {"installation", "consumption|net", "Whether power is also sent to the grid.", 1, 1, false,
         Installation},
        {"pulse", "set|enable|disable|preset SLOT [ENTRY...]", "Pulses of a flow or utility meter.", 2, 6,
         false, ChangePulse},
    };
    return commands;
}

}  // namespace corvane
