// The pages in a real browser, served by the real service, while a simulated monitor sends, stops and comes
// back.
#include <memory>

#include "support/chromium.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kStatus = u"document.getElementById('status')?.textContent"_s;
const QString kFirstGauge = u"document.querySelector('.gauge')?.getAttribute('aria-label')"_s;
const QString kFits = u"document.documentElement.scrollWidth <= innerWidth"_s;

class Pages : public testing::Test {
protected:
    Pages() {
        house_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        house_.Preset(u"NETmeter"_s, u"True"_s);
        house_.Preset(u"cbo120_0"_s, u"A:CH1"_s);
        house_.Preset(u"cbo121_0"_s, u"A:CH2"_s);
        const std::pair<QString, QString> pulses[] = {
            {u"EnablePulseCnt"_s, u"True"_s}, {u"PulseSource"_s, u"AUX1"_s}, {u"FlowType"_s, u"2"_s}};
        for (const auto& [key, value] : pulses)
            house_.Preset(key, value, u"1"_s);
    }

    void StartService() {
        service_.reset();
        service_ = std::make_unique<Started>(u"corvaned"_s, house_.Arguments());
        ASSERT_TRUE(service_->Says(u"TCP Server B listens"_s)) << service_->Output().toStdString();
    }

    void StartMonitor() {
        const QStringList arguments = {
            u"--serial"_s,   u"301234"_s, u"--connect"_s,  u"127.0.0.1:%1"_s.arg(house_.portA),
            u"--interval"_s, u"1"_s,      u"--scenario"_s, u"solar-day"_s};
        monitor_ = std::make_unique<Started>(u"corvane-sim"_s, arguments);
    }

    void Open(const char* path) { browser_.Open(At(path)); }
    [[nodiscard]] QString At(const char* path) const {
        return u"http://127.0.0.1:%1%2"_s.arg(house_.webPort).arg(QLatin1StringView(path));
    }
    [[nodiscard]] std::string Status() { return browser_.Evaluate(kStatus).toString().toStdString(); }

    ServiceFolder house_;
    std::unique_ptr<Started> service_;
    std::unique_ptr<Started> monitor_;
    Chromium browser_;
};

TEST_F(Pages, ShowWhatIsSentAndSayWhenNothingIs) {
    StartService();
    StartMonitor();
    for (const int width : {360, 3840}) {
        browser_.SetScreen(width, 800);
        for (const char* path : {"/", "/net.html", "/flow_gpm.html", "/flow_lph.html", "/charts.html"}) {
            Open(path);
            EXPECT_TRUE(browser_.Shows(kStatus + u" === 'Live'"_s)) << path << ": " << Status();
            EXPECT_TRUE(browser_.Evaluate(kFits).toBool()) << path << " is wider than " << width;
        }
    }

    Open("/");
    ASSERT_TRUE(browser_.Shows(kStatus + u" === 'Live'"_s));
    const QString before = browser_.Evaluate(kFirstGauge).toString();
    EXPECT_TRUE(browser_.Shows(u"%1 !== '%2'"_s.arg(kFirstGauge, before))) << before.toStdString();

    monitor_.reset();
    service_->Terminate();
    EXPECT_EQ(service_->ExitCode(), 0) << service_->Output().toStdString();
    EXPECT_TRUE(browser_.Shows(kStatus + u" === 'Connection lost - trying again'"_s)) << Status();
    StartService();
    StartMonitor();
    EXPECT_TRUE(browser_.Shows(kStatus + u" === 'Live'"_s)) << Status();

    EXPECT_EQ(browser_.faults, std::vector<std::string>());
    EXPECT_GT(browser_.requests.size(), 40U);
    for (const std::string& request :
         browser_.requests)  // the browser's own pictures are data, and ask nobody
        EXPECT_TRUE(request.starts_with(At("/").toStdString()) || request.starts_with("data:")) << request;
}

}  // namespace
}  // namespace corvane
