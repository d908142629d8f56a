// What a simulated monitor sends, and a program that has a terminal open as its serial port.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "sim/simulated_monitor.h"

namespace corvane {

/// The first `count` packets of a monitor with this configuration, noise and all.
inline QByteArray PacketsOf(const MonitorConfig& config, int count) {
    SimulatedMonitor monitor(config);
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        const auto packet = monitor.NextPacket();
        bytes.append(reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size()));
    }
    return bytes;
}

/// Leaves the terminal's settings as they are. Never waits, but in WaitForBytes.
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

    /// Locks all others out, as programs do with serial ports.
    void Lock() { EXPECT_EQ(ioctl(descriptor_, TIOCEXCL), 0); }
    [[nodiscard]] bool Locked() const {
        int locked = 0;
        EXPECT_EQ(ioctl(descriptor_, TIOCGEXCL, &locked), 0);
        return locked != 0;
    }

private:
    int descriptor_;
};

}  // namespace corvane
