// What happened: the status list, the error log, and all of it for a bug report.
#pragma once

#include <QDateTime>

#include <functional>

#include "window/page.h"

class QLabel;
class QPlainTextEdit;
class QTableView;

namespace corvane {

class Actions;
class DbWriter;
class ErrorLog;
class ErrorLogModel;
class Framer;
class StatusBoard;

class LogPage final : public Page {
    Q_OBJECT

public:
    /// `bugReport` makes the text that is put on the clipboard.
    LogPage(const StatusBoard& status, ErrorLog& errorLog, const Framer& framer, const DbWriter& writer,
            QString dataFolder, std::function<QString()> bugReport, Actions& actions);

    void Refresh() override;

private:
    QWidget* Summary();
    QWidget* StatusList();
    QWidget* Errors(Actions& actions);
    void LoadErrors();

    const StatusBoard& board_;
    ErrorLog& errorLog_;
    const Framer& framer_;
    const DbWriter& writer_;
    QString dataFolder_;
    std::function<QString()> bugReport_;
    ErrorLogModel* model_;
    QLabel* counters_ = nullptr;
    QPlainTextEdit* status_ = nullptr;
    QTableView* errors_ = nullptr;
    QLabel* errorCount_ = nullptr;
    QDateTime loaded_;  ///< the log's time when it was read last
    qint64 loadedSize_ = -1;
};

}  // namespace corvane
