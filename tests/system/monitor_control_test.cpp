// The real programs talking to a simulated monitor, in real time.
#include <QJsonArray>

#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using MonitorControl = ServiceTest;

TEST_F(MonitorControl, SetsAMonitorUpWhileAnotherOneIsCaptured) {
    house_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    house_.Preset(u"DevSerial"_s, u"400123"_s, u"1"_s);
    StartService();
    const auto commanded = StartMonitor(u"301234"_s, house_.portA, {u"--interval"_s, u"255"_s});
    const auto captured =
        StartMonitor(u"400123"_s, house_.portB, {u"--interval"_s, u"1"_s, u"--speed"_s, u"4"_s});
    ASSERT_TRUE(service_->Says(u"Connected to Ethernet Gateway."_s));
    // What a command prints.
    const auto say = [this](const QStringList& words) {
        Started ctl(u"corvanectl"_s, house_.Arguments() + words);
        EXPECT_EQ(ctl.ExitCode(30'000), 0) << words.join(u' ').toStdString() << ctl.Output().toStdString();
        return ctl.Output();
    };
    const auto lastPackets = [this] {
        QStringList times;
        for (const auto& device : house_.Ask({u"readings"_s})[u"devices"_s].toArray())
            times.append(device.toObject()[u"lastPacket"_s].toString());
        return times;
    };

    ASSERT_TRUE(SpinUntil([&] { return lastPackets().size() == 1; }));
    const QStringList before = lastPackets();
    const QString set = say({u"monitor"_s, u"set"_s, u"ct1"_s, u"17"_s, u"5"_s});
    EXPECT_TRUE(set.contains(u"CT1 Type: 17\nCT1 Range: 5\n"_s)) << set.toStdString();
    EXPECT_TRUE(set.contains(u"Unit serial number:  01234"_s)) << set.toStdString();
    EXPECT_EQ(lastPackets().size(), 1);
    EXPECT_NE(lastPackets(), before) << "the other link goes on";
    say({u"realtime"_s, u"once"_s});
    EXPECT_TRUE(SpinUntil([&] { return lastPackets().size() == 2; })) << "of the monitor that was asked";
}

}  // namespace
}  // namespace corvane
