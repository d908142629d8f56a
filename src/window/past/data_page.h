// The tables of the database, to look through and to save as CSV.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "history/history_reader.h"
#include "store/sql_worker.h"
#include "window/page.h"
#include "window/parts/file_export.h"
#include "window/parts/table_model.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;

namespace corvane {

class Actions;
class Program;

class DataPage final : public Page {
    Q_OBJECT

public:
    DataPage(Program& program, Actions& actions);
    ~DataPage() override;

    void Refresh() override;

private:
    QWidget* FilterBar(Actions& actions);
    QWidget* Table();

    [[nodiscard]] TableFilter Filter() const;

    /// Runs what is wanted and not read yet, one job after the other.
    void ReadNext();
    QCoro::Task<> ReadChoices();
    QCoro::Task<> ReadTable(std::shared_ptr<TableRows> rows);
    QCoro::Task<> ReadPage(int first);
    void TakeTables(const QueryResult& names);
    void TakeDevices();
    void Want();
    void ShowState(const std::string& error);

    Program& program_;
    SqlWorker worker_;
    FileExport export_;
    TableModel model_;
    std::vector<HistoryDevice> devices_;
    bool choicesWanted_ = true;
    bool tableWanted_ = false;
    std::deque<int> pagesWanted_;  ///< their first rows, the latest at the front
    bool ending_ = false;

    QComboBox* table_ = nullptr;
    QComboBox* device_ = nullptr;
    QCheckBox* limited_ = nullptr;
    QDateEdit* first_ = nullptr;
    QDateEdit* last_ = nullptr;
    QLabel* state_ = nullptr;
};

}  // namespace corvane
