#include "app/program.h"

#include "app/listening_checks.h"
#include "base/clock.h"
#include "base/operator.h"
#include "base/time_zone.h"
#include "forward/get_upload.h"
#include "measure/ledger_document.h"
#include "measure/readings_document.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// Seconds that a locked database is waited for.
constexpr int kBeforeAsking = 2;
constexpr int kAfterAsking = 18;

}  // namespace

Program::Program(const Options& options, Clock& theClock)
    : dataFolder_(options.dataFolder),
      clock(theClock),
      errorLog(options.dataFolder, u"Corvane"_s, clock),
      settings(options.settingsFile),
      settingsProblems_(QObject::connect(&settings, &SettingsStore::Problem, &statusBoard,
                                         [this](const QString& text) {
                                             statusBoard.AddLine(u"     "_s + text);
                                             errorLog.LogError(0, text, u"Settings"_s);
                                         })),
      timeZoneProblem(QString::fromStdString(TimeZoneProblem(TimeZoneSources::Here()))),
      clockChanges(settings, statusBoard, errorLog, clock),
      database({}),
      dbWriter(database, settings, errorLog, clock),
      unwritten(options.dataFolder, errorLog, clock),
      databaseWork(dbWriter, clock),
      backups(database, settings, dbWriter, databaseWork, Ledger::PathIn(options.dataFolder)),
      databaseFiles(database, settings, dbWriter, backups, clock, options.dataFolder),
      maintenance(database, settings, databaseWork, backups, clock),
      nightlyRuns(maintenance, database, databaseWork, clockChanges, settings, statusBoard, errorLog, clock),
      deviceSlots(settings, database),
      measurement(deviceSlots, settings, errorLog, clock),
      ledger(options.dataFolder, measurement, statusBoard, errorLog, clock),
      pulses(settings),
      channelGroups(settings),
      storedEnergies(database, deviceSlots, clock),
      virtualChannels(channelGroups, measurement, storedEnergies, settings),
      virtualDevice(channelGroups, database, settings),
      records(dbWriter, database, virtualChannels, clock),
      carryUndo(*this),
      framer(measurement),
      tcpA(TcpLink::kA, framer, settings, statusBoard, errorLog, clock),
      tcpB(TcpLink::kB, framer, settings, statusBoard, errorLog, clock),
      serialA(SerialLink::kA, serialPorts, framer, settings, statusBoard, errorLog, clock),
      serialB(SerialLink::kB, serialPorts, framer, settings, statusBoard, errorLog, clock),
      serialC(SerialLink::kC, serialPorts, framer, settings, statusBoard, errorLog, clock),
      heardMonitors(deviceSlots, measurement, settings),
      commands(Links(), framer, deviceSlots, heardMonitors, settings, statusBoard, errorLog, clock),
      monitorHistory(options.dataFolder),
      monitorSettings(commands, deviceSlots, monitorHistory, errorLog, clock),
      forwarding(framer, settings, statusBoard, errorLog, clock),
      feedUpload(measurement, database, settings, options.dataFolder, clock),
      liveEvents([this](std::optional<int> slot) { return Readings(slot); }, measurement, clock),
      history(database, clock),
      metrics(measurement, std::as_const(*this).Links(), framer, dbWriter, database),
      webServer([this](std::optional<int> slot) { return Readings(slot); },
                [this](MetricsFormat format) { return metrics.Text(format); }, liveEvents, history, ledger,
                deviceSlots, settings, statusBoard, errorLog, clock),
      healthChecks(*this),
      health([this] { return healthChecks.Look(); }, errorLog, clock),
      userSettings(
          settings,
          {kDbWriterSettings, kDatabaseFilesSettings, kNightlyRunsSettings, kDeviceSlotsSettings,
           kTcpLinkSettings, kSerialLinkSettings, kSerialPortsSettings, kMeasurementSettings,
           kPulseCountersSettings, kChannelGroupsSettings, kVirtualChannelsSettings, kVirtualDeviceSettings,
           kMonitorCommandsSettings, kWebSettings, kProgramSettings, kClockChangesSettings}) {
    if (!timeZoneProblem.isEmpty()) {
        statusBoard.AddLine(u"     "_s + timeZoneProblem);
        errorLog.LogError(0, timeZoneProblem, u"Clock"_s);
    }
    QObject::connect(&dbWriter, &DbWriter::GivenUp, &unwritten, &UnwrittenRecords::Keep);
    QObject::connect(&unwritten, &UnwrittenRecords::Told, &statusBoard,
                     [this](const QString& text) { statusBoard.AddLine(u"     "_s + text); });
    QObject::connect(&databaseFiles, &DatabaseFiles::Noted, &statusBoard, [this](const QString& text) {
        statusBoard.AddLine(u"     "_s + text);
        errorLog.LogError(0, text, u"Database"_s);
    });
    QObject::connect(&heardMonitors, &HeardMonitors::Noted, &statusBoard,
                     [this](const QString& text) { statusBoard.AddLine(u"     "_s + text); });
    QObject::connect(&heardMonitors, &HeardMonitors::Doubted, &statusBoard, [this](const QString& text) {
        statusBoard.AddLine(u"     "_s + text);
        errorLog.LogError(0, text, u"Monitors"_s);
    });
    QObject::connect(&commands, &MonitorCommands::CountersZeroed, &measurement, [this](int stream) {
        for (int slot = 1; slot <= kSlots; ++slot)
            if (measurement.Readings(slot).Seen() && measurement.Readings(slot).stream == stream)
                measurement.BeginAnew(slot);
    });
    QObject::connect(&measurement, &Measurement::Forgotten, &pulses, &PulseCounters::Forget);
    QObject::connect(&databaseFiles, &DatabaseFiles::TablesKnown, [this] { records.LookForMinuteTables(); });
    settings.CheckFile();
    userSettings.AddCheck(kDatabaseFile, [this](QString& name) { return databaseFiles.CheckName(name); });
    AddListeningChecks(userSettings);
    framer.AddDestination(forwarding);
    measurement.AddSink(heardMonitors);
    measurement.AddSink(ledger);
    measurement.AddSink(pulses);
    measurement.AddSink(records);
    measurement.AddSink(forwarding);
    AddOutput(forwarding.listeningServer);
    AddOutput(forwarding.serverB);
    AddOutput(forwarding.client);
    AddOutput(std::make_unique<GetUpload>(settings, clock));
    AddOutput(feedUpload);
    for (MonitorLink* link : Links())
        framer.AddSource(*link);
    measurement.AddSink(liveEvents);
    QObject::connect(&webServer, &WebServer::LocationChanged, &pulses, &PulseCounters::SetDashboard);
}

void Program::AddOutput(Output& output) {
    outputs.Add(output);
    userSettings.Add(output.Settings());
    if (ReadingsSink* sink = output.Sink()) measurement.AddSink(*sink);
}

void Program::AddOutput(std::unique_ptr<Output> output) {
    AddOutput(*output);
    outputs.Own(std::move(output));
}

QJsonObject Program::Readings(std::optional<int> slot) const {
    QJsonObject readings =
        ReadingsDocument(framer, measurement, pulses, virtualChannels, database, clock, slot);
    readings[u"ledger"_s] = LedgerState(ledger);
    readings[u"health"_s] = HealthObject(health);
    return readings;
}

void Program::SetRawDisplay(bool on) {
    settings.Save(kRawDisplay, on);
    for (int stream = 0; stream < kStreams; ++stream)
        framer.SetRawDisplay(stream, on);
}

QCoro::Task<Outcome> Program::Start(Operator& op) {
    const Outcome found = co_await databaseFiles.GetDBfile2(op);
    if (!found) co_return found;
    backups.RemovePartials();
    const Outcome finished = co_await carryUndo.Finish();
    if (!finished) statusBoard.AddLine(u"     The ledger cannot be read: "_s + finished.Error());
    ledger.StartUp();
    records.LookForMinuteTables();
    QObject::connect(&databaseFiles, &DatabaseFiles::Adopted, [this] {
        records.LookForMinuteTables();
        storedEnergies.Forget();
        nightlyRuns.ForgetProgress();
    });
    nightlyRuns.StartUp();
    if (settings.IsOn(kRawDisplay)) SetRawDisplay(true);
    forwarding.serverB.StartUp();  // before the other server: a port that both have is its
    for (Output* output : outputs.All())
        output->StartUp();
    for (TcpLink* link : TcpLinks())
        link->StartUp();
    for (SerialLink* link : SerialLinks())
        link->StartUp();  // nobody waits for the lines to settle
    pulses.SetDashboard(webServer.Location());
    webServer.StartUp();
    health.Look();
    co_return Outcome::Success();
}

QCoro::Task<> Program::Close(Operator& op) {
    co_await webServer.Close();
    co_await databaseWork.Stop();
    Q_EMIT databaseFiles.ReadersMustEnd();
    clock.EndWaits();  // now, so that a packet that waits to be forwarded goes on, and into the records
    const bool written = co_await dbWriter.Drain(kBeforeAsking);
    if (!written) {
        const bool store = co_await op.AskYesNo(
            u"There are database records to be stored. Would you like to store them now?"_s, Answer::Yes);
        if (store) (void)co_await dbWriter.Drain(kAfterAsking);
    }
    records.GiveUpUndecided();
    if (dbWriter.Buffer().UnwrittenRecords() > 0) (void)co_await dbWriter.Drain(0);
    co_await dbWriter.GiveUpAll();
    if (!unwritten.Save()) {
        const QString lost =
            u"The records that were still queued are lost: neither the database nor %1 takes them."_s.arg(
                unwritten.Path());
        errorLog.LogError(0, lost, u"Database"_s);
        statusBoard.AddLine(u"     "_s + lost);
    }
    for (Output* output : outputs.All())
        output->Close();
    co_await ledger.Close();
}

}  // namespace corvane
