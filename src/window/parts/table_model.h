// A table of the database for a view: it knows how many rows there are, and asks for those that are looked
// at.
#pragma once

#include <QAbstractTableModel>

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "history/table_rows.h"

namespace corvane {

class TableModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    /// Rows are asked for and kept in pages of so many.
    static constexpr int kPageRows = 200;

    /// Shows these rows from now on, and forgets those it had.
    void Show(std::shared_ptr<const TableRows> rows);
    [[nodiscard]] const std::shared_ptr<const TableRows>& Rows() const { return rows_; }

    /// Takes what `ReadRows` gives for the page that begins at row `first`. A page that is not there any more
    /// is asked for again when it is looked at.
    void TakePage(int first, QueryResult page);

    /// `first` was asked for and cannot be had: it may be asked for again.
    void GiveUpPage(int first) { wanted_.erase(first); }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

Q_SIGNALS:
    /// A row of the page that begins at row `first` is looked at. Told once, until the page is there.
    void PageWanted(int first) const;

private:
    using Row = std::vector<QueryResult::Cell>;

    std::shared_ptr<const TableRows> rows_;
    std::map<int, std::map<std::int64_t, Row>> pages_;  ///< by the first row; the rows by their ids
    mutable std::set<int> wanted_;
};

}  // namespace corvane
