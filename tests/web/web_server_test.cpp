// The server of the pages as a browser meets it, and as those do who mean it harm.
#include <QJsonArray>

#include <memory>

#include "support/data_lines.h"
#include "support/settings_by_key.h"
#include "web/live_xml.h"
#include "web/web_fixture.h"
#include "web/wrong_tokens.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class WebServerTest : public WebTest {
protected:
    void Set(Program& program, const char* key, const QString& value) {
        const Outcome applied = program.userSettings.Apply(QString::fromLatin1(key), value);
        ASSERT_TRUE(applied) << applied.Error().toStdString();
    }
};

TEST_F(WebServerTest, EveryRequestGetsWhatIsDueToIt) {
    const Program& program = Start();
    const auto filled = [](const QString& text) {
        return text.toUtf8()
            .replace("{host}", " HTTP/1.1| Host: 127.0.0.1| Connection: close")
            .replace("{flood}", QByteArray(100'000, 'x'))
            .replace("{path}", QByteArray(7000, 'x'))
            .replace("{noise}", QByteArray(10'000, '\xff'))
            .replace("{control}", "\1\2\3")
            .replace("| ", "\r\n");
    };
    for (const DataLine& line : LinesOf("Requests")) {
        SCOPED_TRACE(line.place);
        const QByteArray request = filled(line.left) + "\r\n\r\n";
        const HttpReply reply = Exchange(request);
        const int status = line.right.section(u' ', 0, 0).toInt();
        const QByteArray type = line.right.section(u' ', 1, 1).toUtf8();
        if (status == 0) {
            EXPECT_TRUE(reply.status == 0 || reply.status >= 400);
            continue;
        }
        EXPECT_EQ(reply.status, status) << reply.head.toStdString();
        EXPECT_TRUE(reply.body.contains(line.right.section(u' ', 2).toUtf8())) << reply.body.toStdString();
        if (type.isEmpty()) continue;  // refused by the library, in its own words
        EXPECT_TRUE(reply.head.contains("Content-Type: " + type));
        static constexpr const char* kPolicy =
            "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
            "img-src 'self'; connect-src 'self'; base-uri 'none'; form-action 'none'; "
            "frame-ancestors 'none'";
        for (const QByteArray header :
             {kPolicy, "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
              "Cross-Origin-Resource-Policy: same-origin",
              request.startsWith("GET /chart.js") ? "Cache-Control: private, max-age=86400"
                                                  : "Cache-Control: no-store"})
            EXPECT_TRUE(reply.head.contains("\r\n" + header + "\r\n")) << header.toStdString();
        EXPECT_EQ(reply.head.contains("\r\nAllow: GET, HEAD\r\n"), status == 405);
        EXPECT_EQ(reply.head.contains("\r\nX-Accel-Buffering: no\r\n"), type == "text/event-stream");
    }
    EXPECT_TRUE(program.webServer.Serving());
}

TEST_F(WebServerTest, LiveDocumentsTellWhatTheProgramKnows) {
    Program& program = Start();
    SendPacket(program, 1000);
    clock.AdvanceSeconds(8);
    SendPacket(program, 1008);
    EXPECT_EQ(GetJson("/live.json"), program.Readings());
    EXPECT_EQ(Get("/live.xml").body, LiveXml(program.Readings()));
}

TEST(LiveXml, AnObjectIsAnElementAndItsValuesAreAttributes) {
    const QJsonObject readings{
        {u"channels"_s, QJsonArray{QJsonObject{{u"label"_s, u"a<\"b\t\n\x01\xFFFE\xFFFF\xD83D~"_s}}}},
        {u"missing"_s, QJsonArray{u"A"_s, u"B"_s}},
        {u"none"_s, QJsonValue()},
        {u"off"_s, false},
        {u"on"_s, true},
        {u"virtual"_s, QJsonObject{{u"power"_s, -0.1}}}};
    EXPECT_EQ(LiveXml(readings),
              R"(<?xml version="1.0" encoding="UTF-8"?><readings off="false" on="true">)"
              R"(<channel label="a&lt;&quot;b&#9;     ~"/><missing>A</missing><missing>B</missing>)"
              R"(<virtual power="-0.1"/></readings>)"
              "\n");
}

TEST_F(WebServerTest, WhatTheNetworkCanReachTakesTheToken) {
    const QString token = u"abcdefgh-1234_XY"_s;
    Program& program = Start();
    KeepByKey(program.settings, u"WebListen"_s, u"0.0.0.0"_s);  // by hand
    EXPECT_FALSE(program.webServer.Serving());
    EXPECT_TRUE(program.statusBoard.Lines().back().contains(u"takes a WebToken"_s));
    EXPECT_EQ(program.webServer.WithToken(u"http://x/"_s), u"http://x/"_s);
    Set(program, "WebToken", token);
    ASSERT_TRUE(program.webServer.Serving());
    EXPECT_EQ(program.webServer.WithToken(u"http://x/"_s), u"http://x/?token=abcdefgh-1234_XY"_s);
    EXPECT_TRUE(program.statusBoard.Lines().back().endsWith(
        u"     Pages are served at http://127.0.0.1:%1"_s.arg(WebPort())));

    const QByteArray host = "Host: house.example\r\n";
    const QByteArray cookie = "corvane-" + QByteArray::number(WebPort()) + "=abcdefgh-1234_XY";
    EXPECT_EQ(Get("/net.html", host).status, 401);
    EXPECT_EQ(Get("/style.css", host + "Cookie: corvane-1=abcdefgh-1234_XY\r\n").status, 401);
    for (const int delay : {250, 500}) {  // who guesses waits, the longer the more often
        FarEnd guest(WebPort());
        guest.Send("GET /live.json?token=abcdefgh-1234_XZ HTTP/1.1\r\n" + host + "Connection: close\r\n\r\n");
        ASSERT_TRUE(SpinUntil([&] { return clock.SomeoneWaits(); }));
        clock.Advance(delay - 1);
        EXPECT_TRUE(clock.SomeoneWaits());
        clock.Advance(1);
        ASSERT_TRUE(SpinUntil([&] { return guest.IsGone(); }));
        EXPECT_EQ(HttpReply(guest.Received()).status, 401);
    }
    EXPECT_EQ(program.statusBoard.Lines().back(), u"     A wrong token for the pages came from 127.0.0.1."_s);
    EXPECT_EQ(Get("/live.json?token=abcdefgh-1234_XY", host).status, 200);
    EXPECT_EQ(Get("/live.json", host + "Authorization: Bearer abcdefgh-1234_XY\r\n").status, 200);
    const HttpReply first = Get("/net.html?token=abcdefgh-1234_XY", host);
    EXPECT_EQ(first.status, 303);
    EXPECT_TRUE(first.head.contains("\r\nLocation: /net.html\r\n")) << first.head.toStdString();
    EXPECT_TRUE(first.head.contains("\r\nSet-Cookie: " + cookie +
                                    "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Strict"));
    EXPECT_EQ(Get("/net.html", host + "Cookie: " + cookie + "\r\n").status, 200);

    const Outcome refused = program.userSettings.Apply(u"WebToken"_s, u"abcdefgh-1234_X"_s);
    EXPECT_TRUE(refused.Error().contains(u"corvanectl set WebToken \"$("_s));
    KeepByKey(program.settings, u"WebToken"_s, u"short"_s);  // by hand, or before it was refused
    EXPECT_EQ(Get("/live.json?token=short", host).status, 200);
    EXPECT_TRUE(program.statusBoard.Lines().back().contains(u"short enough to be guessed"_s));
}

TEST(WrongTokens, AreSlowedDownByTheirSendersAndToldOnceAMinute) {
    WrongTokens tokens;
    const QHostAddress house(u"192.168.1.7"_s);
    for (const int delay : {250, 500, 1000, 2000, 4000, 5000, 5000})
        EXPECT_EQ(tokens.Note(house, 1000), delay);
    EXPECT_EQ(tokens.Note(QHostAddress(u"2001:db8::1"_s), 1000), 250);
    EXPECT_EQ(tokens.Note(QHostAddress(u"2001:db8::2"_s), 1000), 500) << "of the same house";
    EXPECT_EQ(tokens.TakeReport(1000), u"9 wrong tokens for the pages came, the last from 2001:db8::2."_s);
    EXPECT_EQ(tokens.Note(house, 2000), 5000);
    EXPECT_EQ(tokens.TakeReport(60'999), QString());
    EXPECT_EQ(tokens.TakeReport(61'000), u"A wrong token for the pages came from 192.168.1.7."_s);
    EXPECT_EQ(tokens.TakeReport(600'000), QString());
    for (quint32 i = 0; i < WrongTokens::kMostAddresses; ++i)  // others crowd it out
        EXPECT_EQ(tokens.Note(QHostAddress(i << 8), 3000), 250);
    EXPECT_EQ(tokens.Note(house, 3000), 250);
    EXPECT_EQ(tokens.Note(house, 3000 + WrongTokens::kForgottenAfter), 250);
}

TEST_F(WebServerTest, ABusyPortIsSaidOnceAndTriedAgainAndTheCaptureGoesOn) {
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::LocalHost));
    Preset(u"WebPort"_s, QString::number(other.serverPort()));
    Program& program = Start();
    const auto lines = program.statusBoard.Lines().size();
    clock.AdvanceSeconds(20);
    EXPECT_EQ(program.statusBoard.Lines().size(), lines);
    EXPECT_TRUE(program.statusBoard.Lines().back().contains(
        u"No pages are served: port %1 is in use by another program"_s.arg(other.serverPort())));
    SendPacket(program, 1000);
    EXPECT_TRUE(program.measurement.Readings(1).Seen());
    other.close();
    clock.AdvanceSeconds(5);
    EXPECT_EQ(program.webServer.Problem(), QString());
    EXPECT_EQ(Get("/").status, 200);

    Set(program, "WebPort", QString::number(FreePort()));
    EXPECT_EQ(Get("/").status, 200);
    EXPECT_EQ(program.webServer.Location(), u"http://127.0.0.1:%1"_s.arg(WebPort()));
    Set(program, "WebEnable", u"False"_s);
    EXPECT_FALSE(program.webServer.Serving());
    Set(program, "WebEnable", u"True"_s);  // a port whose connections are being forgotten is free
    EXPECT_EQ(Get("/").status, 200);
    QStringList locations;
    QObject::connect(&program.webServer, &WebServer::LocationChanged,
                     [&](const QString& location) { locations.append(location); });
    Set(program, "WebToken", u"abcdefgh-1234_XY"_s);
    KeepByKey(program.settings, u"NETmeter"_s, true);
    KeepByKey(program.settings, u"WebListen"_s, u"192.0.2.1"_s);
    EXPECT_TRUE(program.statusBoard.Lines().back().endsWith(
        u"No pages are served: 192.0.2.1 is no address of this machine"_s));
    for (const char* address : {"[::1]", "0.0.0.0", "::"})
        Set(program, "WebListen", QLatin1StringView(address));
    const QString port = u":%1"_s.arg(WebPort());
    EXPECT_EQ(locations, QStringList({u"http://127.0.0.1"_s + port, u"http://192.0.2.1"_s + port,
                                      u"http://[::1]"_s + port, u"http://127.0.0.1"_s + port,
                                      u"http://127.0.0.1"_s + port}));
}

TEST_F(WebServerTest, EveryPacketIsAnEventForEveryListener) {
    Program& program = Start();
    SendPacket(program, 1000);
    const auto listen = [this] {
        auto browser = std::make_unique<FarEnd>(WebPort());
        browser->Send("GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_TRUE(SpinUntil([&] { return browser->Received().contains("event: readings"); }));
        return browser;
    };
    const auto one = listen();
    EXPECT_TRUE(one->Received().contains("retry: 3000\n\n"));
    const auto two = listen();
    const auto toldTo = [](const std::unique_ptr<FarEnd>& browser, const char* what) {
        return browser->Received().count(what);
    };
    SendPacket(program, 1008);
    SendPacket(program, 2000, 1235);  // both within one turn of the event loop
    for (const auto* browser : {&one, &two})
        ASSERT_TRUE(SpinUntil([&] { return toldTo(*browser, "event: packet") == 2; }));
    // Each tells of the device that sent, and of no other.
    EXPECT_EQ(toldTo(one, "\"slot\":\"A\""), 2);  // once at the beginning
    EXPECT_EQ(toldTo(one, "\"slot\":\"B\""), 1);

    // A device that floods is told of by its newest packet, ten times a second at most.
    for (std::uint32_t seconds = 1016; seconds < 1516; ++seconds)
        SendPacket(program, seconds);
    clock.Advance(99);
    QCoreApplication::processEvents();
    EXPECT_EQ(toldTo(one, "event: packet"), 2);
    KeepByKey(program.settings, u"NETmeter"_s, true);  // none of the server's
    clock.Advance(1);
    ASSERT_TRUE(SpinUntil([&] { return toldTo(one, "event: packet") == 3; }));
    EXPECT_EQ(toldTo(one, "\"seconds\":1515"), 1);

    clock.AdvanceSeconds(9);
    EXPECT_EQ(toldTo(two, "event: readings"), 1);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(SpinUntil([&] { return toldTo(two, "event: readings") == 2; }));
    clock.AdvanceSeconds(4);  // no packet for 14 s
    EXPECT_EQ(toldTo(two, "event: readings"), 2);
    EXPECT_EQ(toldTo(two, "\"stale\":true"), 0);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(SpinUntil([&] { return toldTo(two, "event: readings") == 3; })) << "both fell silent";
    EXPECT_EQ(toldTo(two, "\"stale\":true"), 2);
    clock.AdvanceSeconds(100);  // who listens is in no hurry
    ASSERT_TRUE(SpinUntil([&] { return toldTo(one, "event: readings") == 13; }));
    KeepByKey(program.settings, u"WebEnable"_s, false);
    EXPECT_TRUE(SpinUntil([&] { return one->IsGone() && two->IsGone(); }));
}

TEST(EventStream, EventsAreTakenInPiecesAndAListenerWhoLagsIsLetGo) {
    int woken = 0;
    EventStream stream([&woken] { ++woken; });
    const auto push = [&stream](const char* event) {
        stream.Push(std::make_shared<const QByteArray>(event));
    };
    const auto take = [&stream](std::size_t room) {
        std::string text(room, '.');
        text.resize(stream.Take(text.data(), room));
        return text;
    };
    push("first");
    push("2nd");
    EXPECT_EQ(take(2), "fi");
    EXPECT_EQ(take(5), "rst2n");
    EXPECT_EQ(take(5), "d");
    for (int i = 0; i < 32; ++i)
        push("event");
    EXPECT_FALSE(stream.Ended());
    EXPECT_EQ(woken, 34);
    push("one too many");
    push("after the end");
    EXPECT_TRUE(stream.Ended());
    EXPECT_EQ(woken, 35);
    EXPECT_EQ(take(1), "");
}

TEST_F(WebServerTest, NeitherIdleNorSlowConnectionsHoldUpAnything) {
    constexpr std::ptrdiff_t kCrowd = 500;
    constexpr std::ptrdiff_t kTurnedAway = kCrowd - 160;
    Program& program = Start();
    std::vector<std::unique_ptr<FarEnd>> crowd;
    for (int i = 0; i < kCrowd; ++i) {
        crowd.push_back(std::make_unique<FarEnd>(WebPort()));
        QCoreApplication::processEvents();  // takes it out of the line of those who wait
        crowd.back()->Send(i % 2 == 0 ? "" : "GET /live.json HTTP/1.1\r\nHos");
    }
    const auto gone = [&crowd] {
        return std::ranges::count_if(crowd, [](const auto& each) { return each->IsGone(); });
    };
    // Those above the limit are turned away at once.
    ASSERT_TRUE(SpinUntil([&] { return gone() == kTurnedAway; })) << gone();
    SendPacket(program, 1000);
    EXPECT_TRUE(program.measurement.Readings(1).Seen());

    // Another address finds room, up to as many as there may be of all; the next waits for its turn.
    std::vector<std::unique_ptr<FarEnd>> others;
    while (others.size() < 256 - 160 + 1) {
        others.push_back(std::make_unique<FarEnd>(WebPort(), QHostAddress(u"127.0.0.2"_s)));
        QCoreApplication::processEvents();
    }
    FarEnd& late = *others.back();
    late.Send("GET /live.json HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    for (int i = 0; i < 100; ++i)
        QCoreApplication::processEvents();
    EXPECT_EQ(late.Received(), QByteArray());
    EXPECT_FALSE(others.front()->IsGone());

    // Who sends a letter at a time wins nothing: the patience is that for the whole request.
    for (int second = 1; second < 15; ++second) {
        clock.AdvanceSeconds(1);
        crowd[1]->Send("t");
    }
    EXPECT_EQ(gone(), kTurnedAway);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(SpinUntil([&] { return gone() == kCrowd; })) << gone();
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(SpinUntil([&] { return late.IsGone(); }));
    EXPECT_EQ(HttpReply(late.Received()).status, 200);

    // The next request on a connection that is kept has as long.
    FarEnd browser(WebPort());
    for (int requests = 1; requests <= 2; ++requests) {
        browser.Send("GET /net.html HTTP/1.1\r\nHost: localhost\r\n\r\n");
        ASSERT_TRUE(SpinUntil([&] { return browser.Received().count("</html>") == requests; }));
        clock.AdvanceSeconds(14);
    }
    clock.AdvanceSeconds(1);
    EXPECT_TRUE(SpinUntil([&] { return browser.IsGone(); }));
}

}  // namespace
}  // namespace corvane
