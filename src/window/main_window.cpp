#include "window/main_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>
#include <vector>

#include "app/bug_report.h"
#include "app/program.h"
#include "base/clock.h"
#include "window/first_steps.h"
#include "window/live/dashboard_page.h"
#include "window/live/live_page.h"
#include "window/page.h"
#include "window/parts/browser.h"
#include "window/parts/health_banner.h"
#include "window/parts/style.h"
#include "window/parts/widgets.h"
#include "window/past/chart_settings.h"
#include "window/past/charts_page.h"
#include "window/past/data_page.h"
#include "window/past/ledger_page.h"
#include "window/setup/burden_dialog.h"
#include "window/setup/channel_texts_box.h"
#include "window/setup/connections_page.h"
#include "window/setup/database_page.h"
#include "window/setup/devices_box.h"
#include "window/setup/devices_page.h"
#include "window/setup/forwarding_page.h"
#include "window/setup/groups_box.h"
#include "window/setup/installation_box.h"
#include "window/setup/log_page.h"
#include "window/setup/maintenance_box.h"
#include "window/setup/monitor_page.h"
#include "window/setup/port_search_box.h"
#include "window/setup/pulse_box.h"
#include "window/setup/raw_panel.h"
#include "window/setup/serial_link_box.h"
#include "window/setup/tcp_link_box.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kFirstSize(1180, 760);

Page* Connections(Program& program, Actions& actions) {
    std::vector<TcpLinkBox*> tcp;
    for (TcpLink* link : program.TcpLinks())
        tcp.push_back(new TcpLinkBox(*link, program.userSettings, actions));
    std::vector<SerialLinkBox*> serial;
    for (SerialLink* link : program.SerialLinks())
        serial.push_back(new SerialLinkBox(*link, program.userSettings, actions));
    const auto links = program.SerialLinks();
    auto* search = new PortSearchBox(program.serialPorts, {links.begin(), links.end()}, program.userSettings,
                                     program.clock, actions);
    auto* raw =
        new RawPanel(program.framer, program.Links(), [&program](bool on) { program.SetRawDisplay(on); });
    return new ConnectionsPage(std::move(tcp), std::move(serial), search, raw);
}

Page* Devices(Program& program, Actions& actions) {
    return new DevicesPage(
        {.devices = new DevicesBox(program.deviceSlots, program.measurement, program.Links(),
                                   program.commands, program.monitorSettings, program.userSettings, actions),
         .channels = new ChannelTextsBox(program.database, program.databaseFiles, actions),
         .pulses = new PulseBox(program.pulses, program.webServer, actions),
         .installation = new InstallationBox(program.virtualDevice, program.userSettings, actions),
         .groups = new GroupsBox(program.channelGroups, program.deviceSlots, program.database, actions)},
        actions);
}

}  // namespace

MainWindow::MainWindow(Program& program)
    : program_(program), op_(*this), actions_(op_, program.runningCommand), tabs_(new QTabWidget(this)) {
    program.userSettings.Add(kMainWindowSettings);
    program.userSettings.Add(kFirstStepsSettings);
    program.userSettings.Add(kDashboardPageSettings);
    program.userSettings.Add(kChartSettings);
    program.userSettings.Add(kDataPageSettings);
    setWindowTitle(u"Corvane"_s);
    setStyleSheet(QString::fromLatin1(kWindowStyle));
    tabs_->setDocumentMode(true);
    tabs_->setUsesScrollButtons(true);
    auto* middle = new QWidget;
    auto* column = new QVBoxLayout(middle);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new HealthBanner(program.health));
    column->addWidget(tabs_, 1);
    setCentralWidget(middle);
    BuildStatusBar();
    connect(&op_, &WindowOperator::ProgressTold, this, &MainWindow::ShowProgress);
    connect(&actions_, &Actions::BusyChanged, this, [this](bool busy) {
        if (!busy) ShowProgress({});
    });
    RestorePlace();
}

MainWindow::~MainWindow() = default;

void MainWindow::ShowProgram() {
    const LiveParts live{program_.measurement, program_.pulses, program_.deviceSlots, program_.database,
                         program_.clock};
    AddPage(new LivePage(live, program_.framer, program_.tcpA, program_.tcpB), u"live"_s, u"Live"_s);
    AddPage(new DashboardPage(live, program_.virtualChannels, program_.settings), u"dashboard"_s,
            u"Dashboard"_s);
    AddPage(new ChartsPage(program_.database, program_.databaseFiles, program_.settings, program_.clock,
                           actions_),
            u"charts"_s, u"Charts"_s);
    AddPage(
        new DataPage(program_.database, program_.databaseFiles, program_.settings, program_.clock, actions_),
        u"data"_s, u"Data"_s);
    AddSetupPages();
    BuildMenus();
    const int tab = program_.settings.Number(kFrontTab);
    tabs_->setCurrentIndex(std::min(tab, tabs_->count() - 1));
    connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) {
        program_.settings.Save(kFrontTab, index);
        RefreshPage();
    });
    connect(&program_.clock, &Clock::SecondPassed, this, [this] {
        if (!isVisible()) return;
        RefreshPage();
        RefreshStatus();
    });
    RefreshPage();
    RefreshStatus();
    if (FirstSteps::AreDue(program_.deviceSlots, program_.settings)) ShowFirstSteps();
}

void MainWindow::AddSetupPages() {
    Program& p = program_;
    AddPage(Connections(p, actions_), u"connections"_s, u"Connections"_s);
    AddPage(Devices(p, actions_), u"devices"_s, u"Devices"_s);
    AddPage(new MonitorPage({p.commands, p.monitorSettings, p.monitorHistory}, p.deviceSlots, p.measurement,
                            actions_),
            u"monitor"_s, u"Monitor"_s);
    auto* maintenance = new MaintenanceBox(p.maintenance, p.database, p.dbWriter, p.records, actions_);
    AddPage(new DatabasePage({p.database, p.databaseFiles, p.backups, p.unwritten, p.maintenance}, p.dbWriter,
                             p.nightlyRuns, maintenance, p.userSettings, actions_),
            u"database"_s, u"Database"_s);
    AddPage(new ForwardingPage(p.outputs.All(), p.feedUpload, p.userSettings, actions_), u"forwarding"_s,
            u"Forwarding"_s);
    AddPage(new LedgerPage(p.ledger, p.carryUndo, p.clock, actions_), u"ledger"_s, u"Ledger"_s);
    AddPage(new LogPage(
                p.statusBoard, p.errorLog, p.framer, p.dbWriter, p.DataFolder(),
                [&p] { return BugReport(p); }, actions_),
            u"log"_s, u"Log"_s);
}

void MainWindow::ShowFirstSteps() {
    auto* steps = new FirstSteps(
        {program_.tcpA, program_.serialA, program_.serialPorts, program_.measurement}, program_.deviceSlots,
        program_.database, program_.userSettings, program_.clock, actions_, this);
    steps->setAttribute(Qt::WA_DeleteOnClose);
    steps->open();
}

void MainWindow::SayItIsADemo() {
    setWindowTitle(u"Corvane - demo"_s);
    statusBar()->addWidget(new QLabel(u"Demo: simulated monitors. Nothing of this is kept."_s));
}

void MainWindow::AddPage(Page* page, const QString& name, const QString& title) {
    page->setObjectName(name);
    tabs_->addTab(page, title);
}

void MainWindow::RefreshPage() {
    if (auto* page = qobject_cast<Page*>(tabs_->currentWidget())) page->Refresh();
}

void MainWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu(u"&File"_s);
    QAction* quit = file->addAction(u"&Quit"_s, this, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);
    QMenu* view = menuBar()->addMenu(u"&View"_s);
    QAction* fullScreen = view->addAction(u"&Full screen"_s);
    fullScreen->setCheckable(true);
    fullScreen->setShortcut(Qt::Key_F11);
    connect(fullScreen, &QAction::toggled, this, [this](bool full) {
        setWindowState(windowState().setFlag(Qt::WindowFullScreen, full));
        tabs_->tabBar()->setHidden(full);
        menuBar()->setHidden(full);
        statusBar()->setHidden(full);
    });
    addAction(fullScreen);  // its key works while the menu is hidden
    view->addAction(u"Pages in the &browser"_s, this, [this] {
        actions_.Done(OpenInBrowser(program_.webServer, program_.webServer.Location() + u'/'));
    });
    QMenu* tools = menuBar()->addMenu(u"&Tools"_s);
    tools->addAction(u"CT &burden calculator..."_s, this, [this] {
        auto* dialog = new BurdenDialog(this);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->open();
    });
    QMenu* help = menuBar()->addMenu(u"&Help"_s);
    help->addAction(u"&First steps..."_s, this, &MainWindow::ShowFirstSteps);
    help->addAction(u"&About Corvane"_s, this, [this] {
        op_.Show(u"Corvane %1\n\nData folder: %2"_s.arg(QCoreApplication::applicationVersion(),
                                                        program_.DataFolder()));
    });
}

void MainWindow::BuildStatusBar() {
    packets_ = new QLabel;
    writeState_ = new QLabel;
    work_ = new QLabel;
    workBar_ = new QProgressBar;
    workBar_->setMaximumWidth(160);
    workBar_->setAccessibleName(u"Progress"_s);
    workCancel_ = new QPushButton(u"Cancel"_s);
    connect(workCancel_, &QPushButton::clicked, this, [this] { op_.SetCancelled(true); });
    statusBar()->addWidget(packets_);
    statusBar()->addWidget(writeState_);
    for (QWidget* widget : {static_cast<QWidget*>(work_), static_cast<QWidget*>(workBar_),
                            static_cast<QWidget*>(workCancel_)}) {
        statusBar()->addPermanentWidget(widget);
        widget->hide();
    }
}

void MainWindow::RefreshStatus() {
    packets_->setText(PacketCounts(program_.framer));
    writeState_->setText(program_.dbWriter.StateText());
}

/// Without an operation, nothing runs any more.
void MainWindow::ShowProgress(const Progress& progress) {
    const bool running = !progress.operation.isEmpty();
    work_->setText(u"%1  %2 s"_s.arg(progress.operation, QString::number(progress.seconds)));
    workBar_->setRange(0, progress.percent.has_value() ? 100 : 0);
    workBar_->setValue(progress.percent.value_or(0));
    work_->setVisible(running);
    workBar_->setVisible(running);
    workCancel_->setVisible(running);
}

void MainWindow::RestorePlace() {
    const QByteArray place = QByteArray::fromBase64(program_.settings.Value(kWindowPlace).toLatin1());
    if (!restoreGeometry(place)) resize(kFirstSize);
}

void MainWindow::PrepareToEnd() {
    setCursor(Qt::WaitCursor);
    op_.EndQuestions();
    program_.settings.Save(kWindowPlace, QString::fromLatin1(saveGeometry().toBase64()));
}

void MainWindow::closeEvent(QCloseEvent* event) {
    event->ignore();  // the program closes the window once it has ended
    Q_EMIT CloseWanted();
}

}  // namespace corvane
