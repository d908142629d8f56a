// The real service with real simulated monitors: every column of the rows against what the monitors sent.
#include <QJsonArray>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

#include "sim/simulated_monitor.h"
#include "store/capture_database.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr std::int32_t kInterval = 1;

/// What a row must hold, worked out from what the monitor sent and the packet before.
struct Expected {
    std::array<std::uint64_t, kPacketFields.size()> now;
    std::array<std::uint64_t, kPacketFields.size()> before;
    bool first;  ///< no packet came before, so there is no power yet

    [[nodiscard]] double Sent(Field field) const {
        return static_cast<double>(now[static_cast<std::size_t>(field)]);
    }
    [[nodiscard]] double Watts(Field field) const {
        const auto used = now[static_cast<std::size_t>(field)] - before[static_cast<std::size_t>(field)];
        return std::round(static_cast<double>(used) / kInterval);
    }
};

constexpr std::array<Field, 7> kAbsolute = {Field::Ch1Absolute, Field::Ch2Absolute, Field::Aux1, Field::Aux2,
                                            Field::Aux3,        Field::Aux4,        Field::Aux5};
constexpr std::array<const char*, 7> kNames = {"ch1", "ch2", "aux1", "aux2", "aux3", "aux4", "aux5"};

/// The columns of a minute row by name.
std::map<std::string, double> MinuteColumns(const Expected& expected) {
    std::map<std::string, double> columns = {
        {"volt", expected.Sent(Field::Voltage) / 10},
        {"secondscounter", expected.Sent(Field::Seconds)},
        {"ch1amps", std::floor((expected.Sent(Field::Ch1Current) + 5) / 10) / 10},
        {"ch2amps", std::floor((expected.Sent(Field::Ch2Current) + 5) / 10) / 10},
        {"ch1pwsc", expected.Sent(Field::Ch1Polarized)},
        {"ch2pwsc", expected.Sent(Field::Ch2Polarized)},
        {"online", 1},
    };
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const std::string name = kNames[i];
        if (!expected.first) columns[name + "watt"] = expected.Watts(kAbsolute[i]);
        columns[name + "kwh"] = expected.Sent(kAbsolute[i]) / 3'600'000;
        columns[name + "awsc"] = expected.Sent(kAbsolute[i]);
    }
    return columns;
}

std::map<std::string, double> HourlyColumns(const Expected& expected) {
    std::map<std::string, double> columns = {
        {"ch1kwhp", expected.Sent(Field::Ch1Polarized) / 3'600'000},
        {"ch2kwhp", expected.Sent(Field::Ch2Polarized) / 3'600'000},
        {"online", 1},
    };
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        columns[std::string(kNames[i]) + "kwh"] = expected.Sent(kAbsolute[i]) / 3'600'000;
    }
    return columns;
}

/// The date and minute of a device's last packet.
QString MinuteOf(const QJsonObject& device) {
    return device[u"lastPacket"_s].toString().left(16);
}

bool HasPower(const QJsonObject& device) {
    return device[u"channels"_s].toArray().first()[u"watts"_s].isDouble();
}

/// A time zone whose clocks are put forward by half an hour four seconds from now, so that nobody has to wait
/// for the end of a minute.
QString ZoneWithASoonChange() {
    const QDateTime change = QDateTime::currentDateTimeUtc().addSecs(4);
    const int day = change.date().dayOfYear() - 1;
    return u"WIN0SUM-0:30,%1/%2,%3"_s.arg(day).arg(change.toString(u"H:m:s"_s)).arg((day + 180) % 365);
}

class Capture : public ServiceTest {
protected:
    struct Monitor {
        MonitorConfig config;
        QString serial;
        std::uint16_t port;
    };

    Capture() {
        house_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        house_.Preset(u"DevSerial"_s, u"400123"_s, u"5"_s);
    }

    static std::unique_ptr<Started> Start(const Monitor& monitor) {
        return StartMonitor(monitor.serial, monitor.port,
                            {u"--model"_s, QString::fromLatin1(monitor.config.model->name), u"--interval"_s,
                             QString::number(kInterval), u"--scenario"_s, u"steady"_s, u"--seed"_s,
                             QString::number(monitor.config.seed)});
    }

    [[nodiscard]] QueryResult Query(const std::string& sql) const {
        const CaptureDatabase database(house_.folder.Path(u"vrq1.db3"_s).toStdString());
        QueryResult result = database.Run(sql);
        EXPECT_TRUE(result.Ok()) << result.errorText;
        return result;
    }

    /// The packet after which `sql`'s first column, a counter that rises with every packet, reads `value`.
    static Expected Replay(const MonitorConfig& config, Field field, double value) {
        SimulatedMonitor monitor(config);
        Expected expected{};
        for (int packet = 0; packet < 1000 && expected.Sent(field) != value; ++packet) {
            expected.before = expected.now;
            expected.first = packet == 0;
            (void)monitor.NextPacket();
            expected.now = monitor.AllRaw();
        }
        EXPECT_EQ(expected.Sent(field), value) << "no packet that was sent has this value";
        return expected;
    }

    /// Compares every row of `table` that belongs to the monitor.
    void CheckRows(const Monitor& monitor, const std::string& table, const std::string& keyColumn,
                   Field keyField, double keyFactor,
                   std::map<std::string, double> (*columnsOf)(const Expected&)) const {
        const std::string where = " FROM " + table + " WHERE deviceaddress = " + monitor.serial.toStdString();
        const auto keys = Query("SELECT id, " + keyColumn + where).rows;
        ASSERT_FALSE(keys.empty()) << table << " has no row of " << monitor.serial.toStdString();
        for (const auto& row : keys) {
            const double sent =
                std::round(QByteArray::fromStdString(row[1].value_or("0")).toDouble() * keyFactor);
            for (const auto& [column, value] : columnsOf(Replay(monitor.config, keyField, sent))) {
                const auto cell =
                    Query("SELECT " + column + where + " AND id = " + row[0].value_or("0")).rows;
                ASSERT_TRUE(cell.front().front().has_value()) << column;
                EXPECT_NEAR(QByteArray::fromStdString(*cell.front().front()).toDouble(), value,
                            1e-9 * std::abs(value))
                    << table << "." << column << " of " << monitor.serial.toStdString();
            }
        }
        const auto columns = Query("PRAGMA table_info(" + table + ")").rows.size();
        // Besides the compared columns there are id, date and deviceaddress, and in minutes the unused
        // username.
        EXPECT_EQ(columns, columnsOf({}).size() + (table == "monitordata_minute" ? 4U : 3U));
    }
};

TEST_F(Capture, EveryColumnHoldsWhatTheMonitorsSent) {
    const Monitor five{.config = {.model = &kFiveChannel,
                                  .serial = {.unitId = 3, .number = 1234},
                                  .seed = 7,
                                  .interval = kInterval},
                       .serial = u"301234"_s,
                       .port = house_.portA};
    const Monitor two{.config = {.model = &kTwoChannel,
                                 .serial = {.unitId = 4, .number = 123},
                                 .seed = 8,
                                 .interval = kInterval},
                      .serial = u"400123"_s,
                      .port = house_.portB};

    StartService({u"TZ="_s + ZoneWithASoonChange()});
    const auto fiveSim = Start(five);
    const auto twoSim = Start(two);
    ASSERT_TRUE(
        SpinUntil([this] { return house_.Ask({u"readings"_s})[u"devices"_s].toArray().size() == 2; }));

    const QJsonObject device = house_.Ask({u"readings"_s})[u"devices"_s].toArray().first().toObject();
    EXPECT_EQ(device[u"slot"_s].toString(), u"A"_s);
    EXPECT_EQ(device[u"serial"_s].toString(), u"301234"_s);
    EXPECT_EQ(device[u"model"_s].toString(), u"VRQ-5810"_s);
    EXPECT_TRUE(device[u"online"_s].toBool());
    EXPECT_EQ(device[u"channels"_s].toArray().size(), 7);

    // A packet with power, and one in another minute: that one has become the minute record.
    std::map<QString, QString> minuteWithPower;
    const QDeadlineTimer deadline(70'000);  // where the program was too slow for its early change
    bool minuteChanged = false;
    while (!minuteChanged && !deadline.hasExpired()) {
        QTest::qWait(100);
        const QJsonArray devices = house_.Ask({u"readings"_s})[u"devices"_s].toArray();
        minuteChanged = std::ranges::count_if(devices, [&](const QJsonValue& each) {
                            const QJsonObject now = each.toObject();
                            return HasPower(now) &&
                                   minuteWithPower.try_emplace(now[u"serial"_s].toString(), MinuteOf(now))
                                           .first->second != MinuteOf(now);
                        }) == 2;
    }
    ASSERT_TRUE(minuteChanged);
    EndService();

    EXPECT_EQ(Query("PRAGMA integrity_check").rows.front().front(), "ok");
    for (const Monitor& monitor : {five, two}) {
        CheckRows(monitor, "monitordata_minute", "secondscounter", Field::Seconds, 1, MinuteColumns);
        CheckRows(monitor, "monitordata_hourly", "ch1kwh", Field::Ch1Absolute, 3'600'000, HourlyColumns);
    }
}

}  // namespace
}  // namespace corvane
