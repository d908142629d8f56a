#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QLabel>
#include <QSignalSpy>
#include <QTableView>

#include <gmock/gmock.h>

#include <functional>

#include "store/rows.h"
#include "window/parts/table_model.h"
#include "window/past/table_source.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kPage = u"data"_s;

class DataTest : public WindowTest {
protected:
    /// The window over 1000 minute records of two devices in turn, ten minutes apart, their powers 0 to 999.
    void OpenWithRecords() {
        Open(u"database"_s);  // which reads nothing: the rows below find the file free
        Execute(
            folder.Path(u"vrq1.db3"_s).toStdString(),
            "UPDATE applicationinfo SET deviceaddress = 300001; WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL "
            "SELECT i + 1 FROM n LIMIT 1000) INSERT INTO monitordata_minute(date, deviceaddress, ch1watt) "
            "SELECT datetime('2026-03-10', (10 * i) || ' minutes'), 300001 + i % 2, i FROM n");
        ShowPage(kPage);
        ASSERT_TRUE(Rows("1,000 rows, the newest first"));
    }

    bool Rows(const char* text) {
        return SpinUntil([&] { return Find<QLabel>(kPage, u"Rows"_s)->text() == QLatin1StringView(text); });
    }
    QTableView* View() { return Find<QTableView>(kPage, u"Rows of the table"_s); }

    /// What the cell shows, once it is there.
    std::string Cell(int row, int column) {
        const QModelIndex index = View()->model()->index(row, column);
        EXPECT_TRUE(SpinUntil([&] { return !index.data().toString().isEmpty(); }));
        return index.data().toString().toStdString();
    }
};

TEST_F(DataTest, EachColumnIsAsWideAndAlignedAsItsValuesAre) {
    OpenWithRecords();
    const QAbstractItemModelTester tester(View()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    const auto* model = View()->model();
    EXPECT_EQ(model->headerData(1, Qt::Horizontal), u"date"_s);
    EXPECT_EQ(Cell(0, 5), "999");
    EXPECT_EQ(model->headerData(999, Qt::Vertical), 1000);
    EXPECT_EQ(model->index(0, 1).data(Qt::TextAlignmentRole), int(Qt::AlignVCenter | Qt::AlignLeft));
    EXPECT_EQ(model->index(0, 5).data(Qt::TextAlignmentRole), int(Qt::AlignVCenter | Qt::AlignRight));
    const QFontMetrics metrics(View()->font());
    const std::pair<int, QString> widest[] = {
        {1, u"0000-00-00 00:00:00"_s}, {2, u"deviceaddress"_s}, {0, u"00000.000"_s}};
    for (const auto& [column, text] : widest)
        EXPECT_EQ(View()->columnWidth(column), metrics.horizontalAdvance(text) + 24) << column;
}

TEST_F(DataTest, OfManyPagesTheLatestAreReadAndWhatFailsIsSaid) {
    OpenWithRecords();
    const auto* model = View()->model();
    View()->hide();
    const auto forgetRows = [&] {
        QSignalSpy forgotten(model, &QAbstractItemModel::modelReset);
        Click(kPage, u"Read again"_s);
        return SpinUntil([&] { return forgotten.count() == 1; });
    };
    ASSERT_TRUE(forgetRows());
    std::vector<int> read;
    QObject::connect(model, &QAbstractItemModel::dataChanged, model,
                     [&read](const QModelIndex& first) { read.push_back(first.row()); });
    for (const int row : {0, 200, 400, 600, 800})
        (void)model->index(row, 0).data();
    EXPECT_TRUE(SpinUntil([&] { return read.size() == 4; }));
    EXPECT_THAT(read, testing::ElementsAre(0, 800, 600, 400));
    EXPECT_EQ(Cell(399, 5), "600") << "asked for again";

    ASSERT_TRUE(forgetRows());
    ASSERT_TRUE(SpinUntil([this] { return program_->database.Run("DROP TABLE monitordata_minute").Ok(); }));
    (void)model->index(0, 0).data();
    EXPECT_TRUE(Rows("Reading failed: no such table: monitordata_minute"));
    EXPECT_EQ(model->rowCount(), 1000);
    Find<QComboBox>(kPage, u"Device"_s)->setCurrentIndex(1);
    EXPECT_EQ(Find<QLabel>(kPage, u"Rows"_s)->text(), u"Reading..."_s);
    EXPECT_TRUE(SpinUntil([&] { return model->rowCount() == 0; }));
    EXPECT_TRUE(Rows("Reading failed: no such table: monitordata_minute"));
    Click(kPage, u"Read again"_s);
    EXPECT_TRUE(Rows("0 rows, the newest first")) << "of the hourly records";
}

TEST(TableModel, KeepsFiftyPages) {
    const auto rows = std::make_shared<TableRows>();
    rows->columns = {"a"};
    for (std::int64_t id = 51 * TableModel::kPageRows; id > 0; --id)
        rows->ids.push_back(id);
    TableModel model;
    model.Show(rows);
    std::vector<int> wanted;
    QObject::connect(&model, &TableModel::PageWanted, [&wanted](int first) { wanted.push_back(first); });
    const auto text = [&model](int row) { return model.index(row, 0).data().toString().toStdString(); };
    const auto take = [&](int page) {
        const int first = page * TableModel::kPageRows;
        QueryResult result;
        result.rows = {{"none", "y"},
                       {"99999999999999999999", "y"},
                       {std::to_string(rows->ids[static_cast<std::size_t>(first)]), "x"}};
        model.TakePage(first, result);
    };
    for (int page = 0; page < 50; ++page)
        take(page);
    EXPECT_EQ(text(0), "x");
    EXPECT_EQ(text(1), "") << "deleted meanwhile";
    EXPECT_TRUE(wanted.empty());
    take(50);
    EXPECT_EQ(text(50 * TableModel::kPageRows), "x");
    for (int looked = 0; looked < 2; ++looked)
        EXPECT_EQ(text(0), "");
    EXPECT_THAT(wanted, testing::ElementsAre(0)) << "told once";
}

TEST_F(DataTest, WhatALockKeptFromBeingReadIsReadWhenItIsGone) {
    OpenWithRecords();
    TableSource source(program_->database, program_->databaseFiles, std::chrono::milliseconds(1));
    const TableFilter filter{.table = "monitordata_minute", .address = {}, .firstDay = {}, .endDay = {}};
    const auto cell = [&] { return source.Model().index(0, 5).data().toString(); };
    const auto other = CaptureDatabase::OpenFile(program_->database.databasePath(), false);
    bool paged = false;
    QObject::connect(&source.Model(), &QAbstractItemModel::dataChanged, [&paged] { paged = true; });
    const struct {
        const char* what;
        std::function<void()> want;
        std::function<bool()> isThere;
    } steps[] = {
        {"choices", [] {}, [&] { return source.Tables().size() == 4 && source.Devices().size() == 1; }},
        {"rows", [&] { source.Show(filter); }, [&] { return source.Model().rowCount() == 1000; }},
        {"page", [&] { (void)cell(); }, [&] { return paged; }}};
    for (const auto& step : steps) {
        ASSERT_TRUE(SpinUntil([&] { return other.GetTable("BEGIN EXCLUSIVE").Ok(); }));
        step.want();
        source.Refresh();
        EXPECT_TRUE(SpinUntil([&] {
            return source.StateText() == u"Another program holds the database locked; it is tried again."_s;
        })) << step.what;
        ASSERT_TRUE(other.GetTable("COMMIT").Ok());
        EXPECT_TRUE(SpinUntil([&] {
            source.Refresh();
            return step.isThere();
        })) << step.what;
    }
    EXPECT_EQ(cell(), u"999"_s);
    EXPECT_EQ(source.StateText(), u"1,000 rows, the newest first"_s);
}

}  // namespace
}  // namespace corvane
