#include "forward/feed_upload.h"

#include <QProcess>

#include <memory>
#include <optional>

#include "forward/choose.h"
#include "forward/connection_check.h"
#include "forward/feed_document.h"
#include "measure/measurement_fixture.h"
#include "store/schema.h"
#include "support/loopback.h"
#include "support/scripted_operator.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(FeedDocument, HasItsElementsInTheirOrder) {
    const QByteArray expected =
        "<?xml version='1.0' encoding='UTF-8'?>\r\n"
        "<eeml xmlns='http://www.eeml.org/xsd/0.5.1' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
        "version='0.5.1' xsi:schemaLocation='http://www.eeml.org/xsd/0.5.1 "
        "http://www.eeml.org/xsd/0.5.1/0.5.1.xsd'>\r\n"
        "<environment creator='http://www.pachube.com'>\r\n"
        "<title>Home</title>\r\n"
        "<data id='0'>\r\n<current_value>1235</current_value>\r\n<tag>Heat &amp; &lt;light&gt;</tag>\r\n"
        "<min_value>0</min_value>\r\n<unit symbol='' type='derivedSI'>watt</unit>\r\n</data>\r\n"
        "<data id='7'>\r\n<current_value>0</current_value>\r\n<tag>No Label</tag>\r\n"
        "<min_value>0</min_value>\r\n<unit symbol='' type='derivedSI'>watt</unit>\r\n</data>\r\n"
        "</environment>\r\n</eeml>\r\n";
    EXPECT_EQ(FeedDocument(u"Home"_s, {{0, 1234.6, u"Heat & <light>"_s}, {7, 0, {}}}, kValueUnit), expected);
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
        xmllint.start(u"xmllint"_s, {u"--noout"_s, u"--schema"_s, CORVANE_TESTS u"/eeml.xsd"_s, u"-"_s});
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

    /// Runs `task` until it is done; nothing where it never is.
    static std::optional<Outcome> Ended(const std::optional<Outcome>& result, FakeClock& clock) {
        const bool ended = SpinUntil([&] {
            clock.Advance(10);
            return result.has_value();
        });
        return ended ? result : std::nullopt;
    }

    QTcpServer service_;
    FeedUpload upload_{*measurement_, database_, settings_, folder_.Path(), clock_};
};

TEST_F(FeedUploadTest, PutsTheValuesTellsTheResultAndNeverTheKey) {
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
        {"", "Not sent: "},
    };
    for (const auto& c : cases) {
        std::optional<Outcome> result;
        auto sending = upload_.SendNow().then([&](const Outcome& outcome) { result = outcome; });
        const QByteArray request = Serve(c.answer);
        ASSERT_TRUE(Ended(result, clock_)) << c.line;
        EXPECT_TRUE(
            request.startsWith("PUT /v2/feeds/504.xml?key=0123456789abcdef%2B%2F%3D%26SECRET HTTP/1.1"));
        EXPECT_TRUE(
            request.contains("<data id='0'>\r\n<current_value>1235</current_value>\r\n<tag>Oven</tag>"));
        EXPECT_TRUE(
            request.contains("<data id='2'>\r\n<current_value>0</current_value>\r\n<tag>No Label</tag>"));
        EXPECT_TRUE(request.contains("<tag>no label</tag>")) << "what the database has is sent as it is";
        EXPECT_EQ(bool(*result), c.line == std::string("200 - Success"));
        const std::string told = upload_.Log()->Lines().back().toStdString();
        EXPECT_EQ(told.substr(0, std::string(c.line).size()), c.line);
        EXPECT_EQ((told + result->Error().toStdString()).find("SECRET"), std::string::npos) << told;
    }
    // One line for each upload that got an answer.
    const std::string queue = folder_.Read(u"VRQ5810Pacpost.txt"_s);
    EXPECT_EQ(std::ranges::count(queue, '\n'), 4);
    EXPECT_EQ(queue.find("SECRET"), std::string::npos);
    EXPECT_TRUE(queue.starts_with("2026-03-02 10:2"));
    EXPECT_NE(queue.find("\t200 - Success\n"), std::string::npos);
}

TEST_F(FeedUploadTest, RunsByItselfEverySoOftenOneAtATimeAndGivesUpAfterTenSeconds) {
    EXPECT_TRUE(Choose(settings_, kFeedInterval, u"30"_s));
    EXPECT_TRUE(Choose(settings_, kFeedEnable, u"True"_s));
    clock_.AdvanceSeconds(29);
    EXPECT_FALSE(clock_.SomeoneWaits());
    clock_.AdvanceSeconds(1);
    ASSERT_TRUE(clock_.SomeoneWaits());
    // The service takes the request, and says nothing.
    ASSERT_TRUE(SpinUntil([this] { return service_.hasPendingConnections(); }));
    const std::unique_ptr<QTcpSocket> silent(service_.nextPendingConnection());
    ASSERT_TRUE(SpinUntil([&] { return silent->readAll().contains("</eeml>"); }));
    EXPECT_TRUE(QCoro::waitFor(upload_.SendNow()).Error().contains(u"still on its way"_s));
    clock_.Advance(9900);
    EXPECT_TRUE(upload_.Log()->Lines().empty());
    clock_.Advance(200);
    ASSERT_EQ(upload_.Log()->Lines().size(), 1U);
    EXPECT_EQ(upload_.Log()->Lines().back(), u"Not sent: no answer within 10 seconds"_s);
    EXPECT_TRUE(SpinUntil([&] { return silent->state() == QAbstractSocket::UnconnectedState; }));
    clock_.AdvanceSeconds(18);
    EXPECT_FALSE(clock_.SomeoneWaits());
    clock_.AdvanceSeconds(2);
    EXPECT_TRUE(clock_.SomeoneWaits());  // the next upload tries again
    clock_.EndWaits();
}

TEST_F(FeedUploadTest, KeyFeedAndTitleAreCheckedAndAChangeOfAnAssignmentIsAsked) {
    EXPECT_EQ(Choose(settings_, kFeedNumber, u"50x"_s).Error(),
              u"The \"FEED URL\" must be a numeric value."_s);
    EXPECT_EQ(Choose(settings_, kFeedTitle, u" "_s).Error(), u"A pachube tilte is required."_s);
    EXPECT_FALSE(Choose(settings_, kFeedHost, u"ftp://x"_s));
    EXPECT_TRUE(Choose(settings_, kFeedKey, u""_s));
    EXPECT_EQ(Choose(settings_, kFeedEnable, u"True"_s).Error(),
              u"Cannot enable. The KEY, FEED or TITLE is not valid."_s);
    EXPECT_EQ(QCoro::waitFor(upload_.SetUpNow()).Error(),
              u"Cannot send. The KEY, FEED or TITLE is not valid."_s);
    Set(u"PacEnable"_s, u"True"_s);  // as a settings file changed by hand may have it
    clock_.AdvanceSeconds(100);
    EXPECT_FALSE(service_.hasPendingConnections());

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
    for (const auto& [id, channel] : {std::pair(u"51"_s, u"A:CH1"_s), std::pair(u"0"_s, u"G:CH1"_s),
                                      std::pair(u"0"_s, u"A:CH3"_s), std::pair(u"x"_s, u"A:CH1"_s)})
        EXPECT_FALSE(QCoro::waitFor(upload_.Assign(id, channel, op))) << channel.toStdString();
}

TEST_F(FeedUploadTest, TheInternetIsThereWhenThePageOpensWithinFiveSeconds) {
    ConnectionCheck check(settings_, clock_);
    ScriptedOperator op;
    Set(u"InternetCheckUrl"_s, u"http://127.0.0.1:%1/"_s.arg(service_.serverPort()));
    for (const bool answers : {true, false}) {
        std::optional<bool> available;
        auto checking = check.InternetConnectionAvailable(op).then([&](bool result) { available = result; });
        ASSERT_TRUE(SpinUntil([this] { return service_.hasPendingConnections(); }));
        QTcpSocket* page = service_.nextPendingConnection();
        if (answers) {
            page->write("HTTP/1.0 200 OK\r\n\r\nhello");
            page->disconnectFromHost();
            ASSERT_TRUE(SpinUntil([&] {
                clock_.Advance(1);
                return available.has_value();
            }));
        } else {
            clock_.Advance(4950);
            EXPECT_FALSE(available.has_value());
            clock_.Advance(50);
        }
        EXPECT_EQ(available, std::optional(answers));
    }
    EXPECT_EQ(op.Messages(), (std::vector<std::string>(2, "Checking connection........")));
}

}  // namespace
}  // namespace corvane
