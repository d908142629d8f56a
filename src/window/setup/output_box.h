// An output in the window: its settings, what it can be made to do, how it stands, and its log.
#pragma once

#include <QCoroTask>
#include <QGroupBox>

#include <vector>

#include "forward/output.h"

class QFormLayout;
class QPushButton;

namespace corvane {

class Actions;
class Settings;
class StateLine;

/// What an output shows below its settings that others do not have; null where there is none.
struct OutputPart {
    QString label = {};
    QWidget* widget = nullptr;
};

class OutputBox final : public QGroupBox {
    Q_OBJECT

public:
    OutputBox(Output& output, Settings& settings, Actions& actions, const OutputPart& part);

    void Refresh();

private:
    void AddChoice(QFormLayout* form, const OutputChoice& choice);
    void AddSecret(QFormLayout* form, const OutputChoice& choice);
    void AddState(QFormLayout* form);
    void AddLog(QFormLayout* form, const StatusBoard& log);
    [[nodiscard]] QPushButton* Button(std::size_t index, const OutputAction& action);
    [[nodiscard]] std::vector<OutputAction> Offered() const;
    [[nodiscard]] static QCoro::Task<Outcome> Run(OutputAction action, Operator& op);

    Output& output_;
    Settings& settings_;
    Actions& actions_;
    std::vector<QPushButton*> buttons_;  ///< of the actions that are offered, in their order
    StateLine* state_ = nullptr;
};

}  // namespace corvane
