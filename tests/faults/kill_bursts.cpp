// Kills the real service with SIGKILL at random moments of its writing, and looks at what it leaves behind:
//
//   fault_kill ROUNDS [SEED]
//
// Each round starts the service on the same folder and sends the first packets of six monitors, which makes
// it write six hourly records, and wraps that make it save carries.
#include <QThread>

#include <random>

#include "faults/fault.h"
#include "support/packets.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kMonitors = 6;
constexpr int kPacketsEach = 8;

/// Packets of all monitors in turn, whose AUX1 wraps with every second one.
QByteArray Traffic() {
    QByteArray bytes;
    for (std::uint32_t i = 0; i < kPacketsEach; ++i) {
        for (std::uint16_t monitor = 1; monitor <= kMonitors; ++monitor) {
            MonitorState state{.ch1Absolute = 1000ULL * i, .serialNumber = monitor, .seconds = 100 + i};
            state.aux[0] = i % 2 == 0 ? 0xFFFFFFFF - 1000 : 1000;
            const Bytes packet = PacketOf(state);
            bytes.append(reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size()));
        }
    }
    return bytes;
}

struct Left {
    qint64 rows;
    int carries;
};

/// What the folder holds after a kill: a whole database, and settings that are not empty.
Left Inspect(const ServiceFolder& house) {
    const std::string rows =
        RowOfWhole(house.folder.Path(u"vrq1.db3"_s), "SELECT count(*) FROM monitordata_hourly");
    const SettingsStore settings(house.folder.Path(u"corvane.ini"_s));
    Require(KeptByKey(settings, u"TcpPortA"_s) == QString::number(house.portA),
            u"the settings lost a port"_s);
    int carries = 0;
    for (int slot = 1; slot <= kMonitors; ++slot) {
        const QString serial = KeptByKey(settings, u"DevSerial"_s, {}, QString::number(slot - 1));
        Require(serial == u"30000%1"_s.arg(slot), u"the settings lost a device"_s);
        carries += KeptByKey(settings, u"Roll3"_s, u"0"_s, QString::number(slot)).toInt();
    }
    return {std::stoll(rows), carries};
}

void Run(const QStringList& words) {
    const int rounds = words[1].toInt();
    Require(rounds > 0, "no rounds");
    ServiceFolder house;
    for (int slot = 1; slot <= kMonitors; ++slot) {
        house.Preset(u"DevSerial"_s, u"30000%1"_s.arg(slot), QString::number(slot - 1));
    }
    Service(house).End();

    std::mt19937 random(words.value(2, u"1"_s).toUInt());
    const QByteArray traffic = Traffic();
    Left before{0, 0};
    int midway = 0;
    for (int round = 0; round < rounds; ++round) {
        Service service(house);
        FarEnd gateway(house.portA);
        gateway.Send(traffic);
        QThread::usleep(random() % 150'000);
        service.KillNow();

        const Left after = Inspect(house);
        Require(after.rows >= before.rows && after.carries >= before.carries, u"something written is gone"_s);
        constexpr int kCarriesOfARound = kMonitors * kPacketsEach / 2;
        const int gained = after.carries - before.carries;
        midway += gained > 0 && gained < kCarriesOfARound ? 1 : 0;
        before = after;
    }
    Tell(
        u"`kill -9` in the middle of writing"_s,
        u"%1 kills, %2 of them while it wrote: database and settings whole after each, nothing written was lost"_s
            .arg(rounds)
            .arg(midway));
    Require(before.rows > 0 && before.carries > 0, u"no round came as far as writing"_s);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "ROUNDS [SEED]", corvane::Run);
}
