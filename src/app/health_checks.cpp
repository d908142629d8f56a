#include "app/health_checks.h"

#include <QFileInfo>
#include <QLocale>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "app/program.h"
#include "base/clock.h"
#include "measure/virtual_texts.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::int64_t kMinute = 60'000;  // ms
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kSizeEvery = 10 * kMinute;
constexpr int kFirstYear = 2024;  // a clock that shows an earlier one was never set

constexpr Steadiness kAtOnce;
constexpr Steadiness kFault{.gone = 30};
constexpr Steadiness kPassing{.after = 90, .gone = 60};  // one burst a minute tells how it stands

/// What SQLite says of a write that failed, and what it means.
struct WriteFault {
    const char* words;
    const char* id;
    const char* text;
    const char* remedy;
    std::int64_t patience = 0;  ///< ms for which it is a warning only
    Steadiness steadiness = kFault;
};
constexpr std::array kWriteFaults = {
    WriteFault{QueryResult::kLocked, "database-locked", "is locked by another program; records wait.",
               "Close the program that has it open for writing.", 10 * kMinute, kPassing},
    WriteFault{
        DbWriter::kNotOpened, "database-missing", "cannot be opened.",
        "See whether its disk is there and its file exists; restore a backup, or make a new database."},
    WriteFault{"database or disk is full", "database-full", "takes no more: its disk is full.",
               "Make room on the disk; what could not be written is written in afterwards."},
    WriteFault{"attempt to write a readonly database", "database-read-only", "is read-only.",
               "See to the rights of the file and its folder, and whether the disk can be written to."},
    WriteFault{"database disk image is malformed", "database-damaged", "is damaged.",
               "Restore a backup (Database tab, or \"corvanectl db restore\")."},
    WriteFault{"file is not a database", "database-damaged", "is damaged: it is no database.",
               "Restore a backup (Database tab, or \"corvanectl db restore\")."},
    WriteFault{"disk I/O error", "database-disk", "cannot be written: its disk reports errors.",
               "Save a backup elsewhere now, and see to the disk."},
};

Finding Of(QString id, Severity severity, QString text, QString remedy, Steadiness steadiness = kAtOnce) {
    return {.id = std::move(id),
            .severity = severity,
            .text = std::move(text),
            .remedy = std::move(remedy),
            .steadiness = steadiness};
}

/// As the part of an id: "TCP Server A" as "tcp-server-a".
QString IdPart(const QString& name) {
    return name.toLower().replace(u' ', u'-');
}

}  // namespace

const HealthChecks::Check HealthChecks::kChecks[] = {
    &HealthChecks::LookAtDatabase, &HealthChecks::LookAtMonitors, &HealthChecks::LookAtRecords,
    &HealthChecks::LookAtLinks,    &HealthChecks::LookAtOutputs,  &HealthChecks::LookAtDisk,
    &HealthChecks::LookAtClock,    &HealthChecks::LookAtBackups,  &HealthChecks::LookAtRest,
};

HealthChecks::HealthChecks(const Program& program) : program_(program), start_(program.clock.Monotonic()) {}

HealthReport HealthChecks::Look() {
    HealthReport report;
    report.figures.recording = true;  // until a check finds what hinders it
    for (const Check check : kChecks)
        (this->*check)(report);
    return report;
}

void HealthChecks::LookAtDatabase(HealthReport& report) {
    const DbWriter& writer = program_.dbWriter;
    report.figures.queue = writer.Buffer().UnwrittenRecords();
    if (writer.LastStored().has_value()) report.figures.lastRecord = writer.LastStored()->time;
    if (!writer.Enabled()) {
        report.figures.recording = false;
        report.findings.push_back(Of(u"database-off"_s, Severity::Error,
                                     u"The database is switched off: nothing is recorded."_s,
                                     u"Switch it on (Database tab, or \"corvanectl database on\")."_s));
    } else if (const auto failure = writer.Failing()) {
        const auto fault = std::ranges::find_if(
            kWriteFaults, [&](const WriteFault& each) { return failure->words == each.words; });
        const bool known = fault != kWriteFaults.end();
        const bool patient = known && program_.clock.Monotonic() - failure->since < fault->patience;
        const QString database =
            u"The database %1 "_s.arg(QString::fromStdString(program_.database.databasePath()));
        report.figures.recording = report.figures.recording && patient;
        report.findings.push_back(
            known ? Of(QString::fromLatin1(fault->id), patient ? Severity::Warning : Severity::Error,
                       database + QString::fromLatin1(fault->text), QString::fromLatin1(fault->remedy),
                       fault->steadiness)
                  : Of(u"database-refuses"_s, Severity::Error,
                       database + u"takes no records: %1."_s.arg(QString::fromStdString(failure->words)),
                       u"Look at its tables (\"corvanectl db info\"), or restore a backup."_s, kFault));
    }
    const UnwrittenRecords& unwritten = program_.unwritten;
    if (unwritten.Lost() > 0) {
        report.findings.push_back(Of(u"records-lost"_s, Severity::Error, unwritten.StateText(),
                                     u"Make room on the disk of %1."_s.arg(unwritten.Path())));
    } else if (unwritten.Count() > 0) {
        report.findings.push_back(
            Of(u"records-unwritten"_s, Severity::Warning, unwritten.StateText(),
               u"Write them in (Database tab, or \"corvanectl db write-unwritten\")."_s));
    }
}

void HealthChecks::LookAtMonitors(HealthReport& report) {
    std::vector<int> bound;
    std::vector<int> silent;
    bool heard = false;
    for (int slot = 1; slot <= kSlots; ++slot) {
        if (program_.deviceSlots.Answered(slot).empty()) continue;
        bound.push_back(slot);
        if (!program_.measurement.Online(slot)) silent.push_back(slot);
        heard = heard || program_.measurement.Readings(slot).Seen();
    }
    const std::int64_t now = program_.clock.Monotonic();
    const bool anyOnline = silent.size() < bound.size();
    if (!anyOnline) {
        onlineSince_.reset();
        report.figures.recording = false;
    } else if (!onlineSince_.has_value()) {
        onlineSince_ = now;
    }
    const QString remedy =
        u"See whether monitor and gateway have power, and whether the cable or the network is as it was."_s;
    const bool early = now - start_ < kFirstPackets * 1000;
    const std::vector<UnboundMonitor> unbound = program_.measurement.Unbound();
    if (bound.empty()) {
        report.findings.push_back(Of(u"no-device"_s, unbound.empty() ? Severity::Info : Severity::Warning,
                                     u"No device is bound to a monitor: nothing is recorded."_s,
                                     u"Bind one (Devices tab, or \"corvanectl bind A\")."_s));
    } else if (!anyOnline && !heard && early) {
        report.findings.push_back(
            Of(u"no-packets"_s, Severity::Info, u"No packet has come since the start."_s, {}));
    } else if (!anyOnline) {
        report.findings.push_back(Of(u"no-packets"_s, Severity::Error,
                                     u"No packet comes from any monitor: nothing is recorded."_s, remedy,
                                     {.after = 15}));
    }
    for (const int slot : silent) {
        const bool seen = program_.measurement.Readings(slot).Seen();
        if (bound.size() == 1 || (early && !seen)) continue;
        report.findings.push_back(Of(u"silent-"_s + SlotLetter(slot).toLower(), Severity::Warning,
                                     u"%1 (%2) is silent: no packet of it comes."_s.arg(
                                         SlotName(slot), program_.deviceSlots.Bound(slot)),
                                     remedy, {.after = 15}));
    }
    QStringList strangers;
    for (const UnboundMonitor& monitor : unbound)
        strangers.append(QString::fromStdString(monitor.serial));
    strangers.sort();
    if (!strangers.empty()) {
        report.findings.push_back(Of(u"unbound"_s, Severity::Info,
                                     u"Heard, but bound to no device: %1."_s.arg(strangers.join(u", "_s)),
                                     u"Bind them (Devices tab, or \"corvanectl bind A heard\")."_s));
    }
}

/// Whatever hinders them: packets come, and nothing is stored.
void HealthChecks::LookAtRecords(HealthReport& report) {
    const DbWriter& writer = program_.dbWriter;
    if (!onlineSince_.has_value() || !writer.Enabled() || writer.Failing().has_value()) return;
    std::int64_t last = *onlineSince_;
    if (writer.LastStored().has_value()) last = std::max(last, writer.LastStored()->at);
    if (program_.clock.Monotonic() - last < kMostSilence * 1000) return;
    report.figures.recording = false;
    report.findings.push_back(
        Of(u"no-records"_s, Severity::Error,
           u"Packets come, but no record was stored for %1 minutes."_s.arg(kMostSilence / 60),
           u"Look at the status list and the error log (Log tab, or \"corvanectl log show\")."_s));
}

void HealthChecks::LookAtLinks(HealthReport& report) {
    for (const MonitorLink* link : program_.Links()) {
        const LinkStatus status = link->Status();
        const bool carries = status.state == SocketState::Open || status.state == SocketState::Connected;
        const QString trouble = !status.error.isEmpty() ? status.error : carries ? status.notice : QString();
        if (trouble.isEmpty()) continue;
        const QString remedy =
            carries ? QString()  // what it tells names what to look at
            : link->IsSerial()
                ? u"It is tried again. See whether the adapter is plugged in, and its port is the right one (Connections tab)."_s
                : u"It is tried again. End the other program, which may be this machine's Corvane service, or choose another port (Connections tab)."_s;
        report.findings.push_back(Of(u"link-"_s + IdPart(link->Name()), Severity::Warning,
                                     u"%1: %2"_s.arg(link->Name(), trouble), remedy,
                                     {.after = 10, .gone = 60}));
    }
}

void HealthChecks::LookAtOutputs(HealthReport& report) {
    for (const Output* output : program_.outputs.All()) {
        const OutputState state = output->Standing();
        if (state != OutputState::Backoff && state != OutputState::Refused) continue;
        report.findings.push_back(
            Of(u"output-"_s + QString::fromLatin1(output->Names().word), Severity::Warning,
               u"%1 does not get through: %2."_s.arg(output->Name(), output->StateText()),
               u"See the Forwarding tab, or \"corvanectl forward status\"; it is tried again."_s,
               {.after = 60, .gone = 60}));
    }
    if (const QString& problem = program_.webServer.Problem(); !problem.isEmpty()) {
        report.findings.push_back(
            Of(u"pages"_s, Severity::Warning, u"No pages are served: %1"_s.arg(problem),
               u"It is tried again. See the settings WebListen, WebPort and WebToken."_s));
    }
    if (const QString warning = program_.webServer.Warning(); !warning.isEmpty())
        report.findings.push_back(Of(u"pages-token"_s, Severity::Warning, warning, {}));
}

void HealthChecks::MeasureDisk() {
    const std::int64_t now = program_.clock.Monotonic();
    if (diskAt_.has_value() && now - *diskAt_ < kMinute) return;
    diskAt_ = now;
    const std::filesystem::path database = program_.database.databasePath();
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(database.parent_path(), error);
    diskFree_ = error ? std::nullopt : std::optional(static_cast<std::int64_t>(space.available));
    if (!sizes_.empty() && now - sizes_.back().at < kSizeEvery) return;
    const auto bytes = std::filesystem::file_size(database, error);
    if (error) return;
    // A file that became smaller, or another one, tells nothing of how this one grows.
    if (!sizes_.empty() && static_cast<std::int64_t>(bytes) < sizes_.back().bytes) sizes_.clear();
    sizes_.push_back({now, static_cast<std::int64_t>(bytes)});
    while (sizes_.front().at < now - kDay)
        sizes_.pop_front();
}

void HealthChecks::LookAtDisk(HealthReport& report) {
    MeasureDisk();
    if (!diskFree_.has_value()) return;
    report.figures.diskFree = diskFree_;
    const std::int64_t span = sizes_.empty() ? 0 : sizes_.back().at - sizes_.front().at;
    const std::int64_t growth = sizes_.empty() ? 0 : sizes_.back().bytes - sizes_.front().bytes;
    if (span >= kHour && growth > 0) {
        const double days = static_cast<double>(*diskFree_) / static_cast<double>(growth) *
                            static_cast<double>(span) / static_cast<double>(kDay);
        report.figures.diskDays = static_cast<int>(std::min(days, 36'500.0));
    }
    const int days = report.figures.diskDays.value_or(kFewDays);
    if (*diskFree_ >= kLittleFree && days >= kFewDays) return;
    QString text =
        u"The disk of the database has %1 left"_s.arg(QLocale::c().formattedDataSize(*diskFree_, 1));
    if (report.figures.diskDays.has_value())
        text += u", enough for %1 days at today's growth"_s.arg(*report.figures.diskDays);
    const bool bad = *diskFree_ < kLeastFree || days < kLeastDays;
    report.findings.push_back(Of(
        u"disk"_s, bad ? Severity::Error : Severity::Warning, text + u'.',
        u"Make room, for example by moving backups elsewhere; condensing old minutes keeps the database small."_s,
        kFault));
}

void HealthChecks::LookAtClock(HealthReport& report) {
    const LocalTime now = program_.clock.Now();
    if (now.year < kFirstYear) {
        report.findings.push_back(
            Of(u"clock"_s, Severity::Error,
               u"The clock of this machine shows %1: records get that date."_s.arg(now.year),
               u"Set it, or let the machine reach a time server."_s));
    } else if (const auto trusted = program_.clockChanges.TrustedFrom()) {
        report.findings.push_back(
            Of(u"clock"_s, Severity::Warning,
               u"The clock was set forward; nothing is deleted by its date until %1."_s.arg(
                   QString::fromStdString(DateTimeText(*trusted))),
               u"Where the date is wrong, set it back."_s));
    }
    if (!program_.timeZoneProblem.isEmpty()) {
        report.findings.push_back(Of(u"time-zone"_s, Severity::Warning, program_.timeZoneProblem, {}));
    }
}

void HealthChecks::LookAtBackups(HealthReport& report) {
    const std::int64_t now = program_.clock.Monotonic();
    if (!backupsAt_.has_value() || now - *backupsAt_ >= kHour) {
        backupsAt_ = now;
        lastBackup_.reset();
        for (const int number : program_.backups.Numbers()) {
            const qint64 made = QFileInfo(program_.backups.PathOf(number)).lastModified().toSecsSinceEpoch();
            if (!lastBackup_.has_value() || made > lastBackup_->unixSeconds) lastBackup_ = LocalTimeAt(made);
        }
    }
    report.figures.lastBackup = lastBackup_;
    const QString remedy =
        u"Make one (Database tab, or \"corvanectl db backup\"), and keep a copy elsewhere."_s;
    if (!lastBackup_.has_value()) {
        report.findings.push_back(
            Of(u"backup"_s, Severity::Info, u"There is no backup of the database."_s, remedy));
    } else if (program_.clock.Now().unixSeconds - lastBackup_->unixSeconds > kOldBackup) {
        report.findings.push_back(Of(u"backup"_s, Severity::Info,
                                     u"The last backup of the database is of %1."_s.arg(
                                         QString::fromStdString(DateTimeText(*lastBackup_)).first(10)),
                                     remedy));
    }
}

void HealthChecks::LookAtRest(HealthReport& report) {
    const auto add = [&report](const QString& id, Severity severity, const QString& text,
                               const QString& remedy) {
        if (!text.isEmpty()) report.findings.push_back(Of(id, severity, text, remedy));
    };
    const std::size_t doubtful = program_.ledger.Doubtful().size();
    add(u"doubtful-carries"_s, Severity::Warning,
        doubtful == 0 ? QString() : u"Carries are doubtful, and the totals with them: %1."_s.arg(doubtful),
        u"The ledger lists them, and takes back what is wrong."_s);
    add(u"ledger"_s, Severity::Warning, program_.ledger.ProblemText(), {});
    add(u"sums-wait"_s, Severity::Info, SumsWaitText(program_.virtualChannels.Read()), {});
    for (const NightlyRuns::Task* task : {&NightlyRuns::kCondense, &NightlyRuns::kDelete})
        add(task->condenses ? u"nightly-condense"_s : u"nightly-delete"_s, Severity::Warning,
            program_.nightlyRuns.Hindrance(*task), {});
    add(u"settings"_s, Severity::Error,
        program_.settings.AllSaved()
            ? QString()
            : u"A change of the settings is not in their file: the next start would not know it."_s,
        u"Make room, and see to the rights of the file; it is written with the next change."_s);
}

}  // namespace corvane
