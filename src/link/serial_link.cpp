#include "link/serial_link.h"

#include <QPointer>

#include <cmath>
#include <optional>
#include <utility>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "link/serial_ports.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNoPort = u"No COM port selected. Try \"Find COM Port\" utility"_s;
const QString kOpenFailed = u"Error opening COM port: "_s;

/// The number of a COM port that `text` stands for; nothing where it stands for none.
std::optional<int> ComPortNumber(const QString& text) {
    const auto number = NumberEntry(text);
    if (!number.has_value() || *number < 1 || *number > kComPorts || std::trunc(*number) != *number) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

/// The baud rate of the list that `text` stands for; nothing where it stands for none.
std::optional<int> ListedBaudRate(const QString& text) {
    const auto number = NumberEntry(text);
    for (const int rate : SerialLink::kBaudRates) {
        if (number == rate) return rate;
    }
    return std::nullopt;
}

Outcome NoSuchBaudRate() {
    QStringList rates;
    for (const int rate : SerialLink::kBaudRates)
        rates.append(QString::number(rate));
    return Outcome::Failure(u"The baud rate is one of %1."_s.arg(rates.join(u", "_s)));
}

}  // namespace

Outcome CheckComPort(QString& text, const SettingValues&) {
    const auto number = ComPortNumber(text);
    if (!number.has_value()) return Outcome::Failure(kNoPort);
    text = QString::number(*number);
    return Outcome::Success();
}

Outcome CheckBaudRate(QString& text, const SettingValues&) {
    const auto rate = ListedBaudRate(text);
    if (!rate.has_value()) return NoSuchBaudRate();
    text = QString::number(*rate);
    return Outcome::Success();
}

// The blanks in front differ on purpose.
const SerialLink::Identity SerialLink::kA = {u'A', kStreamSerialA, "     Serial Port A Port is Closed."};
const SerialLink::Identity SerialLink::kB = {u'B', kStreamSerialB, "     Serial Port B Port is Closed."};
const SerialLink::Identity SerialLink::kC = {u'C', kStreamSerialC, "      Serial Port C Port is Closed."};

SerialLink::SerialLink(const Identity& identity, SerialPorts& ports, Framer& framer, SettingsStore& settings,
                       StatusBoard& board, ErrorLog& errorLog, Clock& clock)
    : MonitorLink(framer, identity.stream),
      identity_(identity),
      ports_(ports),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      clock_(clock) {
    connect(&clock, &Clock::SecondPassed, this, &SerialLink::OnSecond);
}

QCoro::Task<> SerialLink::StartUp() {
    if (!settings_.IsOn(kAutoOpen) || settings_.Value(kComPort, Place()).isEmpty()) co_return;
    const Outcome opened = co_await OpenCOM();
    if (!opened) board_.AddLine(u"     %1: %2"_s.arg(Name(), opened.Error()));
}

QCoro::Task<Outcome> SerialLink::OpenCOM() {
    const Outcome opened = Open();
    if (!opened) co_return opened;
    co_return co_await Settle();
}

void SerialLink::CloseCOM() {
    countdown_ = 0;
    Drop();
    board_.AddLine(QString::fromLatin1(identity_.closedLine));
}

Outcome SerialLink::Open() {
    const auto number = ComPortNumber(settings_.Value(kComPort, Place()));
    if (!number.has_value()) return Outcome::Failure(kNoPort);
    const auto rate = ListedBaudRate(settings_.Value(kBaudRate, Place()));
    if (!rate.has_value()) return NoSuchBaudRate();

    Drop();
    const QString path = ComDevice(*number, settings_);
    const PortState state = ports_.TestPort(path);
    if (state != PortState::Free) {
        return Outcome::Failure(kOpenFailed + path + u' ' + PortStateText(state, path));
    }
    auto port = std::make_unique<QSerialPort>();
    // The lock against other programs goes by the device's own name.
    const QString device = LinkedDevice(path);
    port->setPortName(device);
    port->setReadBufferSize(kInputBuffer);
    port->setBaudRate(*rate);
    port->setParity(QSerialPort::NoParity);
    port->setDataBits(QSerialPort::Data8);
    port->setStopBits(QSerialPort::OneStop);
    if (!port->open(QIODevice::ReadWrite)) {
        return Outcome::Failure(kOpenFailed + path + u": "_s + port->errorString());
    }
    // A line that has no such signals refuses, and that is all right.
    port->setDataTerminalReady(false);
    port->setRequestToSend(false);

    countdown_ = 0;
    number_ = *number;
    device_ = device;
    port_ = std::move(port);
    CountConnection();
    connect(port_.get(), &QSerialPort::readyRead, this, &SerialLink::ReadAll);
    connect(port_.get(), &QSerialPort::errorOccurred, this, &SerialLink::OnError);
    return Outcome::Success();
}

QCoro::Task<Outcome> SerialLink::Settle() {
    const QPointer<QSerialPort> opened = port_.get();
    const bool settled = co_await clock_.DLY(kSettleTime);
    if (!settled || opened.isNull() || opened != port_.get()) {
        co_return Outcome::Failure(u"%1 was closed again before its line had settled."_s.arg(Name()));
    }
    lossTold_ = false;
    board_.AddLine(u"     %1 Port # %2 is now open."_s.arg(Name()).arg(number_));
    co_return Outcome::Success();
}

void SerialLink::Drop() {
    if (port_ == nullptr) return;
    port_->disconnect(this);
    port_->close();
    // This may run within one of the port's own signals.
    port_.release()->deleteLater();
}

void SerialLink::ReadAll() {
    std::array<char, kInputBuffer> buffer;  // NOLINT(*-member-init): filled by read
    // A receiver of the packets may close this link, which lets go of the port.
    while (port_ != nullptr && reading_) {
        const qint64 count = port_->read(buffer.data(), buffer.size());
        if (count <= 0) return;
        const QByteArrayView data(buffer.data(), count);
        if (ReplyCapture()) {
            Q_EMIT ReplyArrived(data);
        } else {
            activity_ = true;
            Frame(data);
        }
    }
}

void SerialLink::SetReading(bool on) {
    if (on == std::exchange(reading_, on) || !on) return;
    // What has come raises no signal of its own any more.
    QMetaObject::invokeMethod(this, &SerialLink::ReadAll, Qt::QueuedConnection);
}

bool SerialLink::SendText(QByteArrayView text) {
    return port_ != nullptr && port_->write(text.data(), text.size()) == text.size();
}

void SerialLink::OnError(QSerialPort::SerialPortError error) {
    if (error == QSerialPort::NoError) return;
    // At the first error: a port that hung up says that it is open, and raises errors without end. Their
    // texts are not to be trusted.
    Drop();
    countdown_ = kRetrySeconds;
    if (std::exchange(lossTold_, true)) return;
    const QString text = u"Port # %1 (%2) was lost."_s.arg(number_).arg(device_);
    board_.AddLine(u"     %1 %2"_s.arg(Name(), text));
    errorLog_.LogError(0, text, Name());
}

void SerialLink::OnSecond() {
    if (countdown_ == 0) return;
    --countdown_;
    if (countdown_ > 0) return;
    if (Open()) {
        Settle();
    } else {
        countdown_ = kRetrySeconds;
    }
}

bool SerialLink::Uses(const QString& path) const {
    return IsOpen() && LinkedDevice(path) == device_;
}

LinkStatus SerialLink::Status() const {
    return {.state = IsOpen() ? SocketState::Open : SocketState::Closed,
            .text = IsOpen() ? u"Open"_s : u"Closed"_s,
            .port = Port(),
            .notice = Notice()};
}

QString SerialLink::Notice() const {
    if (countdown_ == 0) return {};
    return u"The port is gone. Reconnecting in %1 sec."_s.arg(countdown_);
}

bool SerialLink::TakeActivity() {
    return std::exchange(activity_, false);
}

}  // namespace corvane
