// The main window: builds the pages, the menus and what connects them, and nothing else.
#pragma once

#include <QMainWindow>

#include <array>
#include <vector>

#include "base/setting.h"
#include "window/actions.h"
#include "window/window_operator.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QTabWidget;

namespace corvane {

class Page;
class Program;
struct Progress;

inline constexpr Setting kFrontTab{.key = "COMtab",
                                   .kind = SettingKind::Number,
                                   .fallback = "0",
                                   .least = 0,
                                   .most = 99,
                                   .by = SettingBy::Program,
                                   .help = "The tab that is at the front, 0 for the first."};
inline constexpr Setting kWindowPlace{
    .key = "WindowPlace", .by = SettingBy::Program, .help = "Size and place of the window."};
inline constexpr std::array kMainWindowSettings = {kFrontTab, kWindowPlace};

class MainWindow final : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(Program& program);
    ~MainWindow() override;

    /// The person at the window, for what the program asks at its start and end.
    [[nodiscard]] WindowOperator& Person() { return op_; }

    /// From now on the pages show the program, which has started.
    void ShowProgram();

    /// Says on the window that what is shown is simulated.
    void SayItIsADemo();

    /// Ends the questions that are open, and keeps the window's place. The window must not be used
    /// afterwards.
    void PrepareToEnd();

Q_SIGNALS:
    /// The user wants the program to end.
    void CloseWanted();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void AddSetupPages();
    void AddPage(Page* page, const QString& name, const QString& title);
    void BuildMenus();
    void ShowFirstSteps();
    void BuildStatusBar();
    void RestorePlace();
    void RefreshPage();
    void RefreshStatus();
    void ShowProgress(const Progress& progress);

    Program& program_;
    WindowOperator op_;
    Actions actions_;
    QTabWidget* tabs_;
    QLabel* packets_;
    QLabel* writeState_;
    QLabel* work_;
    QProgressBar* workBar_;
    QPushButton* workCancel_;
};

}  // namespace corvane
