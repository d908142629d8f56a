// A whole program whose pages a test reads over a real connection.
#pragma once

#include <QJsonDocument>
#include <QJsonObject>

#include "app/program_fixture.h"
#include "support/loopback.h"
#include "support/packets.h"
#include "support/settings_by_key.h"

namespace corvane {

/// A reply, taken apart.
struct HttpReply {
    int status = 0;  ///< 0 where none came
    QByteArray head;
    QByteArray body;

    explicit HttpReply(const QByteArray& bytes) {
        const auto end = bytes.indexOf("\r\n\r\n");
        head = bytes.left(end);
        body = end < 0 ? QByteArray() : bytes.mid(end + 4);
        status = head.mid(9, 3).toInt();
    }
};

class WebTest : public ProgramTest {
protected:
    WebTest() {
        Preset(QStringLiteral("DevSerial"), QStringLiteral("301234"), QStringLiteral("0"));
        Preset(QStringLiteral("DevSerial"), QStringLiteral("301235"), QStringLiteral("1"));
    }

    [[nodiscard]] std::uint16_t WebPort() const {
        return static_cast<std::uint16_t>(
            KeptByKey(SettingsStore(SettingsFile()), QStringLiteral("WebPort")).toUInt());
    }

    /// What comes back for `bytes`, up to the end of the connection.
    [[nodiscard]] HttpReply Exchange(const QByteArray& bytes) const {
        FarEnd browser(WebPort());
        browser.Send(bytes);
        EXPECT_TRUE(SpinUntil([&] { return browser.IsGone(); })) << bytes.left(80).toStdString();
        return HttpReply(browser.Received());
    }

    [[nodiscard]] HttpReply Get(const QByteArray& path,
                                const QByteArray& headers = "Host: localhost\r\n") const {
        return Exchange("GET " + path + " HTTP/1.1\r\n" + headers + "Connection: close\r\n\r\n");
    }

    [[nodiscard]] QJsonObject GetJson(const QByteArray& path) const {
        return QJsonDocument::fromJson(Get(path).body).object();
    }

    /// A packet of Device A or B.
    static void SendPacket(Program& program, std::uint32_t seconds, std::uint16_t serialNumber = 1234) {
        program.measurement.DisplayData(
            0, PacketOf({.ch1Absolute = seconds * 500ULL, .serialNumber = serialNumber, .seconds = seconds}));
    }
};

}  // namespace corvane
