#include <QComboBox>
#include <QLabel>
#include <QTableWidget>
#include <QTextEdit>

#include <gtest/gtest.h>

#include "support/packets.h"
#include "support/pty.h"
#include "support/settings_by_key.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kPage = u"connections"_s;

class ConnectionsPageTest : public WindowTest {
protected:
    ConnectionsPageTest() {
        // No port of this machine is touched.
        for (int number = 1; number <= 64; ++number)
            Preset(u"ComDevice%1"_s.arg(number), u"/nowhere/port"_s);
    }

    /// Whether a label of the page says so to those who cannot see it.
    bool Says(const QString& text) {
        clock.AdvanceSeconds(1);
        for (const QLabel* label : window_->findChild<QWidget*>(kPage)->findChildren<QLabel*>()) {
            if (label->accessibleName() == text || label->text() == text) return true;
        }
        return false;
    }

    /// Chooses the entry whose data is `data`, as a click on it does.
    void Choose(const QString& name, const QString& data) {
        auto* box = Find<QComboBox>(kPage, name);
        ASSERT_NE(box, nullptr);
        box->setCurrentIndex(box->findData(data));
        Q_EMIT box->activated(box->currentIndex());
    }
};

TEST_F(ConnectionsPageTest, ATcpServerIsStoppedStartedAndGivenAnotherPort) {
    Open(kPage);
    const QString port = QString::number(program_->tcpA.LocalPort());
    const std::pair<QString, std::string> refused[] = {
        {u"eighty"_s, "Must be a numeric value"},
        {u"9"_s, "Invalid range for TCP/IP Port"},
        {u"65535"_s, "Invalid range for TCP/IP Port"},
    };
    for (const auto& [text, refusal] : refused) {
        Enter(kPage, u"TCP Server A: Port"_s, text);
        EXPECT_EQ(BoxText(), refusal);
        Answer(QMessageBox::Ok);
        EXPECT_EQ(Find<QLineEdit>(kPage, u"TCP Server A: Port"_s)->text(), port) << "the old one holds";
    }
    Click(kPage, u"TCP Server A: Stop Listening"_s);
    EXPECT_EQ(program_->tcpA.State(), SocketState::Closed);
    EXPECT_TRUE(Says(u"Disconnected"_s));
    const QString other = QString::number(FreePort());
    Enter(kPage, u"TCP Server A: Port"_s, other);
    Click(kPage, u"TCP Server A: Listen"_s);
    EXPECT_TRUE(Says(u"TCP Server A: Listening, port "_s + other));

    FarEnd gateway(program_->tcpA.LocalPort());
    EXPECT_TRUE(SpinUntil([this] { return program_->tcpA.State() == SocketState::Connected; }));
    EXPECT_TRUE(Says(u"TCP Server A: Connected, port "_s + other));
    gateway.Close();
    EXPECT_TRUE(SpinUntil([this] { return program_->tcpA.State() == SocketState::Closed; }));
    EXPECT_TRUE(Says(u"Reconnecting in 4 sec."_s));
    Click(kPage, u"TCP Server A: Disconnect"_s);
    EXPECT_TRUE(program_->settings.IsOn(kTcpLatch, {.member = u"A"_s}));

    Choose(u"TCP Server B: Mode"_s, u"client"_s);
    Enter(kPage, u"TCP Server B: Host"_s, u"127.0.0.2"_s);
    EXPECT_TRUE(program_->tcpB.ConnectsOut());
    EXPECT_EQ(KeptByKey(program_->settings, u"TcpHostB"_s), u"127.0.0.2"_s);
}

TEST_F(ConnectionsPageTest, ASerialPortIsFoundOpenedAndItsBytesAreShownByFields) {
    Pty line;
    Open(kPage);
    Click(kPage, u"Serial Connection C: Open"_s);
    EXPECT_EQ(BoxText(), "No COM port selected. Try \"Find COM Port\" utility");
    Answer(QMessageBox::Ok);
    Click(kPage, u"Find COM Port"_s);
    clock.Advance(100);
    EXPECT_EQ(BoxText(), "No COM Port Found");
    Answer(QMessageBox::Ok);
    KeepByKey(program_->settings, u"ComPortC"_s, u"7"_s);
    Click(kPage, u"Serial Connection C: Open"_s);
    EXPECT_EQ(BoxText(), "Error opening COM port: /nowhere/port is not there");
    Answer(QMessageBox::Ok);

    KeepByKey(program_->settings, u"ComDevice9"_s, line.Path());
    Click(kPage, u"Find COM Port"_s);
    clock.Advance(100);
    Choose(u"Serial Connection C: Port"_s, u"9"_s);
    Click(kPage, u"Serial Connection C: Open"_s);
    clock.Advance(SerialLink::kSettleTime);
    EXPECT_TRUE(Says(u"Serial Connection C: Open, port 9"_s));

    Click(kPage, u"Show received bytes"_s);
    auto* stream = Find<QComboBox>(kPage, u"Stream"_s);
    stream->setCurrentIndex(stream->findText(u"Serial Connection C"_s));
    const Bytes packet = PacketOf({.voltTenths = 1203, .serialNumber = 1234});
    line.Send(QByteArray("\x11\x22") + QByteArray(reinterpret_cast<const char*>(packet.data()), 65));
    ASSERT_TRUE(SpinUntil([this] { return program_->framer.GoodPackets() == 1; }));
    EXPECT_TRUE(Says(u"1 good packets, 0 bad"_s));

    const auto* fields = Find<QTableWidget>(kPage, u"Fields of the last packet"_s);
    ASSERT_EQ(fields->rowCount(), 18);
    EXPECT_EQ(fields->item(0, 1)->text(), u"04 B3"_s);
    EXPECT_EQ(fields->item(0, 2)->text(), u"120.3 V"_s);
    EXPECT_EQ(fields->item(17, 2)->text(), u"accepted"_s);
    auto* bytes = Find<QTextEdit>(kPage, u"Received bytes"_s);
    EXPECT_TRUE(bytes->toPlainText().startsWith(u"11 22 \nFE FF 03 04 B3 "_s)) << "all bytes, none twice";
    // A field has the same color in both places, and another one than its neighbour.
    const auto colorAt = [bytes](int position) {
        QTextCursor cursor(bytes->document());
        cursor.setPosition(position + 1);
        return cursor.charFormat().background();
    };
    const int volts = static_cast<int>(bytes->toPlainText().indexOf(u"04 B3"_s));
    EXPECT_EQ(colorAt(volts), fields->item(0, 1)->background());
    EXPECT_EQ(colorAt(volts + 6), fields->item(1, 1)->background());
    EXPECT_NE(colorAt(volts), colorAt(volts + 6));
}

}  // namespace
}  // namespace corvane
