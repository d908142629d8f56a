#include "window/past/table_source.h"

#include <QLocale>

#include <utility>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kPagesWanted = 3;  ///< of a view that is scrolled fast, only the last are read

/// A job that puts the names of the tables into `tables`; its rows are those of `ReadDevices`.
SqlJob ReadTablesAndDevices(std::shared_ptr<std::vector<std::string>> tables) {
    return [tables = std::move(tables)](SqlSession& session) {
        QueryResult names = ReadTableNames()(session);
        if (!names.Ok()) return names;
        for (const auto& row : names.rows)
            tables->push_back(row.front().value_or(""));
        QueryResult devices = ReadDevices()(session);
        const bool foreign = !devices.Ok() && !devices.Locked() && !session.MustStop();
        return foreign ? QueryResult() : devices;  // a file that is none of ours has none
    };
}

}  // namespace

TableSource::TableSource(const CaptureDatabase& database, const DatabaseFiles& files,
                         std::chrono::milliseconds lockPatience)
    : HistorySource(database, files, lockPatience) {
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
    ReadNext();
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
    const auto tables = std::make_shared<std::vector<std::string>>();
    const std::optional<QueryResult> devices = co_await Run(ReadTablesAndDevices(tables));
    if (!devices) co_return;
    if (!devices->Ok()) co_return SetError(devices->errorText);  // again with the next refresh
    tables_ = *tables;
    TakeDevices(*devices);
    Q_EMIT ChoicesRead();
}

QCoro::Task<> TableSource::ReadTable(std::shared_ptr<TableRows> rows) {
    readingTable_ = true;
    Q_EMIT StateChanged();
    const std::optional<QueryResult> result = co_await Run(FindRows(rows));
    if (!result) co_return;
    readingTable_ = false;
    if (result->errorText != SqlWorker::kInterrupted) model_.Show(result->Ok() ? rows : nullptr);
    if (result->Locked() && !filterWanted_) filterWanted_ = rows->filter;
    SetError(result->errorText);
    if (!result->Locked()) ReadNext();
}

QCoro::Task<> TableSource::ReadPage(int first) {
    const std::shared_ptr<const TableRows> rows = model_.Rows();
    if (rows == nullptr) co_return;
    std::optional<QueryResult> result =
        co_await Run(ReadRows(*rows, static_cast<std::size_t>(first), TableModel::kPageRows));
    if (!result) co_return;
    if (model_.Rows() != rows) co_return ReadNext();
    const bool locked = result->Locked();
    SetError(result->errorText);
    if (locked)
        pagesWanted_.push_back(first);
    else if (result->Ok())
        model_.TakePage(first, std::move(*result));
    else
        model_.GiveUpPage(first);
    if (!locked) ReadNext();
}

QString TableSource::StateText() const {
    if (Held()) return kHeldText;
    if (readingTable_) return u"Reading..."_s;
    QString error = ErrorText();
    if (!error.isEmpty()) return error;
    return u"%1 rows, the newest first"_s.arg(QLocale().toString(model_.rowCount()));
}

}  // namespace corvane
