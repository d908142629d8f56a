// Serial connection A, B and C: where a monitor is wired to a COM port.
#pragma once

#include <QCoroTask>
#include <QSerialPort>
#include <QString>

#include <array>
#include <cstdint>
#include <memory>

#include "base/outcome.h"
#include "base/setting.h"
#include "link/monitor_link.h"
#include "link/packet_watch.h"

namespace corvane {

class Clock;
class ErrorLog;
class SerialPorts;
class SettingsStore;
class StatusBoard;

Outcome CheckComPort(QString& text, const SettingValues& values);
Outcome CheckBaudRate(QString& text, const SettingValues& values);

inline constexpr Setting kComPort{.key = "ComPort#",
                                  .members = "A-C",
                                  .check = CheckComPort,
                                  .effect = SettingEffect::NextOpening,
                                  .help = "COM port of the serial connection, 1 to 64."};
inline constexpr Setting kBaudRate{.key = "BaudRate#",
                                   .members = "A-C",
                                   .fallback = "19200",
                                   .check = CheckBaudRate,
                                   .effect = SettingEffect::NextOpening,
                                   .help = "Baud rate of the serial connection, 1200 to 115200."};
inline constexpr Setting kAutoOpen{
    .key = "AutoOpen",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .effect = SettingEffect::NextStart,
    .help = "Whether the serial connections that have a port are opened at the start."};
inline constexpr std::array kSerialLinkSettings = {kComPort, kBaudRate, kAutoOpen};

/// Feeds what the monitor sends to the framer, on the link's own stream. The line is 8 bits, no parity, one
/// stop bit, at the rate chosen. A port that vanishes, or cannot be opened at the start, is tried again until
/// it is open, or the user closes it or chooses another.
class SerialLink : public MonitorLink {
    Q_OBJECT

public:
    static constexpr std::array kBaudRates = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
    static constexpr qint64 kInputBuffer = 1024;      ///< bytes
    static constexpr std::int64_t kSettleTime = 500;  ///< ms from opening until the line is at rest
    static constexpr int kRetrySeconds = 5;

    struct Identity {
        QChar letter;
        int stream;
        const char* closedLine;
    };
    static const Identity kA;  ///< stream 1
    static const Identity kB;  ///< stream 3
    static const Identity kC;  ///< stream 4

    SerialLink(const Identity& identity, SerialPorts& ports, Framer& framer, SettingsStore& settings,
               StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    /// Opens the port that was chosen, if there is one and `kAutoOpen` is on. Called once when the program
    /// starts.
    void StartUp();

    /// The open button: opens the port that was chosen, closing what was open, and lets the line settle. The
    /// failure is what the user reads.
    QCoro::Task<Outcome> OpenCOM();

    /// The same with a port and a baud rate as they were entered, which are kept once the port is open.
    QCoro::Task<Outcome> OpenCOM(QString port, QString rate);

    /// The close button; it also ends the attempts to open the port.
    void CloseCOM();

    void SetReading(bool on) override;
    bool SendText(QByteArrayView text) override;
    [[nodiscard]] bool IsSerial() const override { return true; }

    [[nodiscard]] QChar Letter() const override { return identity_.letter; }
    [[nodiscard]] LinkStatus Status() const override;
    [[nodiscard]] bool IsOpen() const { return port_ != nullptr; }

    /// The number of the open COM port; 0 where none is open.
    [[nodiscard]] int Port() const { return IsOpen() ? number_ : 0; }

    /// Whether the open port is the device that `path` names.
    [[nodiscard]] bool Uses(const QString& path) const;

    /// "The port is gone. Reconnecting in 5 sec.", or why else it is tried again; that bytes make no packets;
    /// or empty.
    [[nodiscard]] QString Notice() const;

    /// Whether data came in since this was last asked.
    [[nodiscard]] bool TakeActivity();

private:
    [[nodiscard]] SettingPlace Place() const { return {.member = identity_.letter}; }
    Outcome Open(const QString& port, const QString& rate);
    Outcome OpenDevice(const QString& path, int rate);
    void Keep(const Setting& setting, int value);
    QCoro::Task<Outcome> Settle();
    void Attempt();

    /// Has the port tried again, for a reason that people read before "Reconnecting". Whether it is news:
    /// `failure` is not what was told last.
    [[nodiscard]] bool TryLater(const QString& failure, const QString& notice);
    void EndAttempts();
    void Drop();
    void ReadAll();
    void OnError(QSerialPort::SerialPortError error);
    void OnSecond();

    const Identity& identity_;
    SerialPorts& ports_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    PacketWatch watch_;
    std::unique_ptr<QSerialPort> port_;  ///< null while closed
    int number_ = 0;                     ///< of the COM port opened last
    QString device_;                     ///< and its path, links followed
    int countdown_ = 0;                  ///< seconds to the next attempt; 0 = none is due
    QString awaited_;                    ///< the port that was chosen when they began
    QString trouble_;                    ///< why there are attempts, for the notice
    QString told_;                       ///< the last failure that was told, until the port has stood open
    bool activity_ = false;
    bool reading_ = true;
};

}  // namespace corvane
