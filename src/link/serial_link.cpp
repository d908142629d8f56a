#include "link/serial_link.h"

#include <QPointer>

#include <algorithm>
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

std::optional<int> ComPortNumber(const QString& text) {
    return WholeNumberEntry(text, 1, kComPorts);
}

/// The baud rate of the list that `text` stands for; nothing where it stands for none.
std::optional<int> ListedBaudRate(const QString& text) {
    const auto& rates = SerialLink::kBaudRates;
    const auto number = WholeNumberEntry(text, rates.front(), rates.back());
    return number && std::ranges::find(rates, *number) != rates.end() ? number : std::nullopt;
}

Outcome NoSuchBaudRate() {
    QStringList rates;
    for (const int rate : SerialLink::kBaudRates)
        rates.append(QString::number(rate));
    return Outcome::Failure(u"The baud rate is one of %1."_s.arg(rates.join(u", "_s)));
}

/// "Error opening COM port: /dev/ttyUSB0 is not there".
QString NotToBeHad(const QString& path, PortState state) {
    return kOpenFailed + path + u' ' + PortStateText(state, path);
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
      clock_(clock),
      watch_(*this, framer, board, errorLog, clock) {
    connect(&clock, &Clock::SecondPassed, this, &SerialLink::OnSecond);
    connect(&settings, &SettingsStore::Changed, this, [this] {
        if (countdown_ > 0 && settings_.Value(kComPort, Place()) != awaited_) EndAttempts();
    });
}

void SerialLink::StartUp() {
    if (settings_.IsOn(kAutoOpen) && !settings_.Value(kComPort, Place()).isEmpty()) Attempt();
}

QCoro::Task<Outcome> SerialLink::OpenCOM() {
    return OpenCOM(settings_.Value(kComPort, Place()), settings_.Value(kBaudRate, Place()));
}

QCoro::Task<Outcome> SerialLink::OpenCOM(QString port, QString rate) {
    const Outcome opened = Open(port, rate);
    if (!opened) co_return opened;
    co_return co_await Settle();
}

void SerialLink::CloseCOM() {
    EndAttempts();
    Drop();
    board_.AddLine(QString::fromLatin1(identity_.closedLine));
}

Outcome SerialLink::Open(const QString& port, const QString& rate) {
    const auto number = ComPortNumber(port);
    if (!number.has_value()) return Outcome::Failure(kNoPort);
    const auto listed = ListedBaudRate(rate);
    if (!listed.has_value()) return NoSuchBaudRate();

    Drop();
    Outcome opened = OpenDevice(ComDevice(*number, settings_), *listed);
    if (!opened) return opened;
    number_ = *number;
    countdown_ = 0;
    CountConnection();
    watch_.Begin();
    Keep(kComPort, *number);
    Keep(kBaudRate, *listed);
    return opened;
}

void SerialLink::Keep(const Setting& setting, int value) {
    if (settings_.Value(setting, Place()) != QString::number(value)) settings_.Save(setting, value, Place());
}

Outcome SerialLink::OpenDevice(const QString& path, int rate) {
    const PortState state = ports_.TestPort(path);
    if (state != PortState::Free) return Outcome::Failure(NotToBeHad(path, state));
    auto port = std::make_unique<QSerialPort>();
    // The lock against other programs goes by the device's own name.
    const QString device = LinkedDevice(path);
    port->setPortName(device);
    port->setReadBufferSize(kInputBuffer);
    port->setBaudRate(rate);
    port->setParity(QSerialPort::NoParity);
    port->setDataBits(QSerialPort::Data8);
    port->setStopBits(QSerialPort::OneStop);
    if (!port->open(QIODevice::ReadWrite)) {
        return Outcome::Failure(kOpenFailed + path + u": "_s + port->errorString());
    }
    // A line that has no such signals refuses, and that is all right.
    port->setDataTerminalReady(false);
    port->setRequestToSend(false);

    device_ = device;
    port_ = std::move(port);
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
    told_.clear();
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
            watch_.NoteBytes();
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
    const QString text = u"Port # %1 (%2) was lost."_s.arg(number_).arg(device_);
    if (!TryLater(NotToBeHad(ComDevice(number_, settings_), PortState::Missing), u"The port is gone."_s))
        return;
    board_.AddLine(u"     %1 %2"_s.arg(Name(), text));
    errorLog_.LogError(0, text, Name());
}

void SerialLink::Attempt() {
    const Outcome opened = Open(settings_.Value(kComPort, Place()), settings_.Value(kBaudRate, Place()));
    if (opened) {
        Settle();  // nobody waits for it
        return;
    }
    const QString& text = opened.Error();
    if (!TryLater(text, text.endsWith(u'.') ? text : text + u'.')) return;
    board_.AddLine(u"     %1: %2"_s.arg(Name(), text));
    errorLog_.LogError(0, text, Name());
}

bool SerialLink::TryLater(const QString& failure, const QString& notice) {
    countdown_ = kRetrySeconds;
    awaited_ = settings_.Value(kComPort, Place());
    if (told_ == failure) return false;
    told_ = failure;
    trouble_ = notice;
    return true;
}

void SerialLink::EndAttempts() {
    countdown_ = 0;
    told_.clear();
}

void SerialLink::OnSecond() {
    if (countdown_ > 0 && --countdown_ == 0) Attempt();
}

bool SerialLink::Uses(const QString& path) const {
    return IsOpen() && LinkedDevice(path) == device_;
}

LinkStatus SerialLink::Status() const {
    return {.state = IsOpen() ? SocketState::Open : SocketState::Closed,
            .text = IsOpen() ? u"Open"_s : u"Closed"_s,
            .port = Port(),
            .error = countdown_ > 0 ? trouble_ : QString(),
            .notice = Notice()};
}

QString SerialLink::Notice() const {
    if (countdown_ > 0) return u"%1 Reconnecting in %2 sec."_s.arg(trouble_).arg(countdown_);
    return IsOpen() ? watch_.Notice() : QString();
}

bool SerialLink::TakeActivity() {
    return std::exchange(activity_, false);
}

}  // namespace corvane
