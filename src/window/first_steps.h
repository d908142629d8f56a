// From nothing to the first watts: where the monitor is, which one it is, what its channels are called.
#pragma once

#include <QWizard>

#include <vector>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QRadioButton;

namespace corvane {

class Actions;
class Program;

class FirstSteps final : public QWizard {
    Q_OBJECT

public:
    FirstSteps(Program& program, Actions& actions, QWidget* parent);

    /// Whether this program has not met a monitor yet, and nobody said that they need no help.
    [[nodiscard]] static bool AreDue(Program& program);

private:
    QWizardPage* PlacePage();
    QWizardPage* FoundPage();
    QWizardPage* NamePage();
    QWizardPage* ReadyPage();
    void OnPage(int page);
    void FillPorts();
    void OpenPort();
    void LookForMonitors();
    bool validateCurrentPage() override;
    bool Bind();
    void StartDemo();

    Program& program_;
    Actions& actions_;
    QRadioButton* serial_;
    QRadioButton* network_;
    QRadioButton* demo_;
    QLabel* how_;
    QComboBox* port_;
    QWidget* portRow_;
    QListWidget* heard_;
    QComboBox* device_;
    std::vector<QLineEdit*> labels_;
};

}  // namespace corvane
