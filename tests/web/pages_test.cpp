// The pages in a real browser: every text and figure that they make of given packets and records.
#include "store/rows.h"
#include "support/chromium.h"
#include "support/data_lines.h"
#include "web/web_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Plays `pages_test.txt`, a line of which is what happens, and what a page then shows.
class PagesTest : public WebTest, public testing::WithParamInterface<DataSection> {
protected:
    PagesTest() : program_(Start()) {
        QFile probe(Beside(u"page_probe.js"_s));
        EXPECT_TRUE(probe.open(QFile::ReadOnly));
        browser_.Command("Page.addScriptToEvaluateOnNewDocument",
                         {{"source", QString::fromUtf8(probe.readAll())}});
        browser_.Command("Emulation.setTimezoneOverride",
                         {{"timezoneId", u"Pacific/Kiritimati"_s}});  // +14 h
        browser_.SetScreen(1200, 800);
    }
    ~PagesTest() override { clock.EndWaits(); }

    void Play(const std::vector<DataLine>& lines) {
        for (const DataLine& line : lines) {
            QStringList actions = line.left.split(u" ; "_s);
            const QString asked = line.expects ? actions.takeLast() : QString();
            for (const QString& action : actions)
                Do(action.section(u' ', 0, 0), action.section(u' ', 1));
            if (!asked.isEmpty()) Expect(asked, line.right, line.place);
            if (HasFailure()) return;  // what follows would fail, too, and slowly
        }
        EXPECT_EQ(browser_.faults, std::vector<std::string>());
        const std::string own = program_.webServer.Location().toStdString();
        for (const std::string& request :
             browser_.requests)  // the browser's pictures are data, and ask nobody
            EXPECT_TRUE(request.starts_with(own) || request.starts_with("data:")) << request;
    }

private:
    void Do(const QString& verb, const QString& what) {
        const QStringList words = what.split(u' ');
        if (verb == u"open") return browser_.Open(program_.webServer.Location() + what);
        if (verb == u"js") return (void)browser_.Evaluate(what);
        if (verb == u"set") return KeepByKey(program_.settings, words[1], words[2], words[0]);
        if (verb == u"sql") return Execute(program_.database.databasePath(), what.toStdString());
        if (verb == u"a" || verb == u"b") return Run(verb == u"a" ? a_ : b_, words);
        if (verb == u"wait") return clock.AdvanceSeconds(what.toInt());
        if (verb == u"jump") return clock.Jump(what.toInt());
        if (verb == u"sleep") return clock.Sleep(what.toInt());
        if (verb == u"restart") return (void)(a_.seconds = 0, a_.aux[0] = 0);
        if (verb == u"five") return (void)(b_.model = Model::FiveChannel);
        if (verb == u"wide") return browser_.SetScreen(what.toInt(), 800);
        if (verb == u"dark")
            return (void)browser_.Command("Emulation.setEmulatedMedia", {{"features", QJsonArray{kDark}}});
        if (verb == u"forgive") return browser_.faults.clear();
        if (verb == u"crowd") return Crowd(what.toUInt());
        ADD_FAILURE() << "no verb " << verb.toStdString();
    }

    /// So many others listen, too.
    void Crowd(std::size_t count) {
        crowd_.resize(count);
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
    void Expect(const QString& asked, const QString& expected, const std::string& place) {
        const QString expression =
            asked.startsWith(u'@') ? u"shown('%1')"_s.arg(asked.mid(1)) : u"String(%1)"_s.arg(asked);
        QString found;
        if (SpinUntil([&] { return (found = browser_.Evaluate(expression).toString()) == expected; })) return;
        EXPECT_EQ(found.toStdString(), expected.toStdString()) << place;
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
    Play(GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(Web, PagesTest, testing::ValuesIn(SectionsOf()),
                         [](const auto& section) { return section.param.title; });

}  // namespace
}  // namespace corvane
