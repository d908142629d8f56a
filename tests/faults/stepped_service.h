// The real service under a wall clock that stands until it is stepped, and six monitors that send to it:
// minutes pass as fast as packets do, and what must be recorded is known to the row.
#pragma once

#include <QElapsedTimer>
#include <QFile>

#include <cstring>
#include <string>
#include <utility>

#include "faults/fault.h"
#include "support/packets.h"

namespace corvane {

inline constexpr int kMonitors = 6;

/// The wall clock of a service, and how many minutes have passed in all.
class SteppedWall {
public:
    SteppedWall() {
        folder_.Write(QStringLiteral("wall"), std::string(sizeof(std::int64_t), '\0'));
        Require(file_.open(QIODevice::ReadWrite), "no file of the wall clock");
        seconds_ = file_.map(0, sizeof(std::int64_t));
        Require(seconds_ != nullptr, "no memory of the wall clock");
        // Blanks part the libraries that are preloaded, and the folder of the programs may have some.
        const QDir programs(QCoreApplication::applicationDirPath());
        Require(QFile::link(programs.filePath(QStringLiteral("libstepped_wall.so")), Library()),
                "no link to the library of the wall clock");
        Set();
    }

    void PassMinute() {
        ++minutes_;
        Set();
    }
    [[nodiscard]] int Minutes() const { return minutes_; }
    [[nodiscard]] QString Path() const { return file_.fileName(); }
    [[nodiscard]] QString Library() const { return folder_.Path(QStringLiteral("wall.so")); }

private:
    void Set() {
        constexpr std::int64_t kStart = 1'767'225'630;  // 2026-01-01 00:00:30 UTC
        const std::int64_t now = kStart + 60 * minutes_;
        std::memcpy(seconds_, &now, sizeof now);
    }

    TempFolder folder_;
    QFile file_{folder_.Path(QStringLiteral("wall"))};
    uchar* seconds_ = nullptr;
    int minutes_ = 0;
};

/// Binds the six monitors, and lets records be written every second.
inline void PresetMonitors(const ServiceFolder& house) {
    for (int slot = 0; slot < kMonitors; ++slot) {
        house.Preset(QStringLiteral("DevSerial"), QStringLiteral("30000%1").arg(slot + 1),
                     QString::number(slot));
    }
    house.Preset(QStringLiteral("DBwriteFrequency"), QStringLiteral("1"));
}

class SteppedService : public Service {
public:
    SteppedService(const ServiceFolder& house, SteppedWall& wall)
        : Service(QStringLiteral("/usr/bin/env"), Command(house, wall)), wall_(wall), gateway_(house.portA) {
        Send();  // the first packets, which have no power
    }

    /// A minute later each monitor sends a packet. Returns when all are taken, and their records are queued.
    void PassMinute() {
        wall_.PassMinute();
        Send();
    }

private:
    void Send() {
        QByteArray bytes;
        for (std::uint16_t monitor = 1; monitor <= kMonitors; ++monitor) {
            const auto minute = static_cast<std::uint32_t>(wall_.Minutes());
            const Bytes packet = PacketOf(
                {.ch1Absolute = 60'000ULL * minute, .serialNumber = monitor, .seconds = 60 * minute});
            bytes.append(reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size()));
        }
        gateway_.Send(bytes);
        qsizetype taken = 0;
        Require(SpinUntil([&] { return (taken += News().count(QStringLiteral("  Device "))) == kMonitors; }),
                "the packets are not taken");
    }

    static QStringList Command(const ServiceFolder& house, const SteppedWall& wall) {
        const QDir programs(QCoreApplication::applicationDirPath());
        return QStringList{QStringLiteral("TZ=UTC"),
                           QStringLiteral("ASAN_OPTIONS=verify_asan_link_order=0"),
                           QStringLiteral("STEPPED_WALL=") + wall.Path(),
                           QStringLiteral("LD_PRELOAD=") + wall.Library(),
                           programs.filePath(QStringLiteral("corvaned")),
                           QStringLiteral("-v")} +
               house.Arguments();
    }

    SteppedWall& wall_;
    FarEnd gateway_;
};

struct Answered {
    int code;
    QString text;
};

/// What `corvanectl --yes` says to a command.
inline Answered Ctl(const ServiceFolder& house, const QStringList& command) {
    Started ctl(QStringLiteral("corvanectl"),
                QStringList{QStringLiteral("--yes")} + house.Arguments() + command);
    const int code = ctl.ExitCode(60'000);
    return {code, ctl.Output().trimmed()};
}

/// What the status tells of the database; nothing where no answer came.
inline QJsonObject DatabaseStatus(const ServiceFolder& house) {
    return house.Ask({QStringLiteral("status")})[QStringLiteral("database")].toObject();
}

/// Returns when the queue is written, but for the newest record. A burst begins with a record that comes.
inline void AwaitWriting(const ServiceFolder& house, SteppedService& service) {
    constexpr int kPatience = 1'800'000;  // ms, for a slow disk
    constexpr int kNoBurst = 2000;        // ms without a change
    int before = 0;
    QElapsedTimer unchanged;
    unchanged.start();
    Require(SpinUntil(
                [&] {
                    const QJsonObject status = DatabaseStatus(house);
                    const int pending = status[QStringLiteral("pending")].toInt(before);
                    if (std::exchange(before, pending) != pending) unchanged.start();
                    if (pending > 1 && unchanged.hasExpired(kNoBurst)) {
                        service.PassMinute();
                        unchanged.start();
                    }
                    return pending == 1;
                },
                kPatience),
            "the queue is not written");
}

/// Writes in what is in unwritten.sql: none of it is in the database yet, and nothing is left.
inline void WriteIn(const ServiceFolder& house) {
    const int rows = DatabaseStatus(house)[QStringLiteral("unwritten")].toInt();
    const QString expected =
        rows == 0
            ? QStringLiteral("No record is unwritten.")
            : QStringLiteral("%1 records were written to the database; 0 were there already.").arg(rows);
    const Answered written = Ctl(house, {QStringLiteral("db"), QStringLiteral("write-unwritten")});
    Require(written.code == 0 && written.text == expected,
            expected + QStringLiteral(" Instead: ") + written.text);
    Require(!QFile::exists(house.folder.Path(QStringLiteral("unwritten.sql"))),
            "unwritten.sql is still there");
}

/// How many rows of a table there are, each monitor and minute counted once.
inline int RowsIn(const RenewedFolder& house, const std::string& table) {
    return std::stoi(RowOfWhole(house.DatabasePath(),
                                "SELECT count(DISTINCT date || ' ' || deviceaddress) FROM " + table));
}

}  // namespace corvane
