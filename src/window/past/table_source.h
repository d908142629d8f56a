// The tables of the database, and the rows of the one that is looked through.
#pragma once

#include <chrono>
#include <deque>
#include <memory>

#include "window/parts/table_model.h"
#include "window/past/history_source.h"

namespace corvane {

class TableSource final : public HistorySource {
    Q_OBJECT

public:
    TableSource(const CaptureDatabase& database, const DatabaseFiles& files,
                std::chrono::milliseconds lockPatience = SqlWorker::kLockPatience);

    /// The names of the tables, as last read.
    [[nodiscard]] const std::vector<std::string>& Tables() const { return tables_; }

    /// The rows of the filter that was shown last.
    [[nodiscard]] TableModel& Model() { return model_; }

    /// Shows the rows that pass the filter. What is being read is given up.
    void Show(const TableFilter& filter);

    /// Reads the tables and devices again, now or when the job that runs has ended.
    void ReadAgain();

    /// Reads what could not be read before: a locked file is tried again.
    void Refresh() override;

    /// What is to be said of the rows.
    [[nodiscard]] QString StateText() const;

Q_SIGNALS:
    /// Tables and devices were read. Whoever chooses among them answers with `Show`.
    void ChoicesRead();

private:
    void Forget() override;

    /// Runs what is wanted and not read yet, one job after the other.
    void ReadNext();
    QCoro::Task<> ReadChoices();
    QCoro::Task<> ReadTable(std::shared_ptr<TableRows> rows);
    QCoro::Task<> ReadPage(int first);

    TableModel model_;
    std::vector<std::string> tables_;
    std::optional<TableFilter> filterWanted_;
    std::deque<int> pagesWanted_;  ///< their first rows, the latest at the front
    bool readingTable_ = false;
};

}  // namespace corvane
