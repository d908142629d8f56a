#include "window/parts/table_model.h"

#include <utility>

#include "base/number_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kPagesKept = 50;

}  // namespace

void TableModel::Show(std::shared_ptr<const TableRows> rows) {
    beginResetModel();
    rows_ = std::move(rows);
    pages_.clear();
    wanted_.clear();
    endResetModel();
}

void TableModel::TakePage(int first, QueryResult page) {
    wanted_.erase(first);
    if (first >= rowCount()) return;
    if (pages_.size() >= kPagesKept) pages_.clear();  // what is in sight is asked for again
    auto& rows = pages_[first];
    rows.clear();
    for (Row& row : page.rows) {
        const auto id = ParseInteger<std::int64_t>(row.front().value_or(""));
        if (!id) continue;
        row.erase(row.begin());
        rows.emplace(*id, std::move(row));
    }
    const int last = std::min(first + kPageRows, rowCount()) - 1;
    Q_EMIT dataChanged(index(first, 0), index(last, columnCount() - 1));
}

int TableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || rows_ == nullptr ? 0 : static_cast<int>(rows_->ids.size());
}

int TableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || rows_ == nullptr ? 0 : static_cast<int>(rows_->columns.size());
}

QVariant TableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::TextAlignmentRole)) return {};
    const int first = index.row() / kPageRows * kPageRows;
    const auto page = pages_.find(first);
    if (page == pages_.end()) {
        if (wanted_.insert(first).second) Q_EMIT PageWanted(first);
        return {};
    }
    const auto row = page->second.find(rows_->ids[static_cast<std::size_t>(index.row())]);
    const auto column = static_cast<std::size_t>(index.column());
    if (row == page->second.end() || column >= row->second.size()) return {};  // deleted meanwhile
    const QString text = QString::fromStdString(row->second[column].value_or(""));
    if (role == Qt::DisplayRole) return text;
    bool number = false;
    (void)text.toDouble(&number);
    return QVariant(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
}

QVariant TableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || rows_ == nullptr || section < 0) return {};
    if (orientation == Qt::Vertical) return section < rowCount() ? QVariant(section + 1) : QVariant();
    if (section >= columnCount()) return {};
    return QString::fromStdString(rows_->columns[static_cast<std::size_t>(section)]);
}

}  // namespace corvane
