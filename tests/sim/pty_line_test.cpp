// The sending loop over real pseudo terminals, with a clock that the test moves.
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "expected_packets.h"
#include "listener.h"
#include "sim/packet_sender.h"
#include "sim/pty_line.h"
#include "sim/simulated_monitor.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype kPacket = 65;

class PtyLineTest : public testing::Test {
protected:
    PtyLineTest() {
        const Outcome opened = line.Open(link);
        EXPECT_TRUE(opened) << qPrintable(opened.Error());
    }
    ~PtyLineTest() override { clock.EndWaits(); }

    /// Starts the loop; `ended` tells when it is over.
    QCoro::Task<> Start(Pace pace) {
        co_await SendPackets(monitor, line, clock, pace);
        ended = true;
    }

    /// Lets time pass until the listener has got that many bytes.
    QByteArray Receive(Listener& listener, qsizetype count) {
        QByteArray bytes;
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            bytes += listener.Read(count - bytes.size());
            return bytes.size() == count;
        })) << bytes.size()
            << " of " << count;
        return bytes;
    }

    TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    FakeClock clock;
    PtyLine line;
    SimulatedMonitor monitor{{}};
    bool ended = false;
};

TEST_F(PtyLineTest, AListenerGetsAllPacketsOfARunHoweverSlowItIs) {
    constexpr int kCount = 2000;  // several times what the system holds
    Listener listener(link);
    Start({.pause = 0.5, .count = kCount});
    clock.Advance(100);
    EXPECT_EQ(line.State(), LineState::Blocked);
    EXPECT_LE(line.Unsent(), static_cast<std::int64_t>(PtyLine::kMostUnread) + kPacket);

    QByteArray bytes = Receive(listener, kCount * kPacket - 1);
    clock.Advance(100);
    EXPECT_EQ(line.Unsent(), 1);
    EXPECT_FALSE(ended) << "the terminal is not to go before its last byte is read";
    bytes += listener.Read(2);
    clock.Advance(1);
    EXPECT_TRUE(ended);
    EXPECT_TRUE(bytes == PacketsOf({}, kCount));
}

TEST_F(PtyLineTest, AByteIsUnsentUntilItIsRead) {
    Listener listener(link);
    // The system takes a moment to bring a byte to the slave; now and then a look falls into that.
    for (int i = 0; i < 200; ++i) {
        line.Send(std::array<std::uint8_t, 1>{0x7F});
        ASSERT_EQ(line.Unsent(), 1) << i;
        ASSERT_EQ(Receive(listener, 1), "\x7F");
        ASSERT_EQ(line.Unsent(), 0) << i;
    }
}

TEST_F(PtyLineTest, PacketsThatNobodyHearsAreLostAndLateListenersStartWithAWholeOne) {
    Start({.pause = 400, .count = 6});
    clock.Advance(2 * 400);

    Listener first(link);
    clock.Advance(400);
    QByteArray part;
    ASSERT_TRUE(SpinUntil([&] { return !(part += first.Read(20)).isEmpty(); }));
    EXPECT_EQ(part, PacketsOf({}, 3).sliced(2 * kPacket, 20));
    first.Leave();
    clock.Advance(400);

    Listener second(link);
    clock.Advance(2 * 400);
    EXPECT_EQ(Receive(second, 2 * kPacket), PacketsOf({}, 6).sliced(4 * kPacket));
    clock.Advance(1);
    EXPECT_TRUE(ended);
    EXPECT_EQ(second.Read(1), QByteArray());
}

TEST_F(PtyLineTest, AListenersLockLastsAsLongAsTheListener) {
    std::optional<Listener> listener(link);
    listener->Lock();
    EXPECT_EQ(line.State(), LineState::Ready);
    EXPECT_TRUE(listener->Locked());

    listener.reset();  // as a killed program goes: without unlocking
    EXPECT_EQ(line.State(), LineState::Unheard);
    listener.emplace(link);
    EXPECT_FALSE(listener->Locked());
}

TEST_F(PtyLineTest, WhatAListenerSendsIsDroppedWithoutEnd) {
    Listener listener(link);
    qsizetype left = 1 << 20;  // much more than the system holds
    EXPECT_TRUE(SpinUntil([&] { return (left -= listener.Write(QByteArray(10'000, '\n'))) <= 0; }));
    EXPECT_EQ(listener.Read(1), QByteArray()) << "and nothing comes back";
}

bool IsThere(const QString& path) {
    return std::filesystem::symlink_status(path.toStdString()).type() !=
           std::filesystem::file_type::not_found;
}

TEST(PtyLink, ReplacesOnlyWhatEarlierRunsLeaveBehind) {
    struct {
        const char* target;  ///< of a link that is there before
        bool replaced;
    } const cases[] = {{"/nowhere/at/all", true}, {"/dev/pts/ptmx", true}, {"/dev/null", false}};
    for (const auto& c : cases) {
        const TempFolder folder;
        const QString link = folder.Path(u"meter"_s);
        ASSERT_TRUE(QFile::link(QLatin1StringView(c.target), link));
        auto line = std::make_unique<PtyLine>();
        const Outcome opened = line->Open(link);
        EXPECT_EQ(bool{opened}, c.replaced) << c.target;
        EXPECT_EQ(opened.Error().contains(link), !c.replaced) << c.target;
        EXPECT_EQ(QFileInfo(link).symLinkTarget() != QLatin1StringView(c.target), c.replaced) << c.target;
        line.reset();
        EXPECT_EQ(IsThere(link), !c.replaced) << c.target;
    }
}

TEST(PtyLink, RefusesAFileAFolderAndAMissingFolder) {
    const TempFolder folder;
    folder.Write(u"file"_s, "letters");
    for (const auto& [path, why] :
         {std::pair(folder.Path(u"file"_s), "exists"), std::pair(folder.Path(), "exists"),
          std::pair(folder.Path(u"missing/meter"_s), "No such file")}) {
        const QString error = PtyLine().Open(path).Error();
        EXPECT_TRUE(error.contains(path) && error.contains(QLatin1StringView(why))) << qPrintable(error);
    }
    EXPECT_EQ(folder.Read(u"file"_s), "letters");
}

TEST(PtyLink, OfALaterRunIsLeftAlone) {
    const TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    auto earlier = std::make_unique<PtyLine>();
    ASSERT_TRUE(earlier->Open(link));
    PtyLine later;
    ASSERT_TRUE(later.Open(link));
    earlier.reset();
    const Listener listener(link);
    EXPECT_EQ(later.State(), LineState::Ready);
}

}  // namespace
}  // namespace corvane
