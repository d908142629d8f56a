// The real service with a monitor on a serial line.
#include <QJsonArray>

#include "support/packets.h"
#include "support/pty.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SerialLine : public testing::Test {
protected:
    SerialLine() {
        house_.Preset(u"AutoOpen"_s, u"True"_s);
        house_.Preset(u"DevSerial"_s, u"301234"_s, u"2"_s);
        house_.Preset(u"ComPortB"_s, u"40"_s);
    }

    ServiceFolder house_;
};

TEST_F(SerialLine, GivesTheReadingsOfItsMonitorOnTheSlotThatIsBoundToIt) {
    Pty line;
    house_.Preset(u"ComDevice40"_s, line.Path());
    Started service(u"corvaned"_s, house_.Arguments());
    ASSERT_TRUE(service.Says(u"     Serial Connection B Port # 40 is now open."_s))
        << service.Output().toStdString();

    for (const std::uint32_t seconds : {100U, 110U}) {
        const Bytes packet = PacketOf({.voltTenths = 1213,
                                       .ch1Absolute = 500'000 + seconds * 200,
                                       .serialNumber = 1234,
                                       .seconds = seconds});
        line.Send({reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size())});
    }
    QJsonObject readings;
    ASSERT_TRUE(SpinUntil([&] {
        readings = house_.Ask({u"readings"_s});
        return readings[u"goodPackets"_s].toInt() == 2;
    }));
    ASSERT_EQ(readings[u"devices"_s].toArray().size(), 1);
    const QJsonObject device = readings[u"devices"_s].toArray().first().toObject();
    EXPECT_EQ(device[u"slot"_s].toString(), u"C"_s);
    EXPECT_EQ(device[u"volt"_s].toDouble(), 121.3);
    EXPECT_EQ(device[u"channels"_s].toArray().first().toObject()[u"watts"_s].toInt(), 200);
    service.Terminate();
    EXPECT_EQ(service.ExitCode(), 0);
}

TEST_F(SerialLine, MayBeMissingAtTheStart) {
    house_.Preset(u"ComDevice40"_s, house_.folder.Path(u"nowhere"_s));
    Started service(u"corvaned"_s, house_.Arguments());
    ASSERT_TRUE(service.Says(u"TCP Server B listens"_s)) << service.Output().toStdString();
    EXPECT_TRUE(service.Output().contains(u"     Serial Connection B: Error opening COM port: "_s));
    EXPECT_FALSE(house_.Ask({u"status"_s}).isEmpty());
}

}  // namespace
}  // namespace corvane
