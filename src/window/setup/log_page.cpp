#include "window/setup/log_page.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QTimer>

#include <chrono>

#include "app/bug_report.h"
#include "app/program.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"
#include "window/setup/error_log_model.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds kCopiedShown(1500);

}  // namespace

LogPage::LogPage(Program& program, Actions& actions) : program_(program), model_(new ErrorLogModel(this)) {
    auto* page = new QVBoxLayout(this);
    auto* lists = new QSplitter(Qt::Vertical);
    lists->setChildrenCollapsible(false);
    lists->addWidget(StatusList());
    lists->addWidget(Errors(actions));
    page->addWidget(Summary());
    page->addWidget(lists, 1);
    connect(&actions, &Actions::BusyChanged, this, [this](bool busy) {
        if (!busy) LoadErrors();
    });
}

QWidget* LogPage::Summary() {
    auto* summary = new QWidget;
    auto* row = new QHBoxLayout(summary);
    row->setContentsMargins(0, 0, 0, 0);
    auto* copy = new QPushButton(u"Copy all"_s);
    copy->setToolTip(
        u"Puts versions, counters, links, settings, status list and error log on the clipboard, "
        u"for a bug report. Keys are left out."_s);
    connect(copy, &QPushButton::clicked, this, [this, copy] {
        QGuiApplication::clipboard()->setText(BugReport(program_));
        copy->setText(u"Copied"_s);
        QTimer::singleShot(kCopiedShown, copy, [copy] { copy->setText(u"Copy all"_s); });
    });
    counters_ = TextLabel();
    row->addWidget(counters_, 1);
    row->addWidget(copy);
    return summary;
}

QWidget* LogPage::StatusList() {
    auto* box = new QGroupBox(u"Status"_s);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(2, 2, 2, 2);
    status_ = new QPlainTextEdit;
    status_->setReadOnly(true);
    status_->setAccessibleName(u"Status list"_s);
    status_->setMaximumBlockCount(static_cast<int>(StatusBoard::kKept));
    for (const QString& line : program_.statusBoard.Lines())
        status_->appendPlainText(line);
    connect(&program_.statusBoard, &StatusBoard::LineAdded, status_, &QPlainTextEdit::appendPlainText);
    column->addWidget(status_);
    return box;
}

QWidget* LogPage::Errors(Actions& actions) {
    auto* box = new QGroupBox(u"Error log"_s);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(2, 2, 2, 2);
    errors_ = new QTableView;
    errors_->setAccessibleName(u"Error log"_s);
    errors_->setModel(model_);
    errors_->setSelectionBehavior(QAbstractItemView::SelectRows);
    errors_->setShowGrid(false);
    errors_->setAlternatingRowColors(true);
    errors_->setWordWrap(false);
    errors_->verticalHeader()->hide();
    errors_->verticalHeader()->setDefaultSectionSize(errors_->fontMetrics().height() + 6);
    QHeaderView* header = errors_->horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    const int em = errors_->fontMetrics().horizontalAdvance(u'0');
    errors_->setColumnWidth(ErrorLogModel::kTime, 20 * em);
    errors_->setColumnWidth(ErrorLogModel::kNumber, 10 * em);
    errors_->setColumnWidth(ErrorLogModel::kDescription, 70 * em);
    column->addWidget(errors_, 1);
    errorCount_ = PaleLabel();
    column->addWidget(Row(
        {ActionButton(u"Delete..."_s, actions, [this](Operator& op) { return program_.errorLog.Delete(op); }),
         errorCount_}));
    return box;
}

void LogPage::LoadErrors() {
    const QFileInfo file(program_.errorLog.Path());
    loaded_ = file.lastModified();
    loadedSize_ = file.size();
    const ErrorLog::Listing listing = program_.errorLog.Load();
    model_->SetLines(listing.lines);
    // Once the rows have their place.
    QTimer::singleShot(0, errors_, &QTableView::scrollToBottom);
    errorCount_->setText(listing.message.isEmpty() ? u"%1 entries"_s.arg(listing.lines.size())
                                                   : listing.message);
}

void LogPage::Refresh() {
    const QLocale locale;
    counters_->setText(u"Corvane %1   ·   %2 good packets, %3 bad   ·   %4   ·   data in %5"_s.arg(
        QCoreApplication::applicationVersion(), locale.toString(qulonglong{program_.framer.GoodPackets()}),
        locale.toString(program_.framer.BadPackets()), program_.dbWriter.BufferText(),
        program_.DataFolder()));
    const QFileInfo file(program_.errorLog.Path());
    if (file.size() != loadedSize_ || file.lastModified() != loaded_) LoadErrors();
}

}  // namespace corvane
