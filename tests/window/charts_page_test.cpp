#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFile>
#include <QLabel>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "store/schema.h"
#include "window/parts/palette.h"
#include "window/past/chart_view.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kPage = u"charts"_s;

class ChartsTest : public WindowTest {
protected:
    /// The window over minute records of 2026-03-10: 600 W from 00:00 to 05:59, then nothing until 18:00.
    /// Another device has one record, of that noon.
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
        Execute(path,
                "INSERT INTO monitordata_hourly(date, deviceaddress) VALUES ('2026-03-10 11:00:00', 399999)");
        Execute(path,
                "INSERT INTO monitordata_minute(date, deviceaddress, ch2watt) VALUES ('2026-03-10 12:00:00', "
                "399999, 50)");
        Look();
    }

    /// Brings the page to the front, and that day into the chart once the devices are there.
    void Look() {
        ShowPage(kPage);
        ASSERT_TRUE(SpinUntil([this] {
            Q_EMIT clock.SecondPassed();
            return Find<QComboBox>(kPage, u"Device"_s)->count() == 2;
        }));
        Day(u"Last day"_s)->setDate(QDate(2026, 3, 10));
        Day(u"First day"_s)->setDate(QDate(2026, 3, 10));
        ASSERT_TRUE(SpinUntil([this] { return Value(u"CH1  Panel"_s) != u"\u2013"_s; })) << "never read";
    }

    QDateEdit* Day(const QString& name) { return Find<QDateEdit>(kPage, name); }
    ChartView* View() { return Find<ChartView>(kPage, u"Chart"_s); }
    /// Where the curves would be.
    QString Said() {
        for (int item = 0; item < View()->itemCount(); ++item)
            if (const auto* text = qobject_cast<QCPItemText*>(View()->item(item))) return text->text();
        return {};
    }
    QComboBox* Bars() { return Find<QComboBox>(kPage, u"Bars"_s); }
    std::string Label(const QString& name) { return Find<QLabel>(kPage, name)->text().toStdString(); }

    /// What stands beside a channel.
    QString Value(const QString& channel) { return Find<QLabel>(kPage, u"Value of "_s + channel)->text(); }
    void PointAt(const char* stamp) {
        const auto x = View()->xAxis->coordToPixel(static_cast<double>(ParseStamp(stamp).value()));
        QMouseEvent move(QEvent::MouseMove, QPointF(x, 100), QPointF(x, 100), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(View(), &move);
    }

    /// Which of the buttons are down, each with a blank behind it.
    std::string Down(std::initializer_list<const char*> buttons) {
        std::string down;
        for (const char* button : buttons)
            if (Find<QAbstractButton>(kPage, QLatin1StringView(button))->isChecked()) (down += button) += ' ';
        return down;
    }

    /// Saves what is shown; the first lines of the file.
    std::string SavedCsv(const char* told) {
        const QString csv = folder.Path(u"chart%1.csv"_s.arg(++saved_));
        Click(kPage, u"Save CSV..."_s);
        EnterFile(csv);
        EXPECT_EQ(BoxText(), told + (u" rows were written to "_s + csv).toStdString());
        Answer(QMessageBox::Ok);
        QFile file(csv);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray first = file.readLine();
        return (first + file.readLine()).toStdString();
    }

private:
    int saved_ = 0;
};

TEST_F(ChartsTest, WhatIsMeasuredIsShownWhereThePointerIs) {
    const std::string gaps =
        "16.41 kWh belong to gaps that reach from one hour into another; they are in none.";
    const std::string paler = "Paler bars are known in part only.";
    const struct {
        QString measure;
        QString bars;
        const char* at;
        QString value;
        std::string note;
    } rows[] = {{u"Power"_s, u"per day"_s, "2026-03-10 03:00:20", u"600 W"_s, gaps},
                {u"Power"_s, u"per day"_s, "2026-03-10 12:00:00", u"\u2013"_s, gaps},
                {u"Energy"_s, u"per hour"_s, "2026-03-10 03:30:00", u"0.60 kWh"_s, gaps + ' ' + paler},
                {u"Energy"_s, u"per day"_s, "2026-03-10 03:30:00", u"23.59 kWh"_s, paler},
                {u"Cost"_s, u"per hour"_s, "2026-03-10 03:30:00", u"0.08"_s, gaps + ' ' + paler}};
    EXPECT_EQ(Label(u"Values of"_s), "Energy in this time");
    EXPECT_EQ(Value(u"CH1  Panel"_s), u"7.18 kWh"_s);
    for (const auto& row : rows) {
        Click(kPage, row.measure);
        Bars()->setCurrentText(row.bars);
        PointAt(row.at);
        EXPECT_EQ(Value(u"CH1  Panel"_s), row.value) << row.at;
        EXPECT_EQ(Label(u"Notes"_s), row.note);
        EXPECT_EQ(Bars()->isEnabled(), row.measure != u"Power"_s);
    }
    Click(kPage, u"Power"_s);
    Find<QCheckBox>(kPage, u"CH1  Panel"_s)->click();
    EXPECT_FALSE(Find<QLabel>(kPage, u"Notes"_s)->isVisible()) << "CH2 has no gaps";
}

TEST_F(ChartsTest, PeriodsOfTheCalendarAreStepsThroughIt) {
    const auto enter = [this](QDate first, QDate last) {
        Day(u"First day"_s)->setDate(first);
        Day(u"Last day"_s)->setDate(last);
    };
    const struct {
        QString button;
        const char* shown;
        const char* down;
        QString bars;  ///< that go with it
    } steps[] = {{u"Earlier"_s, "2025-12-28 to 2025-12-31", "", u"per hour"_s},
                 {u"Later"_s, "2026-01-01 to 2026-01-04", "", u"per hour"_s},
                 {u"Day"_s, "2026-01-04 to 2026-01-04", "Day ", u"per hour"_s},
                 {u"Later"_s, "2026-01-05 to 2026-01-05", "Day ", u"per hour"_s},
                 {u"Earlier"_s, "2026-01-04 to 2026-01-04", "Day ", u"per hour"_s},
                 {u"Week"_s, "2025-12-29 to 2026-01-04", "Week ", u"per day"_s},
                 {u"Later"_s, "2026-01-05 to 2026-01-11", "Week ", u"per day"_s},
                 {u"Year"_s, "2026-01-01 to 2026-12-31", "Year ", u"per month"_s},
                 {u"Earlier"_s, "2025-01-01 to 2025-12-31", "Year ", u"per month"_s},
                 {u"Month"_s, "2025-12-01 to 2025-12-31", "Month ", u"per day"_s},
                 {u"Later"_s, "2026-01-01 to 2026-01-31", "Month ", u"per day"_s}};
    enter(QDate(2026, 1, 1), QDate(2026, 1, 4));
    for (const auto& step : steps) {
        Click(kPage, step.button);
        EXPECT_EQ(
            StampText(View()->From()).substr(0, 10) + " to " + StampText(View()->To() - 1).substr(0, 10),
            step.shown);
        EXPECT_EQ((Day(u"First day"_s)->text() + u" to "_s + Day(u"Last day"_s)->text()).toStdString(),
                  step.shown);
        EXPECT_EQ(Down({"Day", "Week", "Month", "Year"}), step.down) << step.shown;
        EXPECT_EQ(Bars()->currentText(), step.bars) << step.shown;
    }
    EXPECT_EQ(KeptByKey(program_->settings, u"ChartPeriod"_s), u"2"_s);
    Day(u"First day"_s)->setDate(QDate(2026, 2, 1));
    EXPECT_EQ(StampText(View()->From()), "2026-01-01 00:00:00") << "the last day is before it";

    const QDate today = QDate::currentDate();
    for (const QString& button : {u"Day"_s, u"Today"_s}) {
        enter(today.addDays(-3), today.addDays(400));
        Click(kPage, button);
        EXPECT_TRUE(Day(u"First day"_s)->date() == today ||
                    Day(u"First day"_s)->date() == QDate::currentDate());
        EXPECT_EQ(Day(u"First day"_s)->date(), Day(u"Last day"_s)->date());
    }
}

TEST_F(ChartsTest, ChoicesAreKept) {
    EXPECT_EQ(Down({"Power", "Energy", "Cost"}), "Power ");
    EXPECT_EQ(Down({"CH1  Panel", "CH2", "AUX1", "AUX2", "AUX3", "AUX4", "AUX5"}), "CH1  Panel CH2 ");
    auto* device = Find<QComboBox>(kPage, u"Device"_s);
    EXPECT_EQ(device->currentText(), u"Device A (300001)"_s);
    device->setCurrentText(u"399999"_s);
    PointAt("2026-03-10 12:00:00");
    EXPECT_TRUE(SpinUntil([this] { return Value(u"CH2"_s) == u"50 W"_s; }));
    Click(kPage, u"Cost"_s);
    Click(kPage, u"Week"_s);
    Bars()->setCurrentText(u"per year"_s);
    for (const auto& channel : {u"CH1"_s, u"AUX5"_s})
        Find<QCheckBox>(kPage, channel)->click();
    const std::pair<QString, QString> kept[] = {{u"ChartDevice"_s, u"399999"_s},
                                                {u"ChartMeasure"_s, u"2"_s},
                                                {u"ChartPeriod"_s, u"1"_s},
                                                {u"ChartBars"_s, u"4"_s},
                                                {u"ChartChannels"_s, u"0100001"_s}};
    for (const auto& [key, value] : kept)
        EXPECT_EQ(KeptByKey(program_->settings, key), value) << key.toStdString();

    window_.reset();
    Open(kPage);
    EXPECT_TRUE(SpinUntil([&] {
        Q_EMIT clock.SecondPassed();
        return Find<QComboBox>(kPage, u"Device"_s)->currentText() == u"399999"_s;
    }));
    EXPECT_EQ(Down({"Power", "Energy", "Cost", "Day", "Week", "Month", "Year"}), "Cost Week ");
    EXPECT_EQ(Down({"CH1", "CH2", "AUX1", "AUX2", "AUX3", "AUX4", "AUX5"}), "CH2 AUX5 ");
    EXPECT_EQ(Bars()->currentText(), u"per year"_s);
    EXPECT_TRUE(Bars()->isEnabled());
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

    ShowPage(u"log"_s);
    ASSERT_TRUE(SpinUntil([this] { return program_->database.Run("DROP TABLE monitordata_hourly").Ok(); }));
    ShowPage(kPage);
    EXPECT_TRUE(SpinUntil([&] {
        Q_EMIT clock.SecondPassed();
        return Said() == u"Reading failed: no such table: monitordata_hourly"_s;
    })) << Said().toStdString();
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
        "300002, ch1kwh = ch1kwh * 2 WHERE deviceaddress = 300001");
    const auto* device = Find<QComboBox>(kPage, u"Device"_s);
    Q_EMIT program_->databaseFiles.Adopted();
    EXPECT_EQ(device->count(), 0);
    EXPECT_EQ(Value(u"CH1"_s), u"\u2013"_s);
    EXPECT_TRUE(SpinUntil([&] {
        Q_EMIT clock.SecondPassed();
        return device->currentText() == u"Device A (300002)"_s && Value(u"CH1  Panel"_s) == u"16.36 kWh"_s;
    })) << Value(u"CH1  Panel"_s).toStdString();
}

TEST_F(ChartsTest, ALockIsWaitedForAndTheDevicesOfTheFileOfBeforeDoNotStay) {
    const std::string old = program_->database.databasePath();
    const std::string next = folder.Path(u"next.db3"_s).toStdString();
    ASSERT_TRUE(CreateTables(next));
    Execute(next, "UPDATE applicationinfo SET deviceaddress = 300002");
    const auto isRead = [this](const QString& device) {
        Q_EMIT clock.SecondPassed();
        return Find<QComboBox>(kPage, u"Device"_s)->currentText() == device;
    };
    const auto other = CaptureDatabase::OpenFile(old, false);
    for (const bool changes : {false, true}) {
        ASSERT_TRUE(SpinUntil([&] { return other.GetTable("BEGIN EXCLUSIVE").Ok(); }));
        Q_EMIT program_->databaseFiles.Adopted();
        EXPECT_TRUE(SpinUntil([&] {
            Q_EMIT clock.SecondPassed();
            return Said() == kHeldText;
        })) << Said().toStdString();
        if (changes) {
            program_->database.UseFile(next);
            Q_EMIT program_->databaseFiles.Adopted();
        }
        ASSERT_TRUE(other.GetTable("COMMIT").Ok());
        EXPECT_TRUE(
            SpinUntil([&] { return isRead(changes ? u"Device A (300002)"_s : u"Device A (300001)"_s); }));
    }
}

TEST_F(ChartsTest, WhatIsShownIsSavedAsCsvAndAsAPicture) {
    EXPECT_EQ(SavedCsv("720"), "time,CH1  Panel W,CH2 W\r\n2026-03-10 00:00:00,600,\r\n");
    Find<QCheckBox>(kPage, u"CH2"_s)->click();
    Click(kPage, u"Cost"_s);
    EXPECT_THAT(
        SavedCsv("12"),
        testing::StartsWith("from,to,seconds known,CH1  Panel kWh,CH1  Panel cost\r\n2026-03-10 00:00:00,"));
    Click(kPage, u"Save picture..."_s);
    EnterFile(folder.Path(u"missing/power.png"_s));
    EXPECT_EQ(
        BoxText(),
        (u"The picture could not be written to "_s + folder.Path(u"missing/power.png"_s)).toStdString());
    Answer(QMessageBox::Ok);
    const QString png = folder.Path(u"power.png"_s);
    Click(kPage, u"Save picture..."_s);
    EnterFile(png);
    EXPECT_TRUE(SpinUntil([&] { return QImage(png).size() == View()->size() * 2; }));
}

}  // namespace
}  // namespace corvane
