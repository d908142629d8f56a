// How long the event loop is held off while the queue of the database, full after a lock, is written; also on
// a disk each of whose syncs takes 20 ms longer.
//
//   corvane-catch-up-bench [MOST-SECONDS]     of each of both; default: 60
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "app/console.h"
#include "app/options.h"
#include "app/program.h"
#include "base/clock.h"
#include "store/schema.h"

namespace {

std::atomic<long> addedToSync = 0;  // ms

int SyncSlowly(long call, int file) {
    const long ms = addedToSync;
    const timespec pause{.tv_sec = 0, .tv_nsec = ms * 1'000'000};
    if (ms > 0) nanosleep(&pause, nullptr);
    return static_cast<int>(syscall(call, file));
}

}  // namespace

// What this program defines comes before what the system has, for the libraries, too.
extern "C" int fsync(int file) {
    return SyncSlowly(SYS_fsync, file);
}
extern "C" int fdatasync(int file) {
    return SyncSlowly(SYS_fdatasync, file);
}

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 kAim = 50;  // ms

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/// A minute row as the capture words it.
std::string Row(int number) {
    return "insert into "
           "monitordata_minute(date,ch1watt,ch2watt,aux1watt,ch1kwh,ch2kwh,volt,ch1awsc,ch2awsc,online,"
           "deviceaddress) values ('2026-01-01 "
           "00:00:00',1000,500,20,34.29355,27.43484,121.3,123456789,98765432,1," +
           std::to_string(300'001 + number % 6) + ")";
}

/// The longest that the event loop was held off since it began to look.
class Watch {
public:
    Watch() {
        QObject::connect(&tick_, &QTimer::timeout,
                         [this] { longest_ = std::max(longest_, sinceTick_.restart()); });
        tick_.setTimerType(Qt::PreciseTimer);
        sinceTick_.start();
        tick_.start(1);
    }
    [[nodiscard]] qint64 Longest() const { return longest_; }

private:
    QTimer tick_;
    QElapsedTimer sinceTick_;
    qint64 longest_ = 0;
};

/// Fills the queue while another connection holds the file locked, lets go, and watches the writing for some
/// time.
QCoro::Task<> CatchUp(Program& program, const char* disk, qint64 mostSeconds) {
    {
        const auto other = CaptureDatabase::OpenFile(program.database.databasePath(), false);
        while (!other.GetTable("BEGIN EXCLUSIVE").Ok())
            co_await program.clock.DLY(1);
        while (program.dbWriter.Pointer() < DbBuffer::kMax)
            program.dbWriter.WriteSQL(Row(program.dbWriter.Pointer()));
        while (program.dbWriter.Bursting())
            co_await program.clock.DLY(1);
    }
    const Watch watch;
    QElapsedTimer elapsed;
    elapsed.start();
    int rows = 0;
    // A minute of six monitors each second, so that bursts are begun as they are in the service.
    while (program.dbWriter.Pointer() > 1 && !elapsed.hasExpired(1000 * mostSeconds)) {
        const int before = program.dbWriter.Pointer();
        co_await program.clock.DLY(1000);
        rows += before - program.dbWriter.Pointer();
        if (program.dbWriter.Pointer() < DbBuffer::kMax / 2) continue;
        for (int i = 0; i < 6; ++i)
            program.dbWriter.WriteSQL(Row(i));
    }
    const double seconds = static_cast<double>(elapsed.elapsed()) / 1000;
    std::printf("%s: %d rows in %.1f s, the event loop held off for %lld ms at most (aim: at most %lld)%s\n",
                disk, rows, seconds, static_cast<long long>(watch.Longest()), static_cast<long long>(kAim),
                watch.Longest() <= kAim ? "" : "  MISSED");
}

QCoro::Task<> Measure(Program& program, qint64 mostSeconds) {
    ServiceOperator op;
    const Outcome started = co_await program.Start(op);
    Require(bool(started), "the program does not start");
    co_await CatchUp(program, "this disk", mostSeconds);
    addedToSync = 20;
    co_await CatchUp(program, "20 ms added to each sync", mostSeconds);
    QCoreApplication::quit();
}

void Run(qint64 mostSeconds) {
    const QTemporaryDir folder;
    Require(bool(CreateTables(folder.filePath(u"vrq1.db3"_s).toStdString())), "no database");
    const QString settingsFile = folder.filePath(u"corvane.ini"_s);
    {
        SettingsStore settings(settingsFile);
        settings.Save(kTcpLatch, true, {.member = u"A"_s});
        settings.Save(kTcpLatch, true, {.member = u"B"_s});
        settings.Save(kWebEnabled, false);
    }
    SystemClock clock;
    Program program({.dataFolder = folder.path(), .settingsFile = settingsFile}, clock);
    QTimer::singleShot(0, [&] { Measure(program, mostSeconds); });
    QCoreApplication::exec();
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    corvane::Run(QCoreApplication::arguments().value(1, QStringLiteral("60")).toLongLong());
    return 0;
}
