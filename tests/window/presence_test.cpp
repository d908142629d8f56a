// Whether a device is live, stale or off line is one verdict: window, command line and pages tell the same.
#include <QJsonArray>
#include <QLabel>
#include <QTableWidget>

#include <gmock/gmock.h>

#include "remote/command.h"
#include "support/chromium.h"
#include "support/packets.h"
#include "support/scripted_operator.h"
#include "window/parts/gauge.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::EndsWith;

class PresenceTest : public WindowTest {
protected:
    PresenceTest() { Preset(u"DevSerial"_s, u"301234"_s, u"0"_s); }
    ~PresenceTest() override { clock.EndWaits(); }  // an event of the pages may be waiting for its turn

    void SendTwoPackets() {
        for (int packet = 0; packet < 2; ++packet, seconds_ += 8)
            program_->measurement.DisplayData(0, PacketOf({.seconds = seconds_}));
    }

    /// The first line that a command says.
    std::string Said(const char* command) {
        ScriptedOperator op;
        QStringList none;
        const Command* found = FindCommand(QLatin1StringView(command), none);
        return QCoro::waitFor(found->run(*program_, {}, op)).lines.front().toStdString();
    }

    std::string LiveTab() {
        ShowPage(u"live"_s);
        for (const QLabel* label : window_->findChild<QWidget*>(u"live"_s)->findChildren<QLabel*>())
            for (const char* word : {"On line", "Stale", "Off line"})
                if (label->isVisible() && label->text().contains(QLatin1StringView(word))) return word;
        return "nothing";
    }

    std::string DevicesTab() {
        ShowPage(u"devices"_s);
        return Find<QTableWidget>(u"devices"_s, u"Devices"_s)
            ->item(0, 4)
            ->text()
            .split(u',')
            .first()
            .toStdString();
    }

    Presence DashboardTab() {
        ShowPage(u"dashboard"_s);
        return Find<Gauge>(u"dashboard"_s, u"A  CH1"_s)->Reading().presence;
    }

    std::uint32_t seconds_ = 5000;
};

TEST_F(PresenceTest, WindowCommandLineAndPagesTellTheSame) {
    Open(u"live"_s);
    SendTwoPackets();
    Chromium browser;
    browser.Open(program_->webServer.Location());
    ASSERT_TRUE(browser.Shows(u"document.getElementById('status')?.textContent === 'Live'"_s));
    const struct {
        std::int64_t silence;  ///< seconds since the step before
        Presence presence;
        const char* card;
        const char* row;
        const char* reading;
        const char* status;  ///< of the page
    } steps[] = {
        {31, Presence::Live, "On line", "on line", "AUX5 0 W 0.000 KWh", "Live"},
        {1, Presence::Stale, "Stale", "stale", "(stale)", "No news from Device A"},
        {87, Presence::Stale, "Stale", "stale", "(stale)", "No news from Device A"},
        {1, Presence::OffLine, "Off line", "off line", "(off line)", "No news from Device A"},
    };
    for (const auto& step : steps) {
        clock.AdvanceSeconds(step.silence);
        EXPECT_EQ(LiveTab(), step.card);
        EXPECT_EQ(DevicesTab(), step.row);
        EXPECT_EQ(DashboardTab(), step.presence) << step.row;
        EXPECT_THAT(Said("readings"), EndsWith(step.reading));
        EXPECT_THAT(Said("slots"), EndsWith(std::string(", ") + step.row));
        const QJsonObject device = program_->Readings()[u"devices"_s].toArray()[0].toObject();
        EXPECT_EQ(device[u"online"_s].toBool(), step.presence != Presence::OffLine) << step.row;
        EXPECT_EQ(device[u"stale"_s].toBool(), step.presence != Presence::Live) << step.row;
        EXPECT_TRUE(browser.Shows(
            u"document.getElementById('status').textContent === '%1'"_s.arg(QLatin1StringView(step.status))))
            << step.row;
        EXPECT_EQ(
            browser.Evaluate(u"document.querySelector('.device').classList.contains('stale')"_s).toBool(),
            step.presence != Presence::Live);
    }
    SendTwoPackets();
    EXPECT_EQ(LiveTab(), "On line");
    EXPECT_TRUE(browser.Shows(u"document.getElementById('status').textContent === 'Live'"_s));
    EXPECT_EQ(browser.faults, std::vector<std::string>());
}

}  // namespace
}  // namespace corvane
