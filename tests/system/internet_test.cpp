// The pages behind the server that docs/web.md puts in front of them.
#include <QSslSocket>
#include <QStandardPaths>

#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class Internet : public ServiceTest {
protected:
    /// The server of the docs, with the ports and the certificate of this test in it.
    [[nodiscard]] QByteArray Configuration() const {
        QFile page(QStringLiteral(CORVANE_DOCS "/web.md"));
        EXPECT_TRUE(page.open(QIODevice::ReadOnly));
        QString server =
            QString::fromUtf8(page.readAll()).section(u"```nginx\n"_s, 1).section(u"```"_s, 0, 0);
        const std::pair<QString, QString> mine[] = {
            {u"443"_s, u"127.0.0.1:%1"_s.arg(port_)},
            {u"8780"_s, QString::number(house_.webPort)},
            {u"/etc/ssl/certs/house.pem"_s, house_.folder.Path(u"pem"_s)},
            {u"/etc/ssl/private/house.key"_s, house_.folder.Path(u"key"_s)}};
        for (const auto& [theirs, ours] : mine) {
            EXPECT_TRUE(server.contains(theirs)) << theirs.toStdString();
            server.replace(theirs, ours);
        }
        return u"daemon off; pid %1; error_log stderr;\n"
               "events {}\nhttp { access_log off; client_body_temp_path %2; proxy_temp_path %2;\n"
               "fastcgi_temp_path %2; uwsgi_temp_path %2; scgi_temp_path %2;\n%3}\n"_s
                   .arg(house_.folder.Path(u"nginx.pid"_s), house_.folder.Path(u"nginx.tmp"_s), server)
                   .toUtf8();
    }

    /// A browser that asks for `path`; its connection stays.
    std::unique_ptr<QSslSocket> Ask(const QByteArray& path) const {
        auto browser = std::make_unique<QSslSocket>();
        browser->setPeerVerifyMode(QSslSocket::VerifyNone);
        EXPECT_TRUE(SpinUntil(
            [&] {  // the server may still be starting
                if (browser->state() == QAbstractSocket::UnconnectedState)
                    browser->connectToHostEncrypted(u"127.0.0.1"_s, port_);
                return browser->isEncrypted();
            },
            30'000));
        browser->write("GET " + path + " HTTP/1.1\r\nHost: house.example\r\n\r\n");
        return browser;
    }

    const std::uint16_t port_ = FreePort();
};

TEST_F(Internet, TheServerInFrontPassesEachEventOnAsItHappensAndNothingWithoutAToken) {
    Started openssl(
        QStandardPaths::findExecutable(u"openssl"_s),
        {u"req"_s, u"-x509"_s, u"-newkey"_s, u"rsa:2048"_s, u"-nodes"_s, u"-subj"_s, u"/CN=house.example"_s,
         u"-out"_s, house_.folder.Path(u"pem"_s), u"-keyout"_s, house_.folder.Path(u"key"_s)});
    ASSERT_EQ(openssl.ExitCode(30'000), 0) << openssl.Output().toStdString();
    house_.folder.Write(u"nginx.conf"_s, Configuration().toStdString());
    Started nginx(u"/usr/sbin/nginx"_s, {u"-e"_s, u"stderr"_s, u"-c"_s, house_.folder.Path(u"nginx.conf"_s)});
    house_.Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    StartService();

    QByteArray heard;
    const auto hears = [&heard](QSslSocket& browser, const char* what) {
        return SpinUntil([&] { return (heard += browser.readAll()).contains(what); }, 30'000);
    };
    EXPECT_TRUE(hears(*Ask("/live.json"), " 421 ")) << heard.toStdString();
    ASSERT_FALSE(house_.Ask({u"set"_s, u"WebToken"_s, u"abcdefgh-1234_XY"_s}).isEmpty());
    const auto listener = Ask("/events?token=abcdefgh-1234_XY");
    EXPECT_TRUE(hears(*listener, "event: readings")) << heard.toStdString() << nginx.News().toStdString();
    const auto monitor =
        StartMonitor(u"301234"_s, house_.portA, {u"--speed"_s, u"40"_s, u"--count"_s, u"1"_s});
    EXPECT_TRUE(hears(*listener, "event: packet")) << heard.toStdString();
}

}  // namespace
}  // namespace corvane
