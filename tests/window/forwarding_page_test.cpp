#include <QCheckBox>
#include <QGroupBox>
#include <QPlainTextEdit>

#include <gtest/gtest.h>

#include "app/made_up_output.h"
#include "support/loopback.h"
#include "support/packets.h"
#include "window/page.h"
#include "window/person.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kPage = u"forwarding"_s;

class ForwardingPageTest : public WindowTest {
protected:
    ForwardingPageTest() { Preset(u"DevSerial"_s, u"301234"_s, u"0"_s); }

    void Built(Program& program) override {
        if (withDisplay_) program.AddOutput(std::make_unique<MadeUpOutput>(program.settings));
    }

    /// Closes window and program, and starts both again.
    void Restart() {
        window_.reset();
        ScriptedOperator op;
        QCoro::waitFor(program_->Close(op));
        Open(kPage);
    }

    /// What the box of that title shows now.
    std::string Of(const QString& title) {
        window_->findChild<Page*>(kPage)->Refresh();
        for (const QGroupBox* box : window_->findChild<QWidget*>(kPage)->findChildren<QGroupBox*>())
            if (box->title() == title) return Seen(box);
        return {};
    }

    bool Says(const QString& part) {
        window_->findChild<Page*>(kPage)->Refresh();
        return Seen(window_->findChild<QWidget*>(kPage)).find(part.toStdString()) != std::string::npos;
    }

    void Switch(const QString& name) {
        QTest::mouseClick(Find<QCheckBox>(kPage, name), Qt::LeftButton, {}, QPoint(8, 8));
    }

    QString Log(const QString& name) { return Find<QPlainTextEdit>(kPage, name)->toPlainText(); }

    /// Takes the next request that comes to `server`, and answers it.
    QByteArray Serve(QTcpServer& server, const QByteArray& answer) {
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            return server.hasPendingConnections();
        }));
        QTcpSocket* peer = server.nextPendingConnection();
        QByteArray request;
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            request += peer->readAll();
            return request.contains("\r\n\r\n");
        }));
        peer->write(answer);
        peer->disconnectFromHost();
        return request;
    }

    bool withDisplay_ = false;
};

TEST_F(ForwardingPageTest, TheRequestsOfTheGetUploadAreShownAndTheInternetIsLookedFor) {
    Open(kPage);
    QTcpServer web;
    ASSERT_TRUE(web.listen(QHostAddress::LocalHost));
    const QString host = u"127.0.0.1:%1"_s.arg(web.serverPort());
    EXPECT_EQ(Find<QLineEdit>(kPage, u"Web server"_s)->placeholderText(), u"HOST or HOST:PORT"_s);
    Enter(kPage, u"Web server"_s, host);
    Enter(kPage, u"Path"_s, u"/in"_s);
    Switch(u"Send a request for every packet"_s);
    program_->measurement.DisplayData(kStreamTcpA, PacketOf({.serialNumber = 1234, .seconds = 7}));
    EXPECT_EQ(Of(u"GET requests"_s).find("waiting Connecting") == std::string::npos,
              Of(u"GET requests"_s).find("waiting Resolving Host") != std::string::npos);
    EXPECT_TRUE(Serve(web, "HTTP/1.0 200 OK\r\n\r\n").startsWith("GET /in?v="));
    EXPECT_TRUE(Log(u"Requests"_s).startsWith(u"GET /in?v="_s)) << Log(u"Requests"_s).toStdString();

    ASSERT_TRUE(program_->userSettings.Apply(u"InternetCheckUrl"_s, u"http://%1/"_s.arg(host)));
    for (const auto& [answer, told] :
         {std::pair("HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n", "The internet can be reached."),
          std::pair("HTTP/1.0 404 Gone\r\nContent-Length: 0\r\n\r\n", "The internet cannot be reached.")}) {
        Click(kPage, u"Check the internet"_s);
        EXPECT_FALSE(Find<QAbstractButton>(kPage, u"Send now"_s)->isEnabled()) << "one thing at a time";
        Through({{"Checking connection........"}});
        Serve(web, answer);
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            return Box() != nullptr;
        }));
        Through({{told}});
    }
}

TEST_F(ForwardingPageTest, TheFeedIsSentOnceItCanBeAndItsKeyIsNeverShown) {
    const QString key = u"5ec2e7f00d"_s;
    Open(kPage);
    QTcpServer service;
    ASSERT_TRUE(service.listen(QHostAddress::LocalHost));
    ASSERT_TRUE(
        program_->userSettings.Apply(u"PacHost"_s, u"http://127.0.0.1:%1"_s.arg(service.serverPort())));
    EXPECT_TRUE(Says(u"No key is kept."_s));
    Enter(kPage, u"API key"_s, key);
    EXPECT_TRUE(Says(u"A key is kept."_s));
    Switch(u"Send to the feed"_s);
    Through({{"Cannot enable. The KEY, FEED or TITLE is not valid."}});
    EXPECT_FALSE(Find<QCheckBox>(kPage, u"Send to the feed"_s)->isChecked());
    Click(kPage, u"Send now"_s);
    Through({{"Cannot send. The KEY, FEED or TITLE is not valid."}});

    Enter(kPage, u"Feed number"_s, u"504"_s);
    Enter(kPage, u"Title"_s, u"Home"_s);
    Switch(u"Send to the feed"_s);
    EXPECT_TRUE(Says(u"on Up"_s));
    Click(kPage, u"Send now"_s);
    EXPECT_TRUE(Says(u"waiting Connecting"_s));
    EXPECT_TRUE(Serve(service, "HTTP/1.1 401 No\r\nContent-Length: 3\r\n\r\nbad")
                    .contains("/504.xml?key=" + key.toLatin1()));
    EXPECT_TRUE(SpinUntil([&] {
        clock.Advance(1);
        return Box() != nullptr;
    }));
    Through({{"401 - bad"}});
    EXPECT_EQ(Log(u"Results"_s), u"401 - bad"_s);
    EXPECT_TRUE(Says(u"fault Waiting to try again"_s));

    Restart();
    EXPECT_TRUE(Says(u"A key is kept."_s));
    const QWidget* page = window_->findChild<QWidget*>(kPage);
    for (const QWidget* widget : page->findChildren<QWidget*>()) {
        for (const char* const shown : {"text", "plainText", "placeholderText", "toolTip", "accessibleName"})
            EXPECT_FALSE(widget->property(shown).toString().contains(key)) << shown;
    }
}

TEST_F(ForwardingPageTest, AnOutputThatIsOnTheListHasItsBox) {
    withDisplay_ = true;
    Open(kPage);
    EXPECT_TRUE(Says(u"fault Refused"_s));
    Switch(u"Show on the wall"_s);
    EXPECT_TRUE(program_->settings.IsOn(kDisplayEnable));
    EXPECT_EQ(Find<QLineEdit>(kPage, u"Brightness"_s)->text(), u"3"_s);
    Enter(kPage, u"Brightness"_s, u"10"_s);
    Through({{"WallDisplayBrightness is a whole number from 1 to 9."}});
    Enter(kPage, u"PIN"_s, u"4711"_s);
    EXPECT_EQ(program_->settings.Value(kDisplayPin), u"4711"_s);
    EXPECT_EQ(Find<QLineEdit>(kPage, u"PIN"_s)->text(), QString());
    Click(kPage, u"Flash it"_s);
    Through({{"It flashed."}});
    EXPECT_TRUE(Log(u"Flashes"_s).startsWith(u"on"_s));
}

}  // namespace
}  // namespace corvane
