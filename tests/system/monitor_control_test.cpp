// The real programs talking to a simulated monitor, in real time.
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(MonitorControl, SetsAMonitorUpWhileAnotherOneIsCaptured) {
    ServiceFolder house;
    house.Preset(u"DevSerial"_s, u"400123"_s, u"1"_s);
    Started service(u"corvaned"_s, house.Arguments());
    ASSERT_TRUE(service.Says(u"TCP Server B listens"_s)) << service.Output().toStdString();
    const auto port = [](std::uint16_t number) { return u"localhost:%1"_s.arg(number); };
    const Started commanded(u"corvane-sim"_s,
                            {u"--connect"_s, port(house.portA), u"--serial"_s, u"301234"_s});
    const Started captured(u"corvane-sim"_s, {u"--connect"_s, port(house.portB), u"--serial"_s, u"400123"_s,
                                              u"--interval"_s, u"1"_s, u"--speed"_s, u"4"_s});
    ASSERT_TRUE(service.Says(u"Connected to Ethernet Gateway."_s));
    // What a command prints.
    const auto say = [&house](const QStringList& words) {
        Started ctl(u"corvanectl"_s, house.Arguments() + words);
        EXPECT_EQ(ctl.ExitCode(30'000), 0) << words.join(u' ').toStdString() << ctl.Output().toStdString();
        return ctl.Output();
    };
    const auto packets = [&house] { return house.Ask({u"readings"_s})[u"goodPackets"_s].toInt(); };

    say({u"target"_s, u"A"_s});
    const int before = packets();
    say({u"realtime"_s, u"stop"_s});
    EXPECT_GT(packets(), before) << "the other link goes on";
    EXPECT_TRUE(say({u"monitor"_s, u"read"_s}).contains(u"Unit serial number:  01234"_s));
    say({u"monitor"_s, u"set"_s, u"ct1"_s, u"17"_s, u"5"_s});
    EXPECT_TRUE(say({u"monitor"_s, u"diff"_s}).contains(u"CT1 Type: 163 -> 17\nCT1 Range: 4 -> 5"_s));
    EXPECT_TRUE(say({u"--yes"_s, u"bind"_s, u"C"_s}).contains(u"Device C answers to 301234."_s));
    say({u"realtime"_s, u"once"_s});
    EXPECT_TRUE(
        SpinUntil([&] { return QJsonDocument(house.Ask({u"readings"_s})).toJson().contains("301234"); }));
}

}  // namespace
}  // namespace corvane
