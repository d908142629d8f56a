// The real service forwards to programs that are not ours: nc, socat, a web server, and the readers that
// docs/forwarding.md shows.
#include <QJsonArray>
#include <QStandardPaths>

#include <span>
#include <string>
#include <utility>

#include "link/framer.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kKey = u"5ec2e7f00d"_s;

/// A web server whose one program notes down each request, and keeps the body of the last.
class WebServer {
public:
    WebServer() {
        QDir(home_.Path()).mkdir(u"cgi-bin"_s);
        home_.Write(u"cgi-bin/note"_s,
                    "#!/bin/sh\n"
                    "[ $REQUEST_METHOD = GET ] || cat >../body\n"
                    "echo \"$REQUEST_METHOD $PATH_INFO $QUERY_STRING\" >>../requests\n"
                    "printf 'Content-Type: text/plain\\r\\n\\r\\nok'\n");
        QFile(home_.Path(u"cgi-bin/note"_s)).setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        home_.Write(u"requests"_s, "");
    }

    [[nodiscard]] QString Host() const { return u"127.0.0.1:%1"_s.arg(port_); }
    [[nodiscard]] std::string Requests() const { return home_.Read(u"requests"_s); }
    [[nodiscard]] std::string Body() const { return home_.Read(u"body"_s); }

private:
    const TempFolder home_;
    const std::uint16_t port_ = FreePort();
    Started httpd_{QStandardPaths::findExecutable(u"busybox"_s),
                   {u"httpd"_s, u"-f"_s, u"-p"_s, Host(), u"-h"_s, home_.Path()}};
};

class Forwarding : public ServiceTest {
protected:
    Forwarding() {
        house_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        house_.Preset(u"TcpPortHA"_s, QString::number(text_));
        house_.Preset(u"HAserverPort"_s, QString::number(binary_));
    }

    void Switch(std::initializer_list<const char*> keys) {
        for (const char* const key : keys)
            house_.Preset(QString::fromLatin1(key), u"True"_s);
    }

    /// Starts the service, and a monitor that sends a packet every 100 ms.
    void Start() {
        StartService();
        monitor_ =
            StartMonitor(u"301234"_s, house_.portA,
                         {u"--model"_s, u"VRQ-5810"_s, u"--interval"_s, u"1"_s, u"--speed"_s, u"10"_s});
    }

    /// The first block of that language in the page on forwarding, with the port of this service in it.
    [[nodiscard]] QString ReaderOfTheDocs(const QString& language) const {
        QFile page(QStringLiteral(CORVANE_DOCS "/forwarding.md"));
        EXPECT_TRUE(page.open(QIODevice::ReadOnly));
        const QString block =
            QString::fromUtf8(page.readAll()).section(u"```"_s + language + u'\n', 1).section(u"```"_s, 0, 0);
        EXPECT_TRUE(block.contains(u"5000"_s)) << language.toStdString();
        return QString(block).replace(u"5000"_s, QString::number(text_));
    }

    const std::uint16_t text_ = FreePort();
    const std::uint16_t binary_ = FreePort();
    std::unique_ptr<Started> monitor_;
};

TEST_F(Forwarding, TheReadersOfTheDocsReadTheLinesAndSocatThePackets) {
    Switch({"ServerEnable", "HAServerEnable", "HAbinaryData"});
    Start();
    const QString file = house_.folder.Path(u"packets"_s);
    Started socat(QStandardPaths::findExecutable(u"socat"_s),
                  {u"-u"_s, u"TCP:127.0.0.1:%1"_s.arg(binary_), u"CREATE:"_s + file});
    const std::pair<QString, QStringList> readers[] = {
        {u"python3"_s, {u"-c"_s, ReaderOfTheDocs(u"python"_s)}},
        {u"bash"_s, {u"-c"_s, ReaderOfTheDocs(u"sh"_s)}},
    };
    for (const auto& [program, arguments] : readers) {
        {
            Started reader(QStandardPaths::findExecutable(program), arguments);
            EXPECT_TRUE(reader.Says(u"4200"_s)) << program.toStdString();
            EXPECT_TRUE(reader.Says(u" W\n"_s));
        }
        // Also ends the nc that the shell started.
        EXPECT_FALSE(house_.Ask({u"forward"_s, u"stop"_s, u"server"_s}).isEmpty());
        EXPECT_FALSE(house_.Ask({u"forward"_s, u"listen"_s, u"server"_s}).isEmpty());
    }
    std::string packets;
    ASSERT_TRUE(SpinUntil([&] { return QFile::exists(file); }));
    ASSERT_TRUE(SpinUntil([&] {
        packets = house_.folder.Read(u"packets"_s);
        return packets.size() >= 10 * kLongestPacket;
    }));
    for (std::size_t at = 0; at + kLongestPacket <= packets.size(); at += kLongestPacket) {
        const std::span packet(reinterpret_cast<const std::uint8_t*>(packets.data()) + at, kLongestPacket);
        EXPECT_EQ(packet[2], 3);
        EXPECT_EQ(PacketChecksum(packet), packet.back());
        EXPECT_EQ(DecodePacket(0, packet).SerialText(), "301234");
    }
}

TEST_F(Forwarding, AWebServerGetsTheRequestsAndTheFeedAndNobodyElseTheKey) {
    const WebServer web;
    Switch({"GetEnable", "PacEnable"});
    house_.Preset(u"GetURL"_s, web.Host());
    house_.Preset(u"GetURLext"_s, u"/cgi-bin/note/live"_s);
    house_.Preset(u"PacHost"_s, u"http://%1/cgi-bin/note"_s.arg(web.Host()));
    house_.Preset(u"PachubeKey"_s, kKey);
    house_.Preset(u"PachubeFeed"_s, u"504"_s);
    house_.Preset(u"PacTitle"_s, u"My <house>"_s);
    house_.Preset(u"PacChan"_s, u";A:CH1"_s);
    house_.Preset(u"PacInterval"_s, u"1"_s);
    Start();
    const auto noted = [&](const char* text) { return web.Requests().find(text) != std::string::npos; };
    EXPECT_TRUE(SpinUntil([&] { return noted("GET /live v=1"); })) << web.Requests();
    EXPECT_TRUE(SpinUntil([&] { return noted("&dev=301234&id=1&Resp=0\n"); })) << web.Requests();
    EXPECT_TRUE(SpinUntil([&] { return noted("PUT /v2/feeds/504.xml key=5ec2e7f00d\n"); })) << web.Requests();
    EXPECT_TRUE(SpinUntil([&] {
        return web.Body().find("<data id='1'>\r\n<current_value>3000</current_value>") != std::string::npos;
    })) << web.Body();
    EXPECT_NE(web.Body().find("<title>My &lt;house&gt;</title>"), std::string::npos);

    EXPECT_TRUE(SpinUntil([&] {
        const QJsonArray log =
            house_.Ask({u"forward"_s, u"status"_s})[u"feed"_s].toObject()[u"log"_s].toArray();
        return log.contains(u"200 - Success"_s);
    }));

    QString told;
    for (const QStringList& command : {QStringList{u"forward"_s, u"status"_s},
                                       {u"status"_s},
                                       {u"get"_s, u"PachubeKey"_s},
                                       {u"get"_s, u"startup//pachubekey/"_s},
                                       {u"set"_s, u"PachubeKey"_s, kKey},
                                       {u"feed"_s, u"send"_s},
                                       {u"feed"_s, u"set"_s, u"key"_s, kKey},
                                       {u"log"_s, u"show"_s}}) {
        Started ctl(u"corvanectl"_s, house_.Arguments() + command);
        EXPECT_GE(ctl.ExitCode(), 0);
        told += ctl.Output();
    }
    EndService();
    told += service_->Output();
    for (const std::string& entry : house_.folder.Entries()) {
        if (entry.ends_with(".log") || entry.ends_with(".txt"))
            told += QString::fromStdString(house_.folder.Read(QString::fromStdString(entry)));
    }
    EXPECT_FALSE(told.contains(kKey)) << told.toStdString();
}

}  // namespace
}  // namespace corvane
