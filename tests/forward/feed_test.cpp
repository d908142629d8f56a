#include "forward/feed_upload.h"

#include <QProcess>

#include <memory>
#include <optional>

#include "forward/checked_entries.h"
#include "forward/connection_check.h"
#include "forward/feed_document.h"
#include "measure/measurement_fixture.h"
#include "store/schema.h"
#include "support/data_lines.h"
#include "support/loopback.h"
#include "support/scripted_operator.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(FeedDocument, HasItsElementsInTheirOrder) {
    QByteArray expected;
    for (const DataLine& line : CasesOf("FeedDocument"))
        expected += line.text.toUtf8() + "\r\n";
    EXPECT_EQ(FeedDocument(u"Ho\tme"_s, {{0, 1234.6, u"Heat & <light>"_s}, {7, 0, {}}}, kValueUnit),
              expected);
    EXPECT_TRUE(FeedDocument({}, {{50, 1, {}}}, kSetUpUnit)
                    .contains("<unit symbol='W' type='derivedSI'>watt</unit>"));
}

TEST(FeedDocument, IsValidWhateverTheLabels) {
    std::vector<Datastream> datastreams;
    datastreams.reserve(kDatastreams);
    for (int id = 0; id < static_cast<int>(kDatastreams); ++id)
        datastreams.push_back({id, id * -1000.0, QChar(id) + u"]]><!--&'\"é漢\U0001F600"_s});
    datastreams[50].label = u"\xFFFE\xD800 x \xFFFF"_s;
    for (const auto& unit : {kValueUnit, kSetUpUnit}) {
        QProcess xmllint;
        xmllint.setProcessChannelMode(QProcess::MergedChannels);
        xmllint.start(u"xmllint"_s, {u"--noout"_s, u"--schema"_s, Beside(u"eeml.xsd"_s), u"-"_s});
        xmllint.write(FeedDocument(u"<&>\x0001"_s, datastreams, unit));
        xmllint.closeWriteChannel();
        ASSERT_TRUE(xmllint.waitForFinished());
        EXPECT_EQ(xmllint.exitCode(), 0) << xmllint.readAll().toStdString();
    }
}

const QString kKey = u"0123456789abcdef+/=& SECRET"_s.remove(u' ');

class FeedUploadTest : public MeasurementFixture {
protected:
    FeedUploadTest() {
        EXPECT_TRUE(service_.listen(QHostAddress::LocalHost));
        EXPECT_TRUE(CreateTables(PathOf(u"capture.db3"_s)));
        EXPECT_TRUE(Choose(settings_, kFeedHost, u"http://127.0.0.1:%1"_s.arg(service_.serverPort())));
        EXPECT_TRUE(Choose(settings_, kFeedKey, kKey));
        EXPECT_TRUE(Choose(settings_, kFeedNumber, u"504"_s));
        EXPECT_TRUE(Choose(settings_, kFeedTitle, u"Home"_s));
    }

    /// Waits for a request, its body included, and answers it; empty where none came.
    QByteArray Serve(const QByteArray& answer) {
        QByteArray request;
        QTcpSocket* peer = nullptr;
        const bool came = SpinUntil([&] {
            clock_.Advance(1);
            if (peer == nullptr) peer = service_.nextPendingConnection();
            if (peer != nullptr) request += peer->readAll();
            return request.contains("</eeml>\r\n");
        });
        if (!came) return {};
        peer->write(answer);
        peer->disconnectFromHost();
        return request;
    }

    QTcpServer service_;
    FeedUpload upload_{*measurement_, database_, settings_, folder_.Path(), clock_};
};

TEST_F(FeedUploadTest, PutsTheValuesTellsTheResultAndNeverTheKey) {
    folder_.Write(u"VRQ5810Pacpost.txt"_s, "oldest\n" + std::string(998, '\n'));
    ScriptedOperator op;
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"0"_s, u"A:CH1"_s, op)));
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"2"_s, u"b:aux5"_s, op)));
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"4"_s, u"A:CH2"_s, op)));
    ASSERT_TRUE(database_.Run("UPDATE applicationinfo SET ch1alias = 'Oven' WHERE id = 1").Ok());
    Send({.serialNumber = 1234, .seconds = 10});
    Send({.ch1Absolute = 12345, .serialNumber = 1234, .seconds = 20});

    const struct {
        QByteArray answer;
        const char* line;
    } cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", "200 - Success"},
        {"HTTP/1.1 201 Created\r\nContent-Length: 3\r\n\r\nnew", "201 - new"},
        {"HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", "302 - "},
        {"HTTP/1.1 401 No\r\nContent-Length: 100\r\n\r\n" + ("bad key " + kKey.toUtf8()).leftJustified(100),
         "401 - bad key ***"},
        {"HTTP/1.1 200 OK\r\n\r\n" + QByteArray(8 << 20, 'x'),
         "200 - Success (the answer is longer than 64 KiB and was cut off)"},
        {"", "Not sent: "},
    };
    const auto lock = CaptureDatabase::OpenFile(PathOf(u"capture.db3"_s), false);
    for (const auto& c : cases) {
        // From the second on it is locked, and the labels of before are sent.
        if (&c != cases) {
            EXPECT_EQ(lock.GetTable("BEGIN EXCLUSIVE").Ok(), &c == cases + 1);
        }
        std::optional<Outcome> result;
        auto sending = upload_.SendNow().then([&](const Outcome& outcome) { result = outcome; });
        const QByteArray request = Serve(c.answer);
        ASSERT_TRUE(SpinUntil([&] {
            clock_.Advance(10);
            return result.has_value();
        })) << c.line;
        EXPECT_TRUE(
            request.startsWith("PUT /v2/feeds/504.xml?key=0123456789abcdef%2B%2F%3D%26SECRET HTTP/1.1"));
        EXPECT_TRUE(
            request.contains("<data id='0'>\r\n<current_value>1235</current_value>\r\n<tag>Oven</tag>"));
        EXPECT_TRUE(
            request.contains("<data id='2'>\r\n<current_value>0</current_value>\r\n<tag>No Label</tag>"));
        EXPECT_TRUE(request.contains("<tag>no label</tag>")) << "what the database has is sent as it is";
        EXPECT_EQ(bool(*result), std::string(c.line).starts_with("200 - Success"));
        const std::string told = upload_.Log()->Lines().back().toStdString();
        EXPECT_EQ(told.substr(0, std::string(c.line).size()), c.line);
        EXPECT_EQ((told + result->Error().toStdString()).find("SECRET"), std::string::npos) << told;
    }
    // One line for each upload that got an answer, and those before.
    const std::string queue = folder_.Read(u"VRQ5810Pacpost.txt"_s);
    EXPECT_EQ(std::ranges::count(queue, '\n'), 1000);
    EXPECT_TRUE(queue.starts_with("\n")) << "the oldest went";
    EXPECT_EQ(queue.find("SECRET"), std::string::npos);
    EXPECT_NE(queue.find("\n2026-03-02 10:2"), std::string::npos);
    EXPECT_NE(queue.find("\t200 - Success\n"), std::string::npos);
}

TEST_F(FeedUploadTest, RunsByItselfEverySoOftenOneAtATimeAndGivesUpAfterTenSeconds) {
    EXPECT_TRUE(Choose(settings_, kFeedInterval, u"30"_s));
    EXPECT_EQ(upload_.Standing(), OutputState::Off);
    EXPECT_TRUE(Choose(settings_, kFeedEnable, u"True"_s));
    EXPECT_EQ(upload_.Standing(), OutputState::Up);
    clock_.AdvanceSeconds(29);
    EXPECT_FALSE(clock_.SomeoneWaits());
    clock_.AdvanceSeconds(1);
    ASSERT_TRUE(clock_.SomeoneWaits());
    EXPECT_EQ(upload_.Standing(), OutputState::Connecting);
    // The service takes the request, and says nothing; or less than it has announced.
    ASSERT_TRUE(SpinUntil([this] { return service_.hasPendingConnections(); }));
    const std::unique_ptr<QTcpSocket> silent(service_.nextPendingConnection());
    ASSERT_TRUE(SpinUntil([&] { return silent->readAll().contains("</eeml>"); }));
    EXPECT_TRUE(QCoro::waitFor(upload_.SendNow()).Error().contains(u"still on its way"_s));
    clock_.Advance(9900);
    EXPECT_TRUE(upload_.Log()->Lines().empty());
    clock_.Advance(200);
    ASSERT_EQ(upload_.Log()->Lines().size(), 1U);
    EXPECT_EQ(upload_.Log()->Lines().back(), u"Not sent: no answer within 10 seconds"_s);
    EXPECT_EQ(upload_.Standing(), OutputState::Backoff);
    EXPECT_TRUE(SpinUntil([&] { return silent->state() == QAbstractSocket::UnconnectedState; }));
    clock_.AdvanceSeconds(18);
    EXPECT_FALSE(clock_.SomeoneWaits());
    clock_.AdvanceSeconds(2);
    EXPECT_TRUE(clock_.SomeoneWaits());  // the next upload tries again
    ASSERT_TRUE(SpinUntil([this] { return service_.hasPendingConnections(); }));
    const std::unique_ptr<QTcpSocket> brief(service_.nextPendingConnection());
    brief->write("HTTP/1.1 500 Failed\r\nContent-Length: 100\r\n\r\nsorry");
    ASSERT_TRUE(SpinUntil([&] {
        clock_.Advance(100);
        return upload_.Log()->Lines().size() == 2;
    }));
    EXPECT_EQ(upload_.Log()->Lines().back(), u"500 - sorry (the rest of the answer did not come)"_s);
}

TEST_F(FeedUploadTest, EntriesAreCheckedAndAChangeOfAnAssignmentIsAsked) {
    ExpectChecks("FeedEntries", settings_);
    EXPECT_EQ(Choose(settings_, kFeedTitle, u" "_s).Error(), u"A pachube tilte is required."_s);
    EXPECT_FALSE(Choose(settings_, kFeedKey, u"a\x01"_s));
    clock_.AdvanceSeconds(86'400);
    EXPECT_FALSE(clock_.SomeoneWaits()) << "it is off";
    Set(u"PacEnable"_s, u"True"_s);  // as a settings file changed by hand may have it
    // Which of the three is missing: key, feed, title.
    for (const auto& [key, feed, title] :
         {std::tuple(u""_s, u"504"_s, u"Home"_s), {kKey, u""_s, u"Home"_s}, {kKey, u"504"_s, u" "_s}}) {
        Set(u"PachubeKey"_s, key);
        Set(u"PachubeFeed"_s, feed);
        Set(u"PacTitle"_s, title);
        for (const bool setUp : {false, true}) {
            auto sending = setUp ? upload_.SetUpNow() : upload_.SendNow();
            ASSERT_TRUE(sending.isReady()) << feed.toStdString() << title.toStdString();
            EXPECT_EQ(QCoro::waitFor(std::move(sending)).Error(),
                      u"Cannot send. The KEY, FEED or TITLE is not valid."_s);
        }
        clock_.AdvanceSeconds(title == u" "_s ? 0 : 86'400);
        EXPECT_FALSE(clock_.SomeoneWaits());
    }

    const QString sure = u"Are you sure you want to change this datastream assignment?"_s;
    ScriptedOperator op;
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"50"_s, u"F:AUX5"_s, op)));
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"1"_s, u"A:CH2"_s, op)));
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"1"_s, u"A:CH2"_s, op)));  // no change
    op.WillAnswer(sure.toStdString(), Answer::No);
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"1"_s, u"A:CH1"_s, op)));
    EXPECT_EQ(settings_.Value(kFeedChannelList), u";A:CH2"_s + QString(49, u';') + u"F:AUX5"_s);
    EXPECT_EQ(settings_.Value(kLastFeedChannel), u"50"_s);
    op.WillAnswer(sure.toStdString(), Answer::Yes);
    EXPECT_TRUE(QCoro::waitFor(upload_.Assign(u"50"_s, std::nullopt, op)));
    EXPECT_EQ(settings_.Value(kFeedChannelList), u";A:CH2"_s);
    EXPECT_EQ(settings_.Value(kLastFeedChannel), u"1"_s);
    for (const auto& [id, channel] :
         {std::pair(u"51"_s, u"A:CH1"_s), {u"0"_s, u"G:CH1"_s}, {u"0"_s, u"A:CH3"_s}, {u"x"_s, u"A:CH1"_s}})
        EXPECT_EQ(QCoro::waitFor(upload_.Assign(id, channel, op)).Error(),
                  id == u"0"_s ? u"A channel is named by its device and itself: A:CH1, B:AUX3."_s
                               : u"The datastreams are numbered from 0 to 50."_s);
    EXPECT_EQ(upload_.Status().lines,
              (QStringList{u"Feed: on, feed 504, title \" \", the key is set"_s, u"    1 is A:CH2"_s}));
}

TEST_F(FeedUploadTest, TheInternetIsThereWhenThePageOpensWithinFiveSeconds) {
    ConnectionCheck check(settings_, clock_);
    ScriptedOperator op;
    Set(u"InternetCheckUrl"_s, u"http://127.0.0.1:%1/"_s.arg(service_.serverPort()));
    for (const QByteArray answer : {"200 OK", "404 Not Found", "200 Endless", ""}) {
        std::optional<Outcome> result;
        auto checking = check.Check(op).then([&](const Outcome& outcome) { result = outcome; });
        QTcpSocket* page = nullptr;
        QByteArray request;
        ASSERT_TRUE(SpinUntil([&] {
            if (page == nullptr) page = service_.nextPendingConnection();
            if (page != nullptr) request += page->readAll();
            return request.endsWith("\r\n\r\n");
        }));
        if (answer.isEmpty()) {
            clock_.Advance(4950);
            EXPECT_FALSE(result.has_value());
            clock_.Advance(50);
        } else {
            const bool endless = answer.endsWith("Endless");
            // With its length: an answer that ends with the connection is sometimes asked for again.
            page->write(
                "HTTP/1.1 " + answer +
                (endless ? "\r\n\r\n" + QByteArray(8 << 20, 'x') : "\r\nContent-Length: 5\r\n\r\nhello"));
            if (!endless) page->disconnectFromHost();
            ASSERT_TRUE(SpinUntil([&] {
                clock_.Advance(1);
                return result.has_value();
            }));
        }
        ASSERT_TRUE(result.has_value());
        EXPECT_EQ(result->Error(), answer.startsWith("200") ? u""_s : u"The internet cannot be reached."_s);
    }
    EXPECT_EQ(op.Messages(), (std::vector<std::string>(4, "Checking connection........")));
}

}  // namespace
}  // namespace corvane
