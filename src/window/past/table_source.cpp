#include "window/past/table_source.h"

#include <QLocale>

#include <utility>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kPagesWanted = 3;  ///< of a view that is scrolled fast, only the last are read

}  // namespace

TableSource::TableSource(const CaptureDatabase& database, const DatabaseFiles& files)
    : HistorySource(database, files) {
    connect(&model_, &TableModel::PageWanted, this, [this](int first) {
        pagesWanted_.push_front(first);
        if (pagesWanted_.size() > kPagesWanted) {
            model_.GiveUpPage(pagesWanted_.back());
            pagesWanted_.pop_back();
        }
        ReadNext();
    });
}

void TableSource::Show(const TableFilter& filter) {
    filterWanted_ = filter;
    if (!DevicesWanted()) Interrupt();  // else the choices come first, and ask once more
    ReadNext();
}

void TableSource::ReadAgain() {
    WantDevices();
    ReadNext();
}

void TableSource::Refresh() {
    if (model_.Rows() == nullptr) ReadNext();
}

void TableSource::Forget() {
    model_.Show(nullptr);
}

void TableSource::ReadNext() {
    if (Busy()) return;
    if (DevicesWanted()) {
        ReadChoices();
    } else if (filterWanted_) {
        pagesWanted_.clear();
        auto rows = std::make_shared<TableRows>();
        rows->filter = *std::exchange(filterWanted_, {});
        ReadTable(std::move(rows));
    } else if (!pagesWanted_.empty()) {
        const int first = pagesWanted_.front();
        pagesWanted_.pop_front();
        ReadPage(first);
    }
}

QCoro::Task<> TableSource::ReadChoices() {
    const std::optional<QueryResult> names = co_await Run(ReadTableNames());
    if (!names) co_return;
    if (!names->Ok()) co_return SetError(names->errorText);  // again with the next refresh
    std::optional<QueryResult> devices = co_await Run(ReadDevices());
    if (!devices) co_return;
    tables_.clear();
    for (const auto& row : names->rows)
        tables_.push_back(row.front().value_or(""));
    TakeDevices(devices->Ok() ? *devices : QueryResult());  // none where the file is none of ours
    Q_EMIT ChoicesRead();
}

QCoro::Task<> TableSource::ReadTable(std::shared_ptr<TableRows> rows) {
    readingTable_ = true;
    Q_EMIT StateChanged();
    const std::optional<QueryResult> result = co_await Run(FindRows(rows));
    if (!result) co_return;
    readingTable_ = false;
    if (result->errorText != SqlWorker::kInterrupted) model_.Show(result->Ok() ? rows : nullptr);
    SetError(result->errorText);
    ReadNext();
}

QCoro::Task<> TableSource::ReadPage(int first) {
    const std::shared_ptr<const TableRows> rows = model_.Rows();
    if (rows == nullptr) co_return;
    std::optional<QueryResult> result =
        co_await Run(ReadRows(*rows, static_cast<std::size_t>(first), TableModel::kPageRows));
    if (!result) co_return;
    const bool isShown = model_.Rows() == rows;
    if (isShown && result->Ok()) {
        model_.TakePage(first, std::move(*result));
    } else if (isShown) {
        model_.GiveUpPage(first);
        SetError(result->errorText);
    }
    ReadNext();
}

QString TableSource::StateText() const {
    if (readingTable_) return u"Reading..."_s;
    QString error = ErrorText();
    if (!error.isEmpty()) return error;
    return u"%1 rows, the newest first"_s.arg(QLocale().toString(model_.rowCount()));
}

}  // namespace corvane
