// A serial line without hardware: its far end in the hands of a test, and a program that has the port open.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "support/loopback.h"

namespace corvane {

class Pty {
public:
    Pty() : farEnd_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        EXPECT_EQ(grantpt(farEnd_), 0);
        EXPECT_EQ(unlockpt(farEnd_), 0);
        path_ = QString::fromLocal8Bit(ptsname(farEnd_));
        termios settings = Settings();
        cfmakeraw(&settings);  // as a terminal it would echo and change what is sent
        EXPECT_EQ(tcsetattr(farEnd_, TCSANOW, &settings), 0);
        // Stays open until this process ends, so that nobody else is given the same path: the lock file of a
        // port goes a moment after the port, and would then lock out a test that runs beside this one.
        EXPECT_GE(open(ptsname(farEnd_), O_RDWR | O_NOCTTY | O_CLOEXEC), 0);
    }
    ~Pty() { HangUp(); }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    /// Where a program opens it.
    [[nodiscard]] const QString& Path() const { return path_; }

    /// Sends all of `bytes`, handling events as long as the line takes no more.
    void Send(QByteArray bytes) {
        EXPECT_TRUE(SpinUntil([this, &bytes] {
            const auto taken = write(farEnd_, bytes.constData(), static_cast<std::size_t>(bytes.size()));
            if (taken > 0) bytes.remove(0, taken);
            return bytes.isEmpty();
        })) << bytes.size()
            << " bytes were not taken";
    }

    /// Everything that has come from the program.
    [[nodiscard]] const QByteArray& Received() {
        std::array<char, 256> buffer;
        for (ssize_t count = 1; count > 0;) {
            count = read(farEnd_, buffer.data(), buffer.size());
            if (count > 0) received_.append(buffer.data(), count);
        }
        return received_;
    }

    /// The line's settings, which both ends see.
    [[nodiscard]] termios Settings() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(farEnd_, &settings), 0);
        return settings;
    }

    /// As when the cable is pulled out.
    void HangUp() {
        if (farEnd_ >= 0) close(farEnd_);
        farEnd_ = -1;
    }

private:
    int farEnd_;
    QString path_;
    QByteArray received_;
};

/// A program that has a port open. Leaves the terminal's settings as they are. Never waits, but in
/// WaitForBytes.
class Listener {
public:
    explicit Listener(const QString& path)
        : descriptor_(open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        EXPECT_GE(descriptor_, 0) << qPrintable(path);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { close(descriptor_); }

    /// At most `most` of the bytes that are there.
    QByteArray Read(qsizetype most) {
        QByteArray bytes(most, '\0');
        const ssize_t count = read(descriptor_, bytes.data(), static_cast<std::size_t>(most));
        bytes.truncate(count > 0 ? count : 0);
        return bytes;
    }

    /// How many of the bytes the terminal took.
    qsizetype Write(const QByteArray& bytes) {
        const ssize_t count = write(descriptor_, bytes.constData(), static_cast<std::size_t>(bytes.size()));
        return count > 0 ? count : 0;
    }

    /// Whether bytes came within `patience` ms; false at once where the other end is gone.
    [[nodiscard]] bool WaitForBytes(int patience) const {
        pollfd entry{.fd = descriptor_, .events = POLLIN, .revents = 0};
        return poll(&entry, 1, patience) > 0 && (entry.revents & POLLHUP) == 0;
    }

    /// To do what else programs do with serial ports.
    [[nodiscard]] int Descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

}  // namespace corvane
