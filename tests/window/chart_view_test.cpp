// What a chart draws: its lines, bars and names, to the pixel.
#include "window/past/chart_view.h"

#include <QTest>

#include <cmath>

#include "support/data_lines.h"
#include "window/parts/palette.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using enum Measure;
using enum CalendarUnit;

WallTime At(const char* time) {
    return ParseStamp(std::string("2026-03-") + time).value();
}

std::string DayAndTime(double time) {
    return StampText(std::llround(time)).substr(8, 8);
}

/// 600 pixels for ten hours, a minute each; the 10th is a Tuesday.
class ChartViewTest : public testing::Test {
protected:
    ChartViewTest() {
        view.axisRect()->setAutoMargins(QCP::msNone);
        view.axisRect()->setMargins({});
        view.setMinimumSize(1, 1);
        view.resize(600, 300);
        view.show();
        view.SetSpan(At("10 00:00"), At("10 10:00"));
        view.Show(history);
    }

    void Choose(Measure measure, CalendarUnit unit = Hour, bool withCh2 = false) {
        view.Choose({measure, unit, {true, withCh2}});
    }

    QCPGraph* Line(int channel) { return view.graph(2 + 2 * channel); }
    QCPGraph* Dots(int channel) { return view.graph(3 + 2 * channel); }
    QCPBars* Whole(int channel) { return view.findChildren<QCPBars*>().at(2 * channel); }
    QCPBars* Partly(int channel) { return view.findChildren<QCPBars*>().at(2 * channel + 1); }

    /// "10 02:30 600, " for each point.
    static std::string Drawn(const auto* plottable) {
        std::string all;
        for (const auto& point : *plottable->data())
            all += DayAndTime(point.mainKey()) + QString(u" %1, "_s).arg(point.mainValue()).toStdString();
        return all;
    }

    /// What is where those watts of that time are: "CH1", its pale band "ch1", both bands, or nothing.
    std::string Seen(const char* time, double watts) {
        view.replot(QCustomPlot::rpImmediateRefresh);
        const auto x = qFloor(view.xAxis->coordToPixel(static_cast<double>(At(time))));
        const QColor pixel = view.grab().toImage().pixelColor(x, qRound(view.yAxis->coordToPixel(watts)));
        const QColor none = view.palette().color(QPalette::Base);
        const auto& colors = PaletteOn(none).channels;
        const QColor ch1 = Mixed(none, colors[0], 0.3);
        const std::pair<const char*, QColor> known[] = {{"", none},
                                                        {"CH1", colors[0]},
                                                        {"half CH1", Mixed(none, colors[0], 0.5)},
                                                        {"ch1", ch1},
                                                        {"ch2", Mixed(none, colors[1], 0.3)},
                                                        {"CH2", colors[1]},
                                                        {"both", Mixed(ch1, colors[1], 0.3)}};
        for (const auto& [name, color] : known)
            if (std::abs(pixel.red() - color.red()) + std::abs(pixel.blue() - color.blue()) < 4) return name;
        return pixel.name().toStdString();
    }

    std::string Range() {
        const QCPRange range = view.yAxis->range();
        return QString(u"%1 to %2"_s).arg(range.lower).arg(range.upper).toStdString();
    }
    QCPItemText* Nothing() { return static_cast<QCPItemText*>(view.item(1)); }

    std::shared_ptr<DeviceHistory> history = std::make_shared<DeviceHistory>();
    ChartView view;
};

TEST_F(ChartViewTest, RecordsAreJoinedByALineAndDottedWhereItWouldBeTooShort) {
    for (const WallTime minute : {0, 3, 60, 62, 64, 120})
        history->power.Add(At("10 00:00") + minute * 60, {static_cast<float>(minute), -2});
    Choose(Power);
    EXPECT_EQ(Drawn(Line(0)),
              "10 00:00 0, 10 00:03 3, 10 00:03 nan, 10 01:00 60, 10 01:02 62, 10 01:04 64, "
              "10 01:04 nan, 10 02:00 120, ");
    EXPECT_EQ(Drawn(Dots(0)), "10 00:00 0, 10 00:03 3, 10 02:00 120, ") << "less than four pixels long";
    EXPECT_EQ(Range(), "0 to 127.2");
    EXPECT_EQ(view.yAxis->label(), u"W"_s);
    EXPECT_NE(Line(0)->brush(), Qt::NoBrush) << "filled, as it is alone";
    Choose(Power, Hour, true);
    EXPECT_EQ(Line(0)->brush(), Qt::NoBrush);
    EXPECT_EQ(Range(), "-9.32 to 127.32");
    EXPECT_EQ(Seen("10 02:00", 120) + Seen("10 02:00", -2), "CH1CH2");
    EXPECT_TRUE(Line(1)->visible() && Dots(1)->visible() && !Line(2)->visible() && !Whole(0)->visible());
    EXPECT_TRUE(view.yAxis->tickLabels() && view.yAxis->grid()->visible() && !Nothing()->visible());
    view.SetSpan(At("11 00:00"), At("12 00:00"));
    EXPECT_TRUE(Nothing()->visible() && !view.yAxis->tickLabels() && !view.yAxis->grid()->visible());
    EXPECT_EQ(Nothing()->text(), u"No records in this time"_s);
    view.Say(u"Reading..."_s);
    EXPECT_EQ(Nothing()->text(), u"Reading..."_s);
}

TEST_F(ChartViewTest, MoreRecordsThanPixelsAreDrawnAsBandsAndMeans) {
    // Two a pixel: 100 and 300 W, from 05:00 on 500 and 700 W, none from 06:00 to 07:00; CH2 150 W more.
    for (WallTime at = 0; at < 10 * kWallHour; at += 30) {
        const auto watts = static_cast<float>((at % 60 == 0 ? 100 : 300) + (at >= 5 * kWallHour ? 400 : 0));
        if (at / kWallHour != 6) history->power.Add(At("10 00:00") + at, {watts, 150 + watts});
    }
    for (const bool withCh2 : {false, true}) {
        Choose(Power, Hour, withCh2);
        EXPECT_EQ(Range() + Drawn(Line(0)) + Drawn(Dots(0)), withCh2 ? "0 to 901" : "0 to 742");
        for (const DataLine& line : LinesOf("Pixels"))
            EXPECT_EQ(Seen(line.Word(0).c_str(), line.Number(1)), line.Word(withCh2 ? 3 : 2)) << line;
    }
    Choose(Energy);
    EXPECT_EQ(Seen("10 02:00", 0.5), "");
}

TEST_F(ChartViewTest, ABarStandsInTheMiddleOfItsUnitAndIsPalerWhereItIsKnownInPart) {
    history->tariff.prices.fill(0.5);
    // An hour of 1 kWh that is known from 72 s on, one from 73 s on, and 2 kWh given back.
    for (const auto& [time, ch1, ch2] : {std::tuple("10 00:01:12", 100.0, 10.0),
                                         {"10 01:00:00", 101.0, 10.0},
                                         {"10 03:01:13", 101.0, 10.0},
                                         {"10 04:00:00", 102.0, 10.5},
                                         {"10 05:00:00", 100.0, 10.5}})
        history->energy.Add(At(time), {ch1, ch2}, true);
    Choose(Energy);
    EXPECT_EQ(Drawn(Whole(0)) + Drawn(Partly(0)), "10 00:30 1, 10 04:30 -2, 10 03:30 1, ");
    EXPECT_EQ(Range() + view.yAxis->label().toStdString(), "-2.18 to 1.18kWh");
    EXPECT_EQ(Seen("10 00:30", 0.5) + ", " + Seen("10 03:30", 0.5), "CH1, half CH1");
    EXPECT_TRUE(Whole(0)->visible() && Partly(0)->visible() && !Line(0)->visible() && !Whole(1)->visible());
    Choose(Cost, Hour, true);
    EXPECT_EQ(Drawn(Whole(0)) + Drawn(Partly(1)), "10 00:18 0.5, 10 04:18 -1, 10 03:42 0.25, ");
    EXPECT_EQ(view.yAxis->label(), u"cost"_s);
    EXPECT_FALSE(Nothing()->visible());
    QPalette dark;
    dark.setColor(QPalette::Base, Qt::black);
    view.setPalette(dark);
    EXPECT_EQ(Seen("10 00:18", 0.3) + Seen("10 02:18", 0.3), "CH1");
    view.setFont(QFont(u"Sans"_s, 20));
    EXPECT_EQ(view.xAxis->tickLabelFont(), view.font());
}

TEST_F(ChartViewTest, BarsAreAsWideAsTheirUnitAndNamedAsFarAsThereIsRoom) {
    view.resize(5 * QFontMetrics(view.font()).horizontalAdvance(u"00 MMM 00"_s), 300);
    for (const DataLine& line : LinesOf("Units")) {
        const auto unit = static_cast<CalendarUnit>(line.Number(0));
        view.SetSpan(ParseStamp(line.Word(1)).value(), ParseStamp(line.Word(2)).value());
        Choose(Energy, unit, true);
        std::string names;
        const auto ticks = view.xAxis->ticker().dynamicCast<QCPAxisTickerText>()->ticks();
        for (auto tick = ticks.begin(); tick != ticks.end(); ++tick)
            names += DayAndTime(tick.key()) + ' ' + tick.value().toStdString() + ", ";
        EXPECT_EQ(names, line.Word(4) + ", ") << line;
        EXPECT_EQ(BarName(unit, view.From(), false).toStdString(), line.Word(5));
        EXPECT_NEAR(Partly(1)->width(), line.Number(3) * kWallHour * 0.8 / 2 * 0.94, 0.01);
    }
    const std::tuple<int, WallTime, QString, int> spans[] = {{600, 3 * kWallDay, u"HH:mm\nd MMM"_s, 6},
                                                             {100, 3 * kWallDay + 9, u"ddd\nd MMM"_s, 2},
                                                             {2000, 60 * kWallDay, u"ddd\nd MMM"_s, 12},
                                                             {600, 60 * kWallDay + 99, u"MMM\nyyyy"_s, 6}};
    Choose(Power);
    for (const auto& [width, seconds, format, count] : spans) {
        view.resize(width, 300);
        view.SetSpan(At("10 00:00"), At("10 00:00") + seconds);
        const auto ticker = view.xAxis->ticker().dynamicCast<QCPAxisTickerDateTime>();
        EXPECT_EQ(ticker->dateTimeFormat(), format);
        EXPECT_EQ(ticker->tickCount(), count);
        EXPECT_EQ(ticker->dateTimeSpec(), Qt::UTC);
    }
}

TEST_F(ChartViewTest, ItIsMovedZoomedAndPointedAtByKeysAndMouse) {
    for (const WallTime minute : {240, 243, 246})
        history->power.Add(At("10 00:00") + minute * 60, {static_cast<float>(minute), 500});
    for (const auto& [time, kwh] : {std::pair("10 03:00", 3), {"10 04:00", 4}, {"10 05:00", 5}})
        history->energy.Add(At(time), {kwh * 1.0}, false);
    history->tariff.prices.fill(0.25);
    const auto mouse = [this](QEvent::Type type, QPointF at) {
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, at, button, Qt::LeftButton, {});
        QApplication::sendEvent(&view, &event);
    };
    const auto wheel = [this](int turned) {
        QWheelEvent event({300, 100}, {300, 100}, {}, {0, turned}, {}, {}, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&view, &event);
    };
    const auto told = [this] {
        const ChartView::Values values = view.PointedAt();
        const auto* crosshair = static_cast<QCPItemStraightLine*>(view.item(0));
        const QCPRange range = view.xAxis->range();
        return DayAndTime(range.lower) + " to " + DayAndTime(range.upper) + " | " +
               (crosshair->visible() ? DayAndTime(crosshair->point1->key()) : "") + " | " +
               (values.name + u": "_s + values.texts[0]).toStdString();
    };
    const std::string whole = " |  | Energy in this time: 2.00 kWh";
    for (const DataLine& line : LinesOf("Steps")) {
        const QStringList words = line.left.split(u' ');
        Choose(words[0] == u"Power" ? Power : words[0] == u"Energy" ? Energy : Cost);
        if (words.size() == 2) QTest::keySequence(&view, QKeySequence(words[1]));
        if (words.size() == 3) mouse(QEvent::MouseMove, {words[1].toDouble(), words[2].toDouble()});
        EXPECT_EQ(told(), line.right.toStdString()) << line;
    }
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&view, &leave);
    wheel(-120);
    EXPECT_EQ(told(), "09 22:45 to 10 11:15" + whole);
    wheel(120);
    mouse(QEvent::MouseButtonPress, {300, 100});
    mouse(QEvent::MouseMove, {330, 150});
    mouse(QEvent::MouseMove, {360, 200});
    EXPECT_EQ(told().substr(0, 20), "09 23:00 to 10 09:00");
    EXPECT_EQ(Range(), "0 to 1.06") << "heights are never moved";
    view.SetSpan(At("10 00:00"), At("10 00:00") + 100);
    EXPECT_EQ(view.xAxis->range().size(), 300);
    view.SetSpan(0, 60 * 366 * kWallDay);
    EXPECT_EQ(view.xAxis->range().size(), 25.0 * 366 * kWallDay);
}

TEST(ChartTexts, ValuesHaveTheirUnitAndNoMoreDigitsThanTheyDeserve) {
    const std::tuple<Measure, double, const char*> values[] = {
        {Power, 1234.5, "1,235 W"},      {Power, -0.4, "0 W"},
        {Energy, 99.99, "99.99 kWh"},    {Energy, 100, "100 kWh"},
        {Energy, -1234.4, "-1,234 kWh"}, {Cost, 100, "100.00"}};
    for (const auto& [measure, value, text] : values)
        EXPECT_EQ(ValueText(measure, value).toStdString(), text);
}

}  // namespace
}  // namespace corvane
