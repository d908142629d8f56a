// Sets the clock of the real service, which simulated monitors send to, and looks at its rows and what it
// says:
//
//   fault_set_clock LIBRARY
//
// LIBRARY is libfaketime, which shows the service another wall clock than the machine's. Its monotonic one
// stays.
#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QSaveFile>

#include <cstdio>
#include <memory>
#include <vector>

#include "faults/fault.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 kDay = 86400;
constexpr int kPatience = 60'000;  // ms, for a machine that has much else to do

/// A wall clock that is so many seconds ahead of the machine's.
class WallClock {
public:
    explicit WallClock(const QString& library)
        : environment_{u"LD_PRELOAD="_s + library, u"FAKETIME_TIMESTAMP_FILE="_s + folder_.Path(u"ahead"_s),
                       u"FAKETIME_NO_CACHE=1"_s, u"FAKETIME_DONT_FAKE_MONOTONIC=1"_s, u"NO_FAKE_STAT=1"_s} {
        Set(0);
    }

    void Set(qint64 ahead) {
        ahead_ = ahead;
        QSaveFile file(folder_.Path(u"ahead"_s));
        const QByteArray text = (ahead < 0 ? "" : "+") + QByteArray::number(ahead);
        Require(file.open(QIODevice::WriteOnly) && file.write(text) > 0 && file.commit(), "no clock");
    }
    void Move(qint64 seconds) { Set(ahead_ + seconds); }

    [[nodiscard]] QDateTime Now() const { return QDateTime::currentDateTime().addSecs(ahead_); }
    [[nodiscard]] const QStringList& Environment() const { return environment_; }

private:
    TempFolder folder_;
    QStringList environment_;
    qint64 ahead_ = 0;
};

/// A service on that clock, whose two monitors send every second.
class House {
public:
    explicit House(WallClock& clock) : clock_(clock) {
        folder_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        folder_.Preset(u"DevSerial"_s, u"400123"_s, u"1"_s);
        folder_.Preset(u"AutoDelete"_s, u"True"_s);
        folder_.Preset(u"AutoDeleteDays"_s, u"1"_s);
        Start();
        for (const QString& serial : {u"301234"_s, u"400123"_s}) {
            const std::uint16_t port = serial == u"301234" ? folder_.portA : folder_.portB;
            monitors_.push_back(std::make_unique<Started>(
                u"corvane-sim"_s, QStringList{u"--serial"_s, serial, u"--connect"_s,
                                              u"127.0.0.1:%1"_s.arg(port), u"--interval"_s, u"1"_s}));
        }
    }

    void Start() {
        service_ = std::make_unique<Started>(
            u"/usr/bin/env"_s,
            clock_.Environment() +
                QStringList{QDir(QCoreApplication::applicationDirPath()).filePath(u"corvaned"_s)} +
                folder_.Arguments());
        Require(service_->Says(u"TCP Server B listens"_s), u"no service: "_s + service_->Output());
    }

    /// Writes what is queued.
    void End() {
        service_->Terminate();
        Require(service_->ExitCode(kPatience) == 0, u"the service does not end: "_s + service_->Output());
    }

    /// Until packets of both monitors came by the clock as it is now, then by that of the minute after.
    void SeeTwoMinutes() {
        SeePackets();
        clock_.Move(60);
        SeePackets();
    }

    /// The last lines that the service told, as one text.
    [[nodiscard]] QString Told() const {
        QStringList lines;
        const QJsonObject status = folder_.Ask({u"status"_s});
        for (const auto& line : status[u"statusList"_s].toArray())
            lines.append(line.toString());
        return lines.join(u'\n');
    }

    [[nodiscard]] qint64 Rows(const QString& table, const QString& where) const {
        const QString sql = u"SELECT count(*) FROM %1 WHERE %2"_s.arg(table, where);
        return std::stoll(RowOfWhole(folder_.folder.Path(u"vrq1.db3"_s), sql.toStdString()));
    }

private:
    void SeePackets() {
        const QDateTime from = clock_.Now().addSecs(-1);
        bool fresh = true;
        const auto seen = [&] {
            int devices = 0;
            const QJsonObject readings = folder_.Ask({u"readings"_s});
            for (const auto& device : readings[u"devices"_s].toArray()) {
                const auto last =
                    QDateTime::fromString(device[u"lastPacket"_s].toString(), u"yyyy-MM-dd hh:mm:ss"_s);
                devices += last >= from && last <= clock_.Now() ? 1 : 0;
                fresh = fresh && device[u"online"_s].toBool() &&
                        device[u"age"_s].toInteger(-1) < kPatience / 1000;
            }
            return devices == 2;
        };
        Require(SpinUntil(seen, kPatience), u"no packets by the clock as it is: "_s + from.toString());
        Require(fresh, "a monitor that sends is off line, or seems to be silent");
    }

    WallClock& clock_;
    ServiceFolder folder_;
    std::unique_ptr<Started> service_;
    std::vector<std::unique_ptr<Started>> monitors_;
};

struct Step {
    const char* what;
    qint64 ahead;      ///< of the machine's clock, seconds
    const char* told;  ///< in the status list
    bool waits;        ///< the nightly delete
};

/// Each step is at another day, and far from its midnight.
void RunThrough(const QString& library, std::initializer_list<Step> steps) {
    WallClock clock(library);
    clock.Set(steps.begin()->ahead);
    House house(clock);
    QStringList days;
    for (const Step& step : steps) {
        clock.Set(step.ahead);
        house.SeeTwoMinutes();
        days.append(clock.Now().toString(u"yyyy-MM-dd"_s));
        const QString told = house.Told();
        Require(told.contains(QLatin1StringView(step.told)),
                u"not told: %1\n%2"_s.arg(QLatin1StringView(step.told), told));
        const bool waits =
            told.section(u"The clock was set"_s, -1).contains(u"Automatic delete waits until"_s);
        Require(waits == step.waits, u"%1\n%2"_s.arg(QLatin1StringView(step.what), told));
    }
    house.End();
    for (const QString& day : days) {
        const QString ofDay = u"date LIKE '%1%'"_s.arg(day);
        for (const char* device : {"301234", "400123"}) {
            const QString where = u"%1 AND deviceaddress = %2"_s.arg(ofDay, QLatin1StringView(device));
            const qint64 minutes = house.Rows(u"monitordata_minute"_s, where);
            const qint64 hours = house.Rows(u"monitordata_hourly"_s, where);
            Require(minutes > 0 && hours > 0,
                    u"%1 minute rows and %2 hour rows of %3 on %4"_s.arg(minutes).arg(hours).arg(
                        QLatin1StringView(device), day));
        }
    }
    std::printf("%s: rows of each minute and hour, nothing deleted\n", qUtf8Printable(days.join(u", "_s)));
}

void Run(const QStringList& words) {
    const QDateTime now = QDateTime::currentDateTime();
    const qint64 noon = now.secsTo(QDateTime(now.date(), QTime(12, 0)));
    const qint64 longAgo = kDay - now.toSecsSinceEpoch();
    RunThrough(words[1], {{"at first", noon, "", false},
                          {"back a day", noon - kDay, "The clock was set back", false},
                          {"as it was", noon, "The clock was set forward", false},
                          {"forward", noon + 40 * kDay, "The clock was set forward", true},
                          {"half mended", noon + kDay, "The clock was set back", true},
                          {"mended", noon - 2 * kDay, "The clock was set back", false}});
    RunThrough(words[1],
               {{"long ago", noon + longAgo, "", false}, {"today", noon, "The clock was set forward", true}});
    std::puts(
        "| the clock set back and forward by days, and from 1970 to today | rows of every minute and hour in "
        "the "
        "new time; monitors stay on line; the nightly delete waits, and that is told |");
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "LIBRARY", corvane::Run);
}
