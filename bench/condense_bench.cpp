// Condensing millions of rows while six monitors send: beside the bare statements in the sqlite3 shell.
//
//   corvane-condense-bench [ROWS]     default: 3,000,000
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "app/console.h"
#include "app/options.h"
#include "app/program.h"
#include "base/clock.h"
#include "sim/simulated_monitor.h"
#include "store/schema.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kMonitors = 6;
constexpr int kPairs =
    3;  // of runs, shell and program, with the file in memory and again with it on the disk alone

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/// Minute data of six devices, a row each ten seconds.
void Fill(const QString& path, int rows) {
    Require(bool(CreateTables(path.toStdString())), "no database");
    const std::string columns =
        "date,deviceaddress,secondscounter,volt,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,aux5watt,"
        "ch1awsc,ch2awsc,ch1pwsc,ch2pwsc,ch1amps,ch2amps,aux1awsc,aux2awsc,aux3awsc,aux4awsc,aux5awsc,"
        "ch1kwh,ch2kwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh,online";
    const std::string values =
        "datetime('2026-01-01', (i / 6 * 10) || ' seconds'),300001 + i % 6,i,121.3,i % 3000,i % "
        "2000,1,20,300,40,"
        "5,123456789 + i,98765432 + i,i,i,12.5,3.4,i,i,i,i,i,34.29355 + i,27.43484 + i,i / 7.0,i / 9.0,i / "
        "11.0,"
        "i / 13.0,i / 17.0,1";
    const auto database = CaptureDatabase::OpenFile(path.toStdString(), false);
    const QueryResult filled = database.GetTable(
        "PRAGMA synchronous=OFF; WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " +
        std::to_string(rows) + ") INSERT INTO monitordata_minute(" + columns + ") SELECT " + values +
        " FROM n");
    Require(filled.Ok(), filled.errorText.c_str());
}

/// A copy of which nothing waits to be written any more, and which is in memory, or is not.
void Prepare(const QString& original, const QString& copy, bool cold) {
    Require(QFile::copy(original, copy), "no copy");
    sync();
    const int file = open(qPrintable(copy), O_RDONLY | O_CLOEXEC);
    Require(file >= 0 && posix_fadvise(file, 0, 0, cold ? POSIX_FADV_DONTNEED : POSIX_FADV_WILLNEED) == 0,
            "no advice");
    close(file);
}

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// Seconds that the shell takes for the same statements.
double InTheShell(const QString& path, const QString& end) {
    const QString statements =
        u"DELETE FROM monitordata_minute where date < '%1 23:59:59' AND date > '2025-12-31 00:00:00' AND id "
        u"not in "
        "(SELECT MAX(id) from monitordata_minute GROUP BY strftime('%Y-%m-%d %H:%M:00', date), deviceaddress "
        "ORDER BY strftime('%Y-%m-%d %H:%M:00', date)); VACUUM;"_s.arg(end);
    QElapsedTimer elapsed;
    elapsed.start();
    QProcess shell;
    shell.start(u"sqlite3"_s, {path, statements});
    shell.waitForFinished(-1);
    Require(shell.exitCode() == 0, "the sqlite3 shell fails");
    return static_cast<double>(elapsed.elapsed()) / 1000;
}

/// The highest resident memory since `Reset`, in MiB.
double PeakMiB() {
    QFile status(u"/proc/self/status"_s);
    Require(status.open(QIODevice::ReadOnly), "no /proc");
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmHWM:") + 6).trimmed().split(' ').first().toDouble() / 1024;
}

void ResetPeak() {
    QFile clear(u"/proc/self/clear_refs"_s);
    if (clear.open(QIODevice::WriteOnly)) clear.write("5");
}

/// Six monitors behind one gateway, a packet of each a second.
class Feed {
public:
    explicit Feed(std::uint16_t port) {
        for (std::uint16_t number = 1; number <= kMonitors; ++number)
            monitors_.push_back(SimulatedMonitor({.serial = {.unitId = 3, .number = number}, .interval = 1}));
        socket_.connectToHost(u"127.0.0.1"_s, port);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            for (SimulatedMonitor& monitor : monitors_) {
                const auto packet = monitor.NextPacket();
                socket_.write(reinterpret_cast<const char*>(packet.data()),
                              static_cast<qint64>(packet.size()));
                ++sent_;
            }
        });
        timer_.start(1000);
    }
    void Stop() { timer_.stop(); }
    [[nodiscard]] std::int64_t Sent() const { return sent_; }

private:
    std::vector<SimulatedMonitor> monitors_;
    QTcpSocket socket_;
    QTimer timer_;
    std::int64_t sent_ = 0;
};

class QuietOperator final : public Operator {
public:
    void Show(const QString& text) override { said = text; }
    QCoro::Task<Answer> Ask(Question question) override { co_return question.safe; }
    QCoro::Task<std::optional<QString>> AskText(QString) override { co_return std::nullopt; }
    QString said;
};

/// How many minute records the writer's rule makes of packets at these times: one at each change of minute.
struct MinuteCount {
    int minute;
    int changes = 0;
    void Pass(const LocalTime& now) { changes += std::exchange(minute, now.minute) != now.minute ? 1 : 0; }
};

std::int64_t Count(const Program& program, const char* table) {
    const QueryResult rows =
        program.database.Run(std::string("SELECT COUNT(*) FROM (SELECT DISTINCT date, deviceaddress FROM ") +
                             table + " WHERE date > datetime('now', 'localtime', '-1 hour'))");
    return std::stoll(rows.rows.front().front().value_or("0"));
}

/// Condenses while the monitors send, for which it takes `seconds`; with `counting`, tells what became of all
/// they sent.
QCoro::Task<> Measure(Program& program, QDate end, bool counting, double& seconds) {
    ServiceOperator starting;
    Require(bool(co_await program.Start(starting)), "the program does not start");
    MinuteCount minutes{.minute = program.clock.Now().minute};
    Feed feed(program.tcpA.LocalPort());
    QObject::connect(&program.clock, &Clock::SecondPassed, [&] { minutes.Pass(program.clock.Now()); });
    co_await program.clock.DLY(2500);

    QElapsedTimer sinceTick;
    qint64 longestStop = 0;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout,
                     [&] { longestStop = std::max(longestStop, sinceTick.restart()); });
    sinceTick.start();
    // Not where the time counts.
    if (counting) tick.start(1);
    ResetPeak();
    QElapsedTimer elapsed;
    elapsed.start();
    QuietOperator op;
    const Outcome condensed = co_await program.maintenance.Condense(QDate(2025, 12, 31), end, op);
    seconds = static_cast<double>(elapsed.elapsed()) / 1000;
    Require(bool(condensed), qPrintable(condensed.Error()));
    if (!counting) {
        QCoreApplication::quit();
        co_return;
    }
    std::printf("%s\n", qPrintable(op.said));
    std::printf("peak memory: %.1f MiB (aim: under 64)\n", PeakMiB());
    std::printf("a buffered write was held off for %.1f s at most, the event loop for %lld ms\n", seconds,
                static_cast<long long>(longestStop));

    // Until the minute has changed, so that there are rows to count, and all is written.
    while (minutes.changes < 1) {
        const bool goOn = co_await program.clock.DLY(500);
        if (!goOn) break;
    }
    co_await program.clock.DLY(3000);
    feed.Stop();
    co_await program.clock.DLY(1000);
    QCoro::waitFor(program.dbWriter.Drain(0));
    std::printf("packets: %lld sent, %lld taken; minute rows: %lld of %d; hourly rows: %lld of %d\n",
                static_cast<long long>(feed.Sent()), static_cast<long long>(program.framer.GoodPackets()),
                static_cast<long long>(Count(program, "monitordata_minute")), kMonitors * minutes.changes,
                static_cast<long long>(Count(program, "monitordata_hourly")), kMonitors);
    QCoreApplication::quit();
}

/// Seconds that the program takes for a copy of `original`.
double InTheProgram(const QString& original, QDate end, bool cold, bool counting) {
    const QTemporaryDir folder;
    const QString settingsFile = folder.filePath(u"corvane.ini"_s);
    {
        SettingsStore settings(settingsFile);
        QTcpServer free;
        free.listen();
        settings.Save(kTcpPortA, int{free.serverPort()});
        for (int slot = 1; slot <= kMonitors; ++slot)
            settings.Save(kDeviceSerial, u"30000%1"_s.arg(slot), {.slot = slot});
        settings.Save(kTcpLatch, true, {.member = u"B"_s});
        settings.Save(kWebEnabled, false);
    }
    Prepare(original, folder.filePath(u"vrq1.db3"_s), cold);
    SystemClock clock;
    Program program({.dataFolder = folder.path(), .settingsFile = settingsFile}, clock);
    double seconds = 0;
    QTimer::singleShot(0, [&] { Measure(program, end, counting, seconds); });
    QCoreApplication::exec();
    return seconds;
}

/// What either takes varies with what the machine does besides: one after the other, and the median of what
/// they differ by.
void Run(int rows) {
    const QTemporaryDir folder;
    const QString original = folder.filePath(u"original.db3"_s);
    const QString copy = folder.filePath(u"shell.db3"_s);
    Fill(original, rows);
    std::printf("%d rows, %.0f MiB\n", rows, static_cast<double>(QFile(original).size()) / (1 << 20));
    const QDate end = QDate(2026, 1, 1).addDays(rows / kMonitors / 8640 + 1);
    for (const bool cold : {false, true}) {
        std::vector<double> ratios;
        for (int pair = 0; pair < kPairs; ++pair) {
            Prepare(original, copy, cold);
            const double shell = InTheShell(copy, end.toString(Qt::ISODate));
            QFile::remove(copy);
            const double program = InTheProgram(original, end, cold, false);
            ratios.push_back(program / shell);
            std::printf("%s: %.1f s, the shell %.1f s\n", cold ? "from the disk" : "in memory", program,
                        shell);
        }
        std::printf("%.2f times the shell's time (aim: at most 1.1)\n", Median(ratios));
    }
    (void)InTheProgram(original, end, true, true);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    corvane::Run(QCoreApplication::arguments().value(1, QStringLiteral("3000000")).toInt());
    return 0;
}
