#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QTableWidget>
#include <QTextEdit>

#include <gtest/gtest.h>

#include "support/packets.h"
#include "support/pty.h"
#include "support/settings_by_key.h"
#include "window/person.h"
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

    /// What the box of a link shows, once a second has passed; %1 stands for `port`.
    std::string Of(const QString& link, const QString& port) {
        clock.AdvanceSeconds(1);
        for (const QGroupBox* box : window_->findChild<QWidget*>(kPage)->findChildren<QGroupBox*>())
            if (box->title() == link)
                return QString::fromStdString(Seen(box)).replace(port, u"%1"_s).toStdString();
        return {};
    }

    /// Chooses the entry whose data is `data`, as a click on it does.
    void Choose(const QString& name, const QString& data) {
        auto* box = Find<QComboBox>(kPage, name);
        ASSERT_NE(box, nullptr);
        box->setCurrentIndex(box->findData(data));
        Q_EMIT box->activated(box->currentIndex());
    }
};

TEST_F(ConnectionsPageTest, ASerialPortIsFoundAndOpened) {
    Pty line;
    Open(kPage);
    const auto seen = [&] { return Of(u"Serial Connection C"_s, line.Path()); };
    const auto find = [this](const std::vector<Step>& steps) {
        Click(kPage, u"Find COM Port"_s);
        EXPECT_NE(Find<QLabel>(kPage, u"Looking for ports..."_s), nullptr);
        clock.Advance(100);
        Through(steps);
    };
    EXPECT_EQ(seen(), "off Closed <None> <19200> (Open) -(Close)");
    Click(kPage, u"Serial Connection C: Open"_s);
    Through({{"No COM port selected. Try \"Find COM Port\" utility"}});
    Choose(u"Serial Connection C: Port"_s, u""_s);
    EXPECT_EQ(Box(), nullptr) << "that none is chosen is no fault by itself";
    find({{"No COM Port Found"}});
    KeepByKey(program_->settings, u"ComPortC"_s, u"7"_s);
    Click(kPage, u"Serial Connection C: Open"_s);
    Through({{"Error opening COM port: /nowhere/port is not there"}});
    KeepByKey(program_->settings, u"ComDevice9"_s, line.Path());
    find({});
    EXPECT_EQ(Box(), nullptr);
    EXPECT_NE(Find<QLabel>(kPage, u"9: %1 is free"_s.arg(line.Path())), nullptr);
    EXPECT_EQ(seen(), "off Closed <7  /nowhere/port> <19200> (Open) -(Close)") << "what was chosen stays so";
    Choose(u"Serial Connection C: Port"_s, u"9"_s);
    EXPECT_EQ(KeptByKey(program_->settings, u"ComPortC"_s), u"9"_s);
    for (const auto& [kept, shown] : {std::pair(u" 3.84e4 "_s, "<38400>"), {u"fast"_s, "<>"}}) {
        KeepByKey(program_->settings, u"BaudRateC"_s, kept);
        EXPECT_EQ(seen(), std::string("off Closed <9  %1> ") + shown + " (Open) -(Close)");
    }
    auto* rate = Find<QComboBox>(kPage, u"Serial Connection C: Baud rate"_s);
    rate->setCurrentText(u"9600"_s);
    Q_EMIT rate->activated(rate->currentIndex());
    EXPECT_EQ(KeptByKey(program_->settings, u"BaudRateC"_s), u"9600"_s);
    Click(kPage, u"Serial Connection C: Open"_s);
    clock.Advance(SerialLink::kSettleTime);
    EXPECT_EQ(seen(), "on Open, port 9 <9  %1> <9600> (Open) (Close)");
    line.Send("x");
    EXPECT_TRUE(SpinUntil([&] { return seen().starts_with("active Open"); }));
    line.HangUp();
    EXPECT_TRUE(SpinUntil([&] { return !program_->serialC.IsOpen(); }));
    EXPECT_EQ(seen(), "fault Closed The port is gone. Reconnecting in 4 sec. <9  %1> <9600> (Open) (Close)");
    Click(kPage, u"Serial Connection C: Close"_s);
    EXPECT_EQ(seen(), "off Closed <9  %1> <9600> (Open) -(Close)");
    Find<QCheckBox>(kPage, u"Open the serial connections when the program starts"_s)->click();
    EXPECT_EQ(KeptByKey(program_->settings, u"AutoOpen"_s), u"True"_s);
}

TEST_F(ConnectionsPageTest, ReceivedBytesAreShownByTheirFields) {
    Open(kPage);
    auto* bytes = Find<QTextEdit>(kPage, u"Received bytes"_s);
    const auto* fields = Find<QTableWidget>(kPage, u"Fields of the last packet"_s);
    auto* stream = Find<QComboBox>(kPage, u"Stream"_s);
    const auto bring = [&](const Bytes& packet) {
        for (const std::uint8_t byte : packet)
            program_->framer.ProcessByte(kStreamSerialC, byte);
        clock.AdvanceSeconds(1);
        return bytes->toPlainText().toStdString();
    };
    Bytes packet = PacketOf({.voltTenths = 1203, .serialNumber = 1234});
    stream->setCurrentIndex(stream->findText(u"Serial Connection C"_s));
    EXPECT_EQ(bring(packet), "");
    Click(kPage, u"Show received bytes"_s);
    bring({0x11, 0x22});
    EXPECT_TRUE(bring(packet).starts_with("11 22 \nFE FF 03 04 B3 ")) << "all bytes, none twice";
    EXPECT_NE(Find<QLabel>(kPage, u"2 good packets, 0 bad"_s), nullptr);
    ASSERT_EQ(fields->rowCount(), 18);
    EXPECT_EQ(fields->item(0, 1)->text(), u"04 B3"_s);
    EXPECT_EQ(fields->item(0, 2)->text(), u"120.3 V"_s);
    EXPECT_EQ(fields->item(17, 2)->text(), u"accepted"_s);
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

    Click(kPage, u"Hold still"_s);
    packet.back() = 0;
    EXPECT_EQ(bring(packet).find("refused"), std::string::npos);
    Click(kPage, u"Hold still"_s);
    EXPECT_NE(bring({}).find("00 refused by its checksum"), std::string::npos);
    EXPECT_EQ(fields->item(17, 2)->text(), u"refused"_s);
    stream->setCurrentIndex(stream->findText(u"TCP Server A"_s));
    EXPECT_TRUE(bytes->toPlainText().isEmpty());
    EXPECT_EQ(fields->rowCount(), 0);
    Click(kPage, u"Show received bytes"_s);
    EXPECT_FALSE(program_->framer.RawDisplay(kStreamTcpA));
}

}  // namespace
}  // namespace corvane
