#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFile>
#include <QLabel>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "window/parts/palette.h"
#include "window/past/chart_view.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

const QString kPage = u"charts"_s;

class ChartsTest : public WindowTest {
protected:
    /// The window over minute records of 2026-03-10: 600 W from 00:00 to 05:59, then nothing until 18:00.
    void SetUp() override {
        const std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
        Open(u"database"_s);  // which reads nothing: the rows below find the file free
        Execute(path, "UPDATE applicationinfo SET deviceaddress = 300001, ch1alias = 'Panel'");
        for (const char* from : {"00:00", "18:00"}) {
            Execute(path,
                    "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT 360) INSERT INTO "
                    "monitordata_minute(date, deviceaddress, ch1watt, ch1kwh) SELECT datetime('2026-03-10 " +
                        std::string(from) + "', i || ' minutes'), 300001, 600, 100 + i * 0.01 + " +
                        (std::string(from) == "18:00" ? "20" : "0") + " FROM n");
        }
        ShowPage(kPage);
        ASSERT_TRUE(SpinUntil([this] {
            Q_EMIT clock.SecondPassed();
            return Find<QComboBox>(kPage, u"Device"_s)->count() == 1;
        }));
        Day(u"Last day"_s)->setDate(QDate(2026, 3, 10));
        Day(u"First day"_s)->setDate(QDate(2026, 3, 10));
        Click(kPage, u"Day"_s);
        ASSERT_TRUE(SpinUntil([this] { return Value(u"CH1  Panel"_s) != u"\u2013"_s; })) << "never read";
    }

    QDateEdit* Day(const QString& name) { return Find<QDateEdit>(kPage, name); }
    ChartView* View() { return Find<ChartView>(kPage, u"Chart"_s); }

    /// What stands beside a channel.
    QString Value(const QString& channel) { return Find<QLabel>(kPage, u"Value of "_s + channel)->text(); }
    void PointAt(const char* stamp) {
        const auto x = View()->xAxis->coordToPixel(static_cast<double>(ParseStamp(stamp).value()));
        QMouseEvent move(QEvent::MouseMove, QPointF(x, 100), QPointF(x, 100), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(View(), &move);
    }
};

TEST_F(ChartsTest, PowerIsShownWhereThePointerIsAndNoneInAGap) {
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"7.18 kWh"_s);
    PointAt("2026-03-10 03:00:00");
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"600 W"_s);
    PointAt("2026-03-10 12:00:00");
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"\u2013"_s);
}

TEST_F(ChartsTest, EnergyAndCostOfAGapAreInTheBarThatHoldsAllOfItOnly) {
    Click(kPage, u"Energy"_s);
    PointAt("2026-03-10 03:30:00");
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"0.60 kWh"_s);
    EXPECT_THAT(
        Find<QLabel>(kPage, u"Notes"_s)->text().toStdString(),
        HasSubstr("16.41 kWh belong to gaps that reach from one hour into another; they are in none."));
    Find<QComboBox>(kPage, u"Bars"_s)->setCurrentText(u"per day"_s);
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"23.59 kWh"_s) << "the day has the energy of its gap";
    Click(kPage, u"Cost"_s);
    Find<QComboBox>(kPage, u"Bars"_s)->setCurrentText(u"per hour"_s);
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"0.08"_s);
}

TEST_F(ChartsTest, TheDatesFollowTheChartAndTheChartTheDates) {
    Click(kPage, u"Later"_s);
    EXPECT_EQ(Day(u"First day"_s)->date(), QDate(2026, 3, 11));
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"\u2013"_s);
    EXPECT_TRUE(View()->item(1)->visible()) << "says that there are no records";
    QTest::keyClick(View(), Qt::Key_Escape);
    QTest::keyClick(View(), Qt::Key_Minus);
    EXPECT_EQ(Day(u"First day"_s)->date(), QDate(2026, 3, 10));
}

TEST_F(ChartsTest, WhatWasRenamedOrDeletedMeanwhileIsReadAgain) {
    const auto* channel = Find<QCheckBox>(kPage, u"CH1  Panel"_s);
    ShowPage(u"log"_s);
    ASSERT_TRUE(SpinUntil([this] {
        return program_->database
            .Run("UPDATE applicationinfo SET ch1alias = 'Mains'; DELETE FROM monitordata_minute")
            .Ok();
    }));
    ShowPage(kPage);
    EXPECT_TRUE(SpinUntil([&] {
        Q_EMIT clock.SecondPassed();
        return channel->text() == u"CH1  Mains"_s && Value(u"CH1  Mains"_s) == u"\u2013"_s;
    }));
}

TEST_F(ChartsTest, NewRecordsAreReadOnceAMinuteAndAnotherDatabaseAtOnce) {
    const auto change = [this](const char* statements) {
        ASSERT_TRUE(SpinUntil([&] { return program_->database.Run(statements).Ok(); }));
    };
    change(
        "INSERT INTO monitordata_minute(date, deviceaddress, ch1watt, ch1kwh) VALUES "
        "('2026-03-10 23:59:30', 300001, 600, 124.59)");
    clock.AdvanceSeconds(60);
    EXPECT_TRUE(SpinUntil([this] { return Value(u"CH1  Panel"_s) == u"8.18 kWh"_s; }));

    change(
        "UPDATE applicationinfo SET deviceaddress = 300002; UPDATE monitordata_minute SET deviceaddress = "
        "300002, ch1kwh = ch1kwh * 2");
    const auto* device = Find<QComboBox>(kPage, u"Device"_s);
    Q_EMIT program_->databaseFiles.Adopted();
    EXPECT_EQ(device->count(), 0);
    EXPECT_EQ(Value(u"CH1"_s), u"\u2013"_s);
    EXPECT_TRUE(SpinUntil([&] {
        Q_EMIT clock.SecondPassed();
        return device->currentText() == u"Device A (300002)"_s && Value(u"CH1  Panel"_s) == u"16.36 kWh"_s;
    })) << Value(u"CH1  Panel"_s).toStdString();
}

TEST_F(ChartsTest, WhatIsShownIsSavedAsCsvAndAsAPicture) {
    const QString csv = folder.Path(u"power.csv"_s);
    Click(kPage, u"Save CSV..."_s);
    EnterFile(csv);
    EXPECT_THAT(BoxText(), HasSubstr("720 rows were written"));
    Answer(QMessageBox::Ok);
    QFile file(csv);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readLine().toStdString(), "time,CH1  Panel W,CH2 W\r\n");
    EXPECT_EQ(file.readLine().toStdString(), "2026-03-10 00:00:00,600,\r\n");

    Click(kPage, u"Save CSV..."_s);
    EnterFile(csv);
    EXPECT_THAT(BoxText(), HasSubstr("exists. Would you like to replace it?"));
    Answer(QMessageBox::No);
    Click(kPage, u"Save CSV..."_s);
    EnterFile(folder.Path(u"missing/power.csv"_s));
    EXPECT_THAT(BoxText(), HasSubstr("The file could not be written: "));
    Answer(QMessageBox::Ok);

    Click(kPage, u"Save picture..."_s);
    EnterFile(folder.Path(u"missing/power.png"_s));
    EXPECT_THAT(BoxText(), HasSubstr("The picture could not be written to "));
    Answer(QMessageBox::Ok);
    const QString png = folder.Path(u"power.png"_s);
    Click(kPage, u"Save picture..."_s);
    EnterFile(png);
    EXPECT_TRUE(SpinUntil([&] { return !QImage(png).isNull(); }));
}

TEST(ChartView, ShowsARecordThatStandsAlone) {
    const WallTime day = ParseStamp("2026-03-10 00:00:00").value();
    const auto history = std::make_shared<DeviceHistory>();
    history->power.Add(day + 10 * kWallHour, {3000});
    ChartView view;
    view.resize(800, 400);
    view.show();
    view.SetSpan(day, day + kWallDay);
    const auto picture = [&view] {
        view.replot(QCustomPlot::rpImmediateRefresh);
        return view.grab().toImage();
    };
    view.Show(history);
    const QImage without = picture();
    ChartView::Choice choice;
    choice.channels[0] = true;
    view.Choose(choice);
    const QColor color = PaletteOn(view.palette().color(QPalette::Base)).channels[0];
    const QImage with = picture();
    const auto count = [color](const QImage& image) {
        int pixels = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                pixels += image.pixelColor(x, y) == color ? 1 : 0;
        return pixels;
    };
    EXPECT_EQ(count(without), 0);
    EXPECT_GT(count(with), 4);
}

}  // namespace
}  // namespace corvane
