// A day of six monitors at a packet a second, as fast as it goes.
#include <fstream>

#include "app/program_fixture.h"
#include "store/settle_bursts.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kDaySeconds = 24 * 3600;

/// Bytes of memory that belong to this process alone.
long PrivateMemory() {
    std::ifstream file("/proc/self/statm");
    long size = 0;
    long resident = 0;
    long shared = 0;
    file >> size >> resident >> shared;
    return (resident - shared) * 4096;
}

class Soak : public ProgramTest {
protected:
    Soak() {
        for (int slot = 0; slot < kSlots; ++slot) {
            Preset(u"DevSerial"_s, u"30000%1"_s.arg(slot + 1), QString::number(slot));
        }
    }

    /// One packet of each monitor, whose seconds counter is `second`.
    static void SendAll(Program& program, std::uint32_t second) {
        for (std::uint16_t monitor = 1; monitor <= kSlots; ++monitor) {
            MonitorState state{
                .ch1Absolute = second * 1000ULL * monitor, .serialNumber = monitor, .seconds = second};
            state.aux[4] = second * monitor;
            for (const std::uint8_t byte : PacketOf(state))
                program.framer.ProcessByte(monitor % kStreams, byte);
        }
    }
};

TEST_F(Soak, ADayGivesEveryMinuteAndHourRow) {
    Program& program = Start();

    long memoryAtNoon = 0;
    for (std::uint32_t second = 0; second < kDaySeconds; ++second) {
        SendAll(program, second);
        clock.AdvanceSeconds(1);
        SettleBursts(program.dbWriter);
        if (second == kDaySeconds / 2) memoryAtNoon = PrivateMemory();
    }
    [[maybe_unused]] const long growth = PrivateMemory() - memoryAtNoon;
    ScriptedOperator op;
    QCoro::waitFor(program.Close(op));
    EXPECT_EQ(program.framer.GoodPackets(), std::uint64_t{kSlots} * kDaySeconds);
#ifndef __SANITIZE_ADDRESS__  // which keeps what was freed for a while
    EXPECT_LT(growth, 2L << 20) << "memory grows with the day";
#endif

    const auto count = [&program](const std::string& sql) {
        const QueryResult result = program.database.Run(sql);
        return result.Ok() && !result.rows.empty() ? result.rows[0][0].value_or("NULL") : result.errorText;
    };
    for (int monitor = 1; monitor <= kSlots; ++monitor) {
        const std::string where = " WHERE deviceaddress = 30000" + std::to_string(monitor);
        // The clock starts at 10:20:30; the minute changes 1440 times in a day.
        EXPECT_EQ(count("SELECT count(DISTINCT date) FROM monitordata_minute" + where), "1440");
        EXPECT_EQ(count("SELECT min(date) FROM monitordata_minute" + where), "2026-03-02 10:21:00");
        EXPECT_EQ(count("SELECT max(date) FROM monitordata_minute" + where), "2026-03-03 10:20:00");
        // The first at once, the following each more than an hour later.
        EXPECT_EQ(count("SELECT count(DISTINCT date) FROM monitordata_hourly" + where), "24");
        // Every minute row holds the power of its own monitor.
        EXPECT_EQ(count("SELECT count(*) FROM monitordata_minute" + where + " AND ch1watt <> " +
                        std::to_string(monitor * 1000)),
                  "0");
    }
    // The very first statement came to an empty queue, and so was run again with the next burst; no other
    // was.
    EXPECT_EQ(count("SELECT count(*) FROM monitordata_minute"), std::to_string(kSlots * 1440));
    EXPECT_EQ(count("SELECT count(*) FROM monitordata_hourly"), std::to_string(kSlots * 24 + 1));
}

}  // namespace
}  // namespace corvane
