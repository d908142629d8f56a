#include "window/past/ledger_page.h"

#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

#include "app/carry_undo.h"
#include "base/clock.h"
#include "base/date_entry.h"
#include "measure/ledger.h"
#include "measure/ledger_document.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/past/gap_timeline.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QStringList kTitles = {u"Time"_s, u"Device"_s, u"Judgement"_s, u"What happened"_s};

}  // namespace

LedgerPage::LedgerPage(Ledger& ledger, CarryUndo& undo, const Clock& clock, Actions& actions)
    : ledger_(ledger),
      undo_(undo),
      clock_(clock),
      doubts_(TextLabel()),
      entries_(new QTableWidget(0, static_cast<int>(kTitles.size()))),
      gaps_(new GapTimeline) {
    auto* page = new QVBoxLayout(this);
    page->addWidget(doubts_);
    entries_->setAccessibleName(u"Ledger"_s);
    entries_->setHorizontalHeaderLabels(kTitles);
    entries_->setSelectionBehavior(QAbstractItemView::SelectRows);
    entries_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    entries_->setShowGrid(false);
    entries_->setAlternatingRowColors(true);
    entries_->setWordWrap(false);
    entries_->verticalHeader()->hide();
    entries_->horizontalHeader()->setStretchLastSection(true);
    const int em = entries_->fontMetrics().horizontalAdvance(u'0');
    for (int column = 0; const int width : {20, 34, 10})
        entries_->setColumnWidth(column++, width * em);
    page->addWidget(entries_, 1);
    page->addWidget(Buttons(actions));
    auto* year = new QGroupBox(u"When each monitor was heard, of the last year"_s);
    gaps_->setAccessibleName(u"Gaps of the last year"_s);
    (new QVBoxLayout(year))->addWidget(gaps_);
    page->addWidget(year);
    connect(&ledger, &Ledger::Changed, this, [this] {
        due_ = true;
        if (isVisible()) Refresh();
    });
}

QWidget* LedgerPage::Buttons(Actions& actions) {
    return Row({ActionButton(u"Take back, put back..."_s, actions,
                             [this](Operator& op) { return undo_.Undo(Chosen(), op); }),
                ActionButton(u"Let stand"_s, actions, [this](Operator&) { return undo_.Keep(Chosen()); })});
}

std::vector<std::int64_t> LedgerPage::Chosen() const {
    std::vector<std::int64_t> ids;
    for (const QModelIndex& index : entries_->selectionModel()->selectedRows())
        ids.push_back(index.data(Qt::UserRole).toLongLong());
    return ids;
}

void LedgerPage::Refresh() {
    if (!loading_ && std::exchange(due_, false)) Load();
}

QCoro::Task<> LedgerPage::Load() {
    const QPointer<LedgerPage> self(this);
    loading_ = true;
    const LedgerQuery newest;
    const Ledger::Listing listing = co_await ledger_.List(newest);
    LedgerQuery gapQuery;
    gapQuery.gapsOnly = true;
    gapQuery.most = kMostLedgerEntries;
    if (self.isNull()) co_return;
    const Ledger::Listing gaps = co_await ledger_.List(gapQuery);
    if (self.isNull()) co_return;
    const Ledger::Hearing hearing = co_await ledger_.Heard();
    if (self.isNull()) co_return;
    loading_ = false;
    QStringList doubts =
        DoubtfulLines(ledger_, u"Choose entries below to take their carries back, or to let them stand."_s);
    if (const QString problem = ledger_.ProblemText(); !problem.isEmpty()) doubts.append(problem);
    if (!listing.error.isEmpty()) doubts.append(u"The ledger cannot be read: %1"_s.arg(listing.error));
    doubts_->setText(doubts.join(u'\n'));
    doubts_->setVisible(!doubts.isEmpty());
    const std::vector<std::int64_t> chosen = Chosen();  // which are in other rows now
    entries_->clearSelection();
    entries_->setRowCount(static_cast<int>(listing.entries.size()));
    for (int row = 0; row < entries_->rowCount(); ++row) {  // the newest on top
        const LedgerEntry& entry =
            listing.entries[listing.entries.size() - 1 - static_cast<std::size_t>(row)];
        ShowEntry(row, entry);
        if (std::ranges::find(chosen, entry.id) != chosen.end()) Choose(row);
    }
    const std::int64_t now = clock_.Now().unixSeconds;
    gaps_->Show(GapsOf(gaps.entries, hearing.spans, now), hearing.spans, now);
    if (isVisible()) Refresh();  // what has come meanwhile
}

void LedgerPage::Choose(int row) {
    entries_->selectionModel()->select(entries_->model()->index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void LedgerPage::ShowEntry(int row, const LedgerEntry& entry) {
    const QString texts[] = {QString::fromStdString(DateTimeText(entry.time)), PlaceText(entry),
                             QLatin1StringView(JudgementText(entry.judgement)), EventText(entry)};
    for (int column = 0; const QString& text : texts) {
        auto* item = new QTableWidgetItem(text);
        item->setData(Qt::UserRole, qint64{entry.id});
        item->setToolTip(text);
        entries_->setItem(row, column++, item);
    }
}

}  // namespace corvane
