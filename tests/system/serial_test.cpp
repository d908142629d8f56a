// The real service with a monitor on a serial line.
#include <QJsonArray>

#include "support/packets.h"
#include "support/pty.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SerialLine : public ServiceTest {
protected:
    SerialLine() {
        house_.Preset(u"AutoOpen"_s, u"True"_s);
        house_.Preset(u"DevSerial"_s, u"301234"_s, u"2"_s);
        house_.Preset(u"ComPortB"_s, u"40"_s);
    }
};

TEST_F(SerialLine, GivesTheReadingsOfItsMonitorOnTheSlotThatIsBoundToIt) {
    Pty line;
    house_.Preset(u"ComDevice40"_s, line.Path());
    StartService();
    ASSERT_TRUE(service_->Says(u"     Serial Connection B Port # 40 is now open."_s));

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
    EndService();
}

TEST_F(SerialLine, MayBeMissingAtTheStart) {
    house_.Preset(u"ComDevice40"_s, house_.folder.Path(u"nowhere"_s));
    StartService();
    EXPECT_TRUE(service_->Output().contains(u"     Serial Connection B: Error opening COM port: "_s));
    EXPECT_FALSE(house_.Ask({u"status"_s}).isEmpty());
}

}  // namespace
}  // namespace corvane
