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
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QTimer>

#include <chrono>
#include <utility>

#include "base/status_board.h"
#include "link/framer.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"
#include "window/setup/error_log_model.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds kCopiedShown(1500);

}  // namespace

LogPage::LogPage(const StatusBoard& status, ErrorLog& errorLog, const Framer& framer, const DbWriter& writer,
                 QString dataFolder, std::function<QString()> bugReport, Actions& actions)
    : board_(status),
      errorLog_(errorLog),
      framer_(framer),
      writer_(writer),
      dataFolder_(std::move(dataFolder)),
      bugReport_(std::move(bugReport)),
      model_(new ErrorLogModel(this)) {
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
        QGuiApplication::clipboard()->setText(bugReport_());
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
    for (const QString& line : board_.Lines())
        status_->appendPlainText(line);
    connect(&board_, &StatusBoard::LineAdded, status_, &QPlainTextEdit::appendPlainText);
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
    column->addWidget(
        Row({ActionButton(u"Delete..."_s, actions, [this](Operator& op) { return errorLog_.Delete(op); }),
             errorCount_}));
    return box;
}

void LogPage::LoadErrors() {
    const QFileInfo file(errorLog_.Path());
    loaded_ = file.lastModified();
    loadedSize_ = file.size();
    const ErrorLog::Listing listing = errorLog_.Load();
    model_->SetLines(listing.lines);
    // Once the rows have their place.
    QTimer::singleShot(0, errors_, &QTableView::scrollToBottom);
    errorCount_->setText(listing.message.isEmpty() ? u"%1 entries"_s.arg(listing.lines.size())
                                                   : listing.message);
}

void LogPage::Refresh() {
    counters_->setText(u"Corvane %1   ·   %2   ·   %3   ·   data in %4"_s.arg(
        QCoreApplication::applicationVersion(), PacketCounts(framer_), writer_.BufferText(), dataFolder_));
    const QFileInfo file(errorLog_.Path());
    if (file.size() != loadedSize_ || file.lastModified() != loaded_) LoadErrors();
}

}  // namespace corvane
