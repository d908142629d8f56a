#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QScrollBar>
#include <QTableView>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "support/settings_by_key.h"
#include "window/parts/table_model.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

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

    bool Rows(const QString& text) {
        return SpinUntil([&] { return Find<QLabel>(kPage, u"Rows"_s)->text() == text; });
    }
    bool Rows(const char* text) { return Rows(QString::fromLatin1(text)); }
    QTableView* View() { return Find<QTableView>(kPage, u"Rows of the table"_s); }

    /// What the cell shows, once it is there.
    std::string Cell(int row, int column) {
        const QModelIndex index = View()->model()->index(row, column);
        EXPECT_TRUE(SpinUntil([&] { return !index.data().toString().isEmpty(); }));
        return index.data().toString().toStdString();
    }
};

TEST_F(DataTest, ATableIsReadInPagesAndFiltered) {
    OpenWithRecords();
    const QAbstractItemModelTester tester(View()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(Cell(0, 5), "999");
    EXPECT_EQ(Cell(999, 1), "2026-03-10 00:00:00");
    EXPECT_EQ(Cell(501, 5), "498");

    Find<QComboBox>(kPage, u"Device"_s)->setCurrentText(u"Device A (300001)"_s);
    EXPECT_TRUE(Rows("500 rows, the newest first"));
    EXPECT_EQ(Cell(0, 5), "998");
    Find<QDateEdit>(kPage, u"First day"_s)->setDate(QDate(2026, 3, 11));
    Find<QDateEdit>(kPage, u"Last day"_s)->setDate(QDate(2026, 3, 11));
    Find<QCheckBox>(kPage, u"Only from"_s)->click();
    EXPECT_TRUE(Rows("72 rows, the newest first"));
    EXPECT_EQ(Cell(71, 1), "2026-03-11 00:00:00");

    QTest::keyClick(Find<QComboBox>(kPage, u"Table"_s), Qt::Key_End);
    EXPECT_EQ(KeptByKey(program_->settings, u"DataTable"_s), u"applications"_s) << "the tariff";
    EXPECT_TRUE(Rows("1 rows, the newest first"));
    EXPECT_EQ(Cell(0, 3), "0.126");
}

TEST_F(DataTest, AnotherDatabaseIsRead) {
    OpenWithRecords();
    ASSERT_TRUE(SpinUntil([this] {
        return program_->database.Run("DELETE FROM monitordata_minute WHERE deviceaddress = 300002").Ok();
    }));
    Q_EMIT program_->databaseFiles.Adopted();
    EXPECT_EQ(View()->model()->rowCount(), 0);
    clock.AdvanceSeconds(1);
    EXPECT_TRUE(Rows("500 rows, the newest first"));
}

TEST_F(DataTest, WhatIsShownIsSavedAsCsv) {
    OpenWithRecords();
    Find<QComboBox>(kPage, u"Device"_s)->setCurrentText(u"Device A (300001)"_s);
    ASSERT_TRUE(Rows("500 rows, the newest first"));
    Click(kPage, u"Save CSV..."_s);
    EnterFile(folder.Path(u"rows.csv"_s));
    EXPECT_THAT(BoxText(), HasSubstr("500 rows were written to"));
    QFile file(folder.Path(u"rows.csv"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    EXPECT_EQ(lines.size(), 502);
    EXPECT_THAT(lines.at(0).toStdString(), testing::StartsWith("id,date,deviceaddress,"));
    EXPECT_THAT(lines.at(1).toStdString(), testing::StartsWith("999,2026-03-16 22:20:00,300001,,,998,"));
}

}  // namespace
}  // namespace corvane
