// What happened: the status list, the error log, and all of it for a bug report.
#pragma once

#include <QDateTime>

#include "window/page.h"

class QLabel;
class QPlainTextEdit;
class QTableView;

namespace corvane {

class Actions;
class ErrorLogModel;
class Program;

class LogPage final : public Page {
    Q_OBJECT

public:
    LogPage(Program& program, Actions& actions);

    void Refresh() override;

private:
    QWidget* Summary();
    QWidget* StatusList();
    QWidget* Errors(Actions& actions);
    void LoadErrors();

    Program& program_;
    ErrorLogModel* model_;
    QLabel* counters_ = nullptr;
    QPlainTextEdit* status_ = nullptr;
    QTableView* errors_ = nullptr;
    QLabel* errorCount_ = nullptr;
    QDateTime loaded_;  ///< the log's time when it was read last
    qint64 loadedSize_ = -1;
};

}  // namespace corvane
