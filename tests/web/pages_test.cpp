// The pages in a real browser: every text and figure that they make of given packets and records.
#include "store/rows.h"
#include "support/chromium.h"
#include "web/web_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Plays `pages_test.txt`, a line of which is what happens, and what a page then shows.
class PagesTest : public WebTest, public testing::WithParamInterface<const char*> {
protected:
    PagesTest() : program_(Start()) {
        browser_.Command("Page.addScriptToEvaluateOnNewDocument",
                         {{"source", QString::fromUtf8(FileText("page_probe.js"))}});
        browser_.Command("Emulation.setTimezoneOverride",
                         {{"timezoneId", u"Pacific/Kiritimati"_s}});  // +14 h
        browser_.SetScreen(1200, 800);
    }
    ~PagesTest() override { clock.EndWaits(); }

    void Play(const char* title) {
        const QString text = QString::fromUtf8(FileText("pages_test.txt"));
        const qsizetype start = text.indexOf(u"\n== %1\n"_s.arg(QLatin1StringView(title)));
        ASSERT_GE(start, 0);
        const QStringList lines =
            text.mid(start + 4).section(u"\n== "_s, 0, 0).split(u'\n', Qt::SkipEmptyParts);
        for (const QString& line : lines.mid(1)) {
            QStringList actions = line.section(u" == "_s, 0, 0).split(u" ; "_s);
            const QString asked = line.contains(u" == "_s) ? actions.takeLast() : QString();
            for (const QString& action : actions)
                Do(action.section(u' ', 0, 0), action.section(u' ', 1));
            if (!asked.isEmpty()) Expect(asked, line.section(u" == "_s, 1), line);
            if (HasFailure()) return;  // what follows would fail, too, and slowly
        }
        EXPECT_EQ(browser_.faults, std::vector<std::string>());
    }

private:
    static QByteArray FileText(const char* name) {
        QFile file(QStringLiteral(CORVANE_PAGES) + u'/' + QLatin1StringView(name));
        EXPECT_TRUE(file.open(QFile::ReadOnly)) << name;
        return file.readAll();
    }

    void Do(const QString& verb, const QString& what) {
        const QStringList words = what.split(u' ');
        if (verb == u"open") browser_.Open(program_.webServer.Location() + what);
        if (verb == u"js") (void)browser_.Evaluate(what);
        if (verb == u"set") KeepByKey(program_.settings, words[1], words[2], words[0]);
        if (verb == u"sql") Execute(program_.database.databasePath(), what.toStdString());
        if (verb == u"a" || verb == u"b") Run(verb == u"a" ? a_ : b_, words);
        if (verb == u"wait") clock.AdvanceSeconds(what.toInt());
        if (verb == u"jump") clock.Jump(what.toInt());
        if (verb == u"five") b_.model = Model::FiveChannel;
        if (verb == u"wide") browser_.SetScreen(what.toInt(), 800);
        if (verb == u"dark")
            browser_.Command("Emulation.setEmulatedMedia", {{"features", QJsonArray{kDark}}});
        if (verb == u"forgive") browser_.faults.clear();
        if (verb == u"crowd") crowd_.resize(what.toUInt());
        for (auto& each : crowd_)
            each = each == nullptr ? program_.liveEvents.Join([] {}) : each;
    }

    /// Lets the monitor run for 8 s and sends its packet. In W: CH1, what of it flows back, CH2, what of that
    /// does, AUX1.
    void Run(MonitorState& monitor, const QStringList& watts) {
        std::uint64_t* const counters[] = {&monitor.ch1Absolute, &monitor.ch1Polarized, &monitor.ch2Absolute,
                                           &monitor.ch2Polarized};
        monitor.seconds += 8;
        for (int i = 0; i < 4; ++i)
            *counters[i] += watts.value(i).toUInt() * 8ULL;
        monitor.aux[0] += watts.value(4).toUInt() * 8;
        program_.measurement.DisplayData(0, PacketOf(monitor));
        clock.Advance(LiveEvents::kLeastSpacing);
    }

    /// Waits until what is asked, the text of an expression or of an "@element", is as expected.
    void Expect(const QString& asked, const QString& expected, const QString& line) {
        const QString expression =
            asked.startsWith(u'@') ? u"shown('%1')"_s.arg(asked.mid(1)) : u"String(%1)"_s.arg(asked);
        QString found;
        if (SpinUntil([&] { return (found = browser_.Evaluate(expression).toString()) == expected; })) return;
        EXPECT_EQ(found.toStdString(), expected.toStdString()) << line.toStdString();
    }

    static inline const QJsonObject kDark{{u"name"_s, u"prefers-color-scheme"_s}, {u"value"_s, u"dark"_s}};

    Program& program_;
    Chromium browser_;
    std::vector<std::shared_ptr<EventStream>> crowd_;
    MonitorState a_{.ch1Absolute = 4'444'600'000,
                    .ch2Absolute = 720'000'000,
                    .ch1Polarized = 1'800'000'000,
                    .ch2Polarized = 36'000'000,
                    .ch1Hundredths = 1050,
                    .seconds = 1000};
    MonitorState b_{.model = Model::TwoChannel,
                    .voltTenths = 2301,
                    .ch1Absolute = 360'000,
                    .serialNumber = 1235,
                    .seconds = 50};
};

TEST_P(PagesTest, ShowWhatHappened) {
    Play(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Web, PagesTest,
                         testing::Values("Dashboard", "NetMetering", "Flow", "Silence", "Connection",
                                         "Charts", "ChartsByAddress"),
                         [](const auto& title) { return std::string(title.param); });

}  // namespace
}  // namespace corvane
