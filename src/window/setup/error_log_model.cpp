#include "window/setup/error_log_model.h"

#include <array>
#include <utility>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

struct ColumnOfLog {
    const char* title;
    qsizetype field;  ///< its place in the line
};

constexpr std::array<ColumnOfLog, ErrorLogModel::kColumns> kLayout = {{
    {"Time", 3},
    {"Number", 0},
    {"What", 1},
    {"Where", 2},
}};

}  // namespace

void ErrorLogModel::SetLines(QStringList lines) {
    beginResetModel();
    lines_ = std::move(lines);
    endResetModel();
}

int ErrorLogModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(lines_.size());
}

int ErrorLogModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QVariant ErrorLogModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) return {};
    const QString& line = lines_[index.row()];
    const QStringList fields = line.split(u'\t');
    if (fields.size() != kColumns) return index.column() == kDescription ? line : QString();
    return fields[kLayout[static_cast<std::size_t>(index.column())].field];
}

QVariant ErrorLogModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    return QString::fromLatin1(kLayout[static_cast<std::size_t>(section)].title);
}

}  // namespace corvane
