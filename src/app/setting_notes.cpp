#include "app/setting_notes.h"

#include <algorithm>

#include "app/settings.h"
#include "forward/feed_upload.h"
#include "forward/forwarding_client.h"
#include "forward/forwarding_server.h"
#include "forward/get_upload.h"
#include "link/device_slots.h"
#include "link/serial_link.h"
#include "link/tcp_link.h"
#include "measure/channel_groups.h"
#include "measure/virtual_channels.h"
#include "store/db_writer.h"
#include "store/device_serial.h"
#include "store/settings_store.h"
#include "web/web_setup.h"

namespace corvane {

namespace {

/// Whether a value is of some kind.
using Test = bool (*)(SettingsStore& settings, const Setting& setting, const SettingPlace& place);

bool Any(SettingsStore&, const Setting&, const SettingPlace&) {
    return true;
}
bool On(SettingsStore& settings, const Setting& setting, const SettingPlace& place) {
    return settings.IsOn(setting, place);
}
bool Off(SettingsStore& settings, const Setting& setting, const SettingPlace& place) {
    return !settings.IsOn(setting, place);
}
bool Empty(SettingsStore& settings, const Setting& setting, const SettingPlace& place) {
    return settings.Value(setting, place).trimmed().isEmpty();
}
bool Server(SettingsStore& settings, const Setting& setting, const SettingPlace& place) {
    return settings.Value(setting, place) != QLatin1StringView("client");
}
bool NoneOfFamily(SettingsStore& settings, const Setting& setting, const SettingPlace&) {
    return std::ranges::all_of(SettingMembers(setting), [&](const QString& member) {
        return Empty(settings, setting, {.member = member});
    });
}
bool NoChannels(SettingsStore& settings, const Setting& group, const SettingPlace&) {
    return std::ranges::all_of(SettingMembers(group), [&](const QString& member) {
        return settings.Value(group, {.member = member}) == QLatin1StringView(group.fallback);
    });
}
bool BoundBeyond(SettingsStore& settings, const Setting& serial, const SettingPlace&) {
    for (int slot = settings.Number(kDeviceQuantity) + 1; slot <= kSlots; ++slot) {
        if (!Empty(settings, serial, {.slot = slot})) return true;
    }
    return false;
}
bool NotServed(SettingsStore& settings, const Setting&, const SettingPlace&) {
    const WebSetup setup = WebSetup::Load(settings);
    return setup.enabled && !setup.Check();
}

constexpr const Setting& kMainGroup =
    kChannelGroupsSettings[static_cast<std::size_t>(ChannelGroup::MainPanel)];
constexpr const char* kNoMain = "No channel is chosen for the main panel yet: \"group set main\".";
constexpr const char* kNoPages = "No pages are served while WebEnable is False.";
constexpr const char* kNeedsToken =
    "No pages are served until there is a WebToken: WebListen lets the network in. \"set WebToken\" gives "
    "one.";
constexpr const char* kNoListening = "Nothing is forwarded there while ServerEnable is False.";
constexpr const char* kNoServerB = "Nothing is forwarded there while HAServerEnable is False.";
constexpr const char* kNoClient = "The client connects nowhere while ClientEnable is False.";
constexpr const char* kNoGet = "Nothing is sent while GetEnable is False.";
constexpr const char* kNoFeed = "The feed is not sent by itself while PacEnable is False.";
constexpr const char* kClosedA = "TCP Server A was closed by hand, and stays so: \"listen A\" opens it.";
constexpr const char* kClosedB = "TCP Server B was closed by hand, and stays so: \"listen B\" opens it.";

/// Said when `changed` has such a value while `other` has such a one.
struct Note {
    const Setting& changed;
    Test isSo;
    const Setting& other;
    Test hinders;
    const char* text;
    const char* member = "";  ///< of `other`
};

constexpr Note kNotes[] = {
    {kTcpPortA, Any, kTcpLatch, On, kClosedA, "A"},
    {kTcpPortB, Any, kTcpLatch, On, kClosedB, "B"},
    {kTcpModeB, Any, kTcpLatch, On, kClosedB, "B"},
    {kTcpHostB, Any, kTcpModeB, Server,
     "TCP Server B listens and connects nowhere while TcpModeB is server."},
    {kComPort, Any, kAutoOpen, Off,
     "While AutoOpen is False, serial connections stay closed at the next start: \"set AutoOpen True\"."},
    {kAutoOpen, On, kComPort, NoneOfFamily,
     "No serial connection has a port yet: \"open A PORT\" gives it one."},
    {kDeviceQuantity, Any, kDeviceSerial, BoundBeyond,
     "Devices up to the last one that is bound are in use all the same."},
    {kDeviceLink, Any, kDeviceLink, Any,
     "It holds until a packet of the device comes over another link; that one takes its place."},
    {kSingleTwoChannel, On, kSingleTwoChannel, On,
     "Every two-channel packet is taken for one of 999998 now: bind a device to that."},
    {kWriteFrequency, Any, kDatabaseEnabled, Off, "No records are written while DBenabled is False."},
    {kBipolarMain, On, kMainGroup, NoChannels, kNoMain},
    {kAverageAmps, On, kMainGroup, NoChannels, kNoMain},
    {kListeningEnable, On, kListeningLatch, On,
     "It was closed by hand, and stays so: \"forward listen server\" opens it."},
    {kListeningBinary, Any, kListeningEnable, Off, kNoListening},
    {kListeningPort, Any, kListeningEnable, Off, kNoListening},
    {kServerBEnable, On, kServerBLatch, On,
     "It was closed by hand, and stays so: \"forward listen b\" opens it."},
    {kServerBBinary, Any, kServerBEnable, Off, kNoServerB},
    {kServerBPort, Any, kServerBEnable, Off, kNoServerB},
    {kClientEnable, On, kClientAddress, Empty, "The client connects nowhere until there is a ClientTCPip."},
    {kClientEnable, On, kClientPort, Empty, "The client connects nowhere until there is a ClientPort."},
    {kClientAddress, Any, kClientEnable, Off, kNoClient},
    {kClientPort, Any, kClientEnable, Off, kNoClient},
    {kGetEnable, On, kGetHost, Empty, "Nothing is sent until there is a GetURL."},
    {kGetHost, Any, kGetEnable, Off, kNoGet},
    {kGetPath, Any, kGetEnable, Off, kNoGet},
    {kGetLayout, Any, kGetEnable, Off, kNoGet},
    {kFeedEnable, On, kFeedChannelList, Empty,
     "Nothing is sent until a datastream has a channel: \"feed assign\"."},
    {kFeedKey, Any, kFeedEnable, Off, kNoFeed},
    {kFeedNumber, Any, kFeedEnable, Off, kNoFeed},
    {kFeedTitle, Any, kFeedEnable, Off, kNoFeed},
    {kFeedHost, Any, kFeedEnable, Off, kNoFeed},
    {kFeedInterval, Any, kFeedEnable, Off, kNoFeed},
    {kWebEnabled, Any, kWebToken, NotServed, kNeedsToken},
    {kWebPort, Any, kWebEnabled, Off, kNoPages},
    {kWebListen, Any, kWebEnabled, Off, kNoPages},
    {kWebToken, Any, kWebEnabled, Off, kNoPages},
};

}  // namespace

QStringList SettingNotes(const FoundSetting& changed, SettingsStore& settings) {
    QStringList lines;
    for (const Note& note : kNotes) {
        if (!IsKeyOf(note.changed, SettingKey(*changed.setting, changed.place))) continue;
        if (!note.isSo(settings, note.changed, changed.place)) continue;
        if (note.hinders(settings, note.other, {.member = QLatin1StringView(note.member)}))
            lines.append(QLatin1StringView(note.text));
    }
    return lines;
}

}  // namespace corvane
