// A line out of a serial port of this machine, for a cable to another one.
#pragma once

#include <QObject>
#include <QSerialPort>
#include <QString>

#include <cstdint>
#include <span>

#include "base/outcome.h"
#include "sim/line.h"

namespace corvane {

/// Nobody can tell whether a listener is at the other end: what is sent goes out all the same.
class SerialPortLine : public QObject, public Line {
    Q_OBJECT

public:
    static constexpr std::int64_t kMostUnsent = 1024;  ///< bytes; half a second's at the usual speed

    SerialPortLine() = default;
    ~SerialPortLine() override;  ///< lets the bytes that the system has taken go out

    /// Opens the port with 8 data bits, no parity, 1 stop bit and no flow control. May be called once.
    Outcome Open(const QString& device, std::int32_t baud);

    /// Never Unheard; Blocked while the port does not keep up.
    [[nodiscard]] LineState State() override {
        return Unsent() <= kMostUnsent ? LineState::Ready : LineState::Blocked;
    }

    void Send(std::span<const std::uint8_t> bytes) override;

    /// Bytes that have not gone out of the port yet, but for the few that its circuit holds.
    [[nodiscard]] std::int64_t Unsent() override;

Q_SIGNALS:
    void Failed(const QString& text);  ///< the port is gone; raised once

private:
    void TellFailure(const QString& device);

    QSerialPort port_;
    bool failureTold_ = false;
};

}  // namespace corvane
