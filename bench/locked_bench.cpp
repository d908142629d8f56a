// How long the event loop is held off while those who read the past meet a file that another program holds
// locked, and when they answer.
#include <QApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>

#include "app/program.h"
#include "base/clock.h"
#include "base/operator.h"
#include "history/csv_export.h"
#include "store/schema.h"
#include "window/main_window.h"
#include "window/page.h"
#include "window/parts/file_export.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kRecords = 200'000;
constexpr int kHeld = 2000;             // ms that the lock is there
constexpr int kPatienceAndMore = 7000;  // ms that it is there where nobody gets what is asked for
constexpr int kRecordsAtTheEnd = 20;
constexpr int kBetweenRecords = 100;  // ms

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/// Who is not there: names the file that is asked for, and takes the safe answers.
struct Absent final : Operator {
    QString path;
    bool asked = false;

    void Show(const QString&) override {}
    QCoro::Task<Answer> Ask(Question question) override {
        asked = true;
        co_return question.safe;
    }
    QCoro::Task<std::optional<QString>> AskText(QString) override { co_return QString(path); }
};

/// The longest time for which no event was handled.
class Gap {
public:
    Gap() {
        QObject::connect(&tick_, &QTimer::timeout, [this] {
            longest_ = std::max(longest_, since_.nsecsElapsed());
            since_.start();
        });
        tick_.setTimerType(Qt::PreciseTimer);
        tick_.start(1);
        since_.start();
    }
    [[nodiscard]] double Milliseconds() const {
        return static_cast<double>(std::max(longest_, since_.nsecsElapsed())) / 1e6;
    }

private:
    QTimer tick_;
    QElapsedTimer since_;
    qint64 longest_ = 0;
};

void RunFor(
    int milliseconds, const std::function<bool()>& orUntil = [] { return false; }) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (orUntil()) loop.quit();
    });
    look.start(5);
    loop.exec();
}

void Fill(const std::string& path) {
    Require(bool(CreateTables(path)), "no database");
    const auto filled =
        CaptureDatabase::OpenFile(path, false)
            .GetTable("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " +
                      std::to_string(kRecords) +
                      ") INSERT INTO monitordata_minute(date, deviceaddress, ch1watt, ch1kwh) "
                      "SELECT datetime('2026-01-01', i || ' minutes'), 300001, i % 900, i * 0.01 "
                      "FROM n; UPDATE applicationinfo SET deviceaddress = 300001");
    Require(filled.Ok(), filled.errorText.c_str());
}

/// The program with its window, records that come all the time, and who else reads.
class Household {
public:
    explicit Household(const QString& folder)
        : folder_(folder),
          program_({.dataFolder = folder, .settingsFile = folder + u"/corvane.ini"_s}, clock_),
          window_(program_),
          files_(program_.database, program_.databaseFiles, clock_) {
        program_.settings.Save(kWebEnabled, false);
        Require(bool(QCoro::waitFor(program_.Start(absent_))), "the program does not start");
        window_.ShowProgram();
        window_.show();
        ShowPage(u"database"_s);
        QObject::connect(&records_, &QTimer::timeout, [this] { Record(); });
        records_.start(kBetweenRecords);
        absent_.path = folder + u"/rows.csv"_s;
    }

    void Measure() {
        const struct {
            const char* who;
            std::function<void()> ask;
        } readers[] = {{"nobody", [] {}},
                       {"charts", [this] { ShowPage(u"charts"_s); }},
                       {"data", [this] { ShowPage(u"data"_s); }},
                       {"csv", [this] { Export(); }},
                       {"history.json", [this] { Ask(); }},
                       {"all of them", [this] {
                            Q_EMIT program_.databaseFiles.Adopted();
                            Ask();
                            Export();
                            ShowPage(u"charts"_s);
                        }}};
        for (const int held : {0, kHeld, kPatienceAndMore}) {
            for (const auto& reader : readers) {
                const auto other = Lock();
                if (held == 0) Require(other.GetTable("COMMIT").Ok(), "not free");
                const Gap gap;
                reader.ask();
                RunFor(held);
                const bool answered = IsAnswered();
                if (held > 0) Require(other.GetTable("COMMIT").Ok(), "not free");
                RunFor(10'000, [this] { return IsAnswered(); });
                Require(IsAnswered(), "no answer");
                std::printf(
                    "locked for %d s, read by %s: event loop held off for %.0f ms at most (aim: 50)%s\n",
                    held / 1000, reader.who, gap.Milliseconds(),
                    held == 0 || answered ? "" : ", answered when it was free");
                ShowPage(u"database"_s);
                RunFor(200);
            }
        }
    }

    /// Closes while everybody reads what is free.
    void Close() {
        RunFor(30'000, [this] { return program_.dbWriter.Buffer().UnwrittenRecords() == 0; });
        records_.stop();
        Ask();
        Export();
        ShowPage(u"charts"_s);
        for (int record = 0; record < kRecordsAtTheEnd; ++record)
            Record();
        absent_.asked = false;
        const Gap gap;
        QElapsedTimer elapsed;
        elapsed.start();
        const auto closing = program_.Close(absent_);
        RunFor(30'000, [&closing] { return closing.isReady(); });
        const auto rows = CaptureDatabase::OpenFile(program_.database.databasePath(), false)
                              .GetTable("SELECT COUNT(*) FROM monitordata_hourly");
        Require(rows.Ok(), "not read");
        std::printf(
            "closed while everybody reads: %lld ms, event loop held off for %.0f ms at most, %s rows of %d "
            "records, %s\n",
            static_cast<long long>(elapsed.elapsed()), gap.Milliseconds(),
            rows.rows.front().front().value_or("").c_str(), written_,
            absent_.asked ? "after a question" : "nothing asked");
        window_.PrepareToEnd();
    }

private:
    void ShowPage(const QString& name) {
        auto* page = window_.findChild<Page*>(name);
        window_.findChild<QTabWidget*>()->setCurrentWidget(page);
        page->Refresh();
    }
    void Ask() {
        const ChannelSteps steps{.address = "300001", .channel = 0, .from = 0, .to = kWallDay};
        asked_.emplace(program_.history.Read({.steps = steps, .step = u"hour"_s}));
    }
    void Export() {
        QFile::remove(absent_.path);
        const auto job = [](std::string file) {
            return ExportQuery(std::move(file), "SELECT * FROM monitordata_minute", kRecords);
        };
        exported_.emplace(files_.Run(u"Save"_s, job, absent_));
    }
    void Record() {
        program_.dbWriter.ForceNextBurst();
        program_.dbWriter.WriteSQL("INSERT INTO monitordata_hourly(date) VALUES ('2026')");
        ++written_;
    }
    [[nodiscard]] bool IsAnswered() const {
        return (!asked_ || asked_->isReady()) && (!exported_ || exported_->isReady());
    }
    /// By a connection of its own, as soon as nobody else has the file.
    [[nodiscard]] CaptureDatabase::Connection Lock() const {
        auto other = CaptureDatabase::OpenFile(program_.database.databasePath(), false);
        bool locked = false;
        RunFor(10'000, [&] { return locked = other.GetTable("BEGIN EXCLUSIVE").Ok(); });
        Require(locked, "not locked");
        return other;
    }

    QString folder_;
    SystemClock clock_;
    Program program_;
    MainWindow window_;
    FileExport files_;
    Absent absent_;
    QTimer records_;
    int written_ = 0;
    std::optional<QCoro::Task<WebReply>> asked_;
    std::optional<QCoro::Task<Outcome>> exported_;
};

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QTemporaryDir folder;
    corvane::Fill(folder.filePath(QStringLiteral("vrq1.db3")).toStdString());
    corvane::Household household(folder.path());
    household.Measure();
    household.Close();
    return 0;
}
