#include "demo/demo.h"

#include <gtest/gtest.h>

#include "app/program.h"
#include "store/rows.h"
#include "support/fake_clock.h"
#include "support/scripted_operator.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(Demo, HasDaysOfRecordsThatItsMonitorsGoOnFrom) {
    FakeClock clock;
    DemoFolder folder;
    ASSERT_TRUE(folder.Prepare(clock.Now()));
    const std::string path = folder.Where().dataFolder.toStdString() + "/vrq1.db3";
    const auto minuteBefore = DateTimeText(LocalTimeAt(clock.Now().unixSeconds - clock.Now().second - 60));
    EXPECT_EQ(
        Rows(path,
             "SELECT deviceaddress, count(*), max(date) FROM monitordata_minute GROUP BY deviceaddress"),
        (std::vector{"301234|10079|" + minuteBefore, "400123|10079|" + minuteBefore,
                     "500042|10079|" + minuteBefore}));
    EXPECT_EQ(Rows(path, "SELECT deviceaddress, count(*) FROM monitordata_hourly GROUP BY deviceaddress"),
              (std::vector<std::string>{"301234|168", "400123|168", "500042|168"}));
    EXPECT_EQ(Rows(path, "SELECT id, deviceaddress, ch1alias FROM applicationinfo"),
              (std::vector<std::string>{"1|301234|House", "2|400123|Flat A", "3|500042|Workshop"}));
    EXPECT_EQ(Rows(path,
                   "SELECT min(substr(date, 12, 4)), max(substr(date, 12, 4)) FROM monitordata_minute "
                   "WHERE deviceaddress = 301234 AND ch2watt > 20"),
              std::vector<std::string>{"05:1|19:2"})
        << "the sun rises and sets at its time";
    EXPECT_EQ(Rows(path, "SELECT count(*) FROM monitordata_minute WHERE volt = 0 OR secondscounter = 0"),
              std::vector<std::string>{"0"});
    const auto stored = Rows(path, "SELECT max(ch1kwh) FROM monitordata_minute WHERE deviceaddress = 301234");
    const double newest = QByteArray::fromStdString(stored.at(0)).toDouble();

    Program program(folder.Where(), clock);
    ScriptedOperator op;
    ASSERT_TRUE(QCoro::waitFor(program.Start(op)));
    DemoMonitors monitors(program.framer, clock, folder.Monitors());
    for (const auto& [name, value] :
         {std::pair{u"DeviceQTY"_s, u"3"_s}, {u"NETmeter"_s, u"True"_s}, {u"WebEnable"_s, u"False"_s}})
        EXPECT_EQ(program.settings.Kept(u"startup/"_s + name), value) << name.toStdString();
    for (const TcpLink* link : program.TcpLinks())
        EXPECT_NE(link->State(), SocketState::Listening) << "it takes nobody's ports";
    clock.AdvanceSeconds(10);
    for (int slot = 1; slot <= 3; ++slot)
        EXPECT_TRUE(program.measurement.Online(slot)) << slot;
    EXPECT_EQ(program.framer.GoodPackets(), 15U) << "three, every two seconds";
    EXPECT_NEAR(program.measurement.Readings(1).channels[0].absolute.Kwh(), newest, 0.02);
    QCoro::waitFor(program.Close(op));
}

}  // namespace
}  // namespace corvane
