// The error log as a table: a row for each of its lines, oldest first.
#pragma once

#include <QAbstractTableModel>
#include <QStringList>

namespace corvane {

class ErrorLogModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { kTime, kNumber, kDescription, kContext, kColumns };

    using QAbstractTableModel::QAbstractTableModel;

    /// The lines as they stand in the log: number, description, context and time, separated by tabs. One that
    /// is not made like that is shown whole, as a description.
    void SetLines(QStringList lines);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    QStringList lines_;
};

}  // namespace corvane
