#include "sim/serial_port_line.h"

#include <utility>

#include <sys/ioctl.h>
#include <termios.h>

namespace corvane {

using namespace Qt::StringLiterals;

SerialPortLine::~SerialPortLine() {
    // Closing brings back the speed that the port had before, at once: the last bytes must be out by then.
    if (port_.isOpen()) tcdrain(port_.handle());
}

Outcome SerialPortLine::Open(const QString& device, std::int32_t baud) {
    // The rest of what is needed is what a port is opened with.
    port_.setPortName(device);
    if (!port_.setBaudRate(baud) || !port_.open(QIODevice::ReadWrite))
        return Outcome::Failure(
            u"Cannot open %1 at %2 baud: %3"_s.arg(device, QString::number(baud), port_.errorString()));
    connect(&port_, &QSerialPort::readyRead, this, [this] {
        const QByteArray bytes = port_.readAll();
        Received(
            {reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
    });
    connect(&port_, &QSerialPort::errorOccurred, this, [this, device] { TellFailure(device); });
    return Outcome::Success();
}

void SerialPortLine::TellFailure(const QString& device) {
    // A port that is gone raises errors without end.
    if (std::exchange(failureTold_, true)) return;
    Q_EMIT Failed(u"%1 is gone: %2"_s.arg(device, port_.errorString()));
}

void SerialPortLine::Send(std::span<const std::uint8_t> bytes) {
    port_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
}

std::int64_t SerialPortLine::Unsent() {
    int held = 0;
    ioctl(port_.handle(), TIOCOUTQ, &held);
    return port_.bytesToWrite() + held;
}

}  // namespace corvane
