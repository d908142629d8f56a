// A serial port that goes while it is open, and comes back or does not.
#include <QFile>

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "link/serial_link_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class VanishedPort : public SerialLinkTest {
protected:
    /// Puts another device behind a symbolic link.
    static void PointTo(const QString& link, const QString& device) {
        QFile::remove(link);
        ASSERT_TRUE(QFile::link(device, link));
    }

    /// The cable is pulled out and the link goes; the system may give the device's number to somebody else.
    static void PullOut(Pty& line, const QString& link) {
        QFile::remove(link);
        line.HangUp();
    }

    [[nodiscard]] static bool IsClosedByItself(SerialLink& link) {
        return SpinUntil([&link] { return !link.IsOpen(); });
    }
};

TEST_F(VanishedPort, IsToldOnceAndComesBackBehindTheSameLink) {
    const QString path = folder_.Path(u"monitor"_s);
    auto line = std::make_unique<Pty>();
    const QString device = line->Path();
    PointTo(path, device);
    SerialLink& link = MakeA(path);
    ASSERT_EQ(Open(link), "");
    EXPECT_EQ(TakeLines(), Lines{kOpenA});

    line->Send(PacketBytes(1));
    ASSERT_TRUE(Comes({{1, 1}}));
    PullOut(*line, path);
    ASSERT_TRUE(IsClosedByItself(link));
    const std::string lost = "Port # 33 (" + device.toStdString() + ") was lost.";
    for (int second = 0; second < 23; ++second) {  // it stays away for some attempts
        EXPECT_EQ(link.Notice(), u"The port is gone. Reconnecting in %1 sec."_s.arg(5 - second % 5));
        clock_.AdvanceSeconds(1);
    }
    EXPECT_EQ(TakeLines(), Lines{"     Serial Connection A " + lost});
    ASSERT_EQ(errorLog_.Load().lines.size(), 1);
    EXPECT_TRUE(errorLog_.Load().lines[0].startsWith(QString::fromStdString("0\t" + lost)));

    const Pty other;  // so that the new line is not the old device
    line = std::make_unique<Pty>();
    PointTo(path, line->Path());
    clock_.AdvanceSeconds(2);
    EXPECT_TRUE(link.IsOpen());
    EXPECT_EQ(link.Notice(), u""_s);
    clock_.Advance(500);
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
    line->Send(PacketBytes(2));
    EXPECT_TRUE(Comes({{1, 1}, {1, 2}}));
    line->HangUp();  // a new loss is news again
    ASSERT_TRUE(IsClosedByItself(link));
    EXPECT_EQ(TakeLines().size(), 1U);
    EXPECT_EQ(errorLog_.Load().lines.size(), 2);
}

TEST_F(VanishedPort, ThatComesAndGoesBeforeItSettlesIsToldOnce) {
    const QString path = folder_.Path(u"monitor"_s);
    SerialLink& link = MakeA(path);
    for (int round = 0; round < 3; ++round) {
        Pty line;
        PointTo(path, line.Path());
        if (round == 0) {
            ASSERT_EQ(Open(link), "");
            clock_.Advance(500);  // to a full second: the attempts come with the clock's ticks
        } else {
            clock_.AdvanceSeconds(5);
            ASSERT_TRUE(link.IsOpen());
        }
        line.HangUp();
        ASSERT_TRUE(IsClosedByItself(link));
    }
    EXPECT_EQ(TakeLines().size(), 2U);  // open, lost
    EXPECT_EQ(errorLog_.Load().lines.size(), 1);
}

TEST_F(VanishedPort, IsNotTriedAgainOnceTheUserClosesItOrHasOpenedIt) {
    const QString path = folder_.Path(u"monitor"_s);
    SerialLink& link = MakeA(path);
    for (const bool opened : {false, true}) {
        Pty line;
        PointTo(path, line.Path());
        ASSERT_EQ(Open(link), "");
        PullOut(line, path);
        ASSERT_TRUE(IsClosedByItself(link));
        EXPECT_EQ(Open(link), "Error opening COM port: " + path.toStdString() + " is not there");
        EXPECT_NE(link.Notice(), u""_s);  // an opening in vain does not end them

        const Pty back;
        if (opened) PointTo(path, back.Path());
        (void)TakeLines();
        if (opened) {
            ASSERT_EQ(Open(link), "");
        } else {
            link.CloseCOM();
        }
        PointTo(path, back.Path());
        EXPECT_EQ(link.Notice(), u""_s);
        clock_.AdvanceSeconds(60);
        EXPECT_EQ(link.IsOpen(), opened);
        EXPECT_EQ(TakeLines(), Lines{opened ? kOpenA : kClosedA});
    }
}

}  // namespace
}  // namespace corvane
