// A place of this machine at which others connect: a TCP port, or a local socket.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <cstdint>
#include <memory>

#include "base/outcome.h"

class QHostAddress;

namespace corvane {

class Clock;

/// Who can connect to a local socket.
enum class SocketFor : std::uint8_t { Owner, Group };

/// Everybody who takes connections takes them through this. Where the system refuses one, as it does to a
/// program that has no descriptors left, it pauses until the next second of the clock and tries again. That
/// is told once, and again only after it has gone well for `kWell`.
class Acceptor : public QObject {
    Q_OBJECT

public:
    static constexpr std::int64_t kWell = 60'000;  ///< ms

    explicit Acceptor(Clock& clock);
    ~Acceptor() override;

    /// Listens there instead of where it did; QHostAddress::Any is all addresses of both kinds, port 0 lets
    /// the system choose one.
    Outcome Listen(const QHostAddress& address, std::uint16_t port);

    /// The same at the path of a local socket, which must be free. This user can connect to it, or all
    /// members of the program's group, as far as they reach its folder.
    Outcome ListenAt(const QString& path, SocketFor whom = SocketFor::Owner);

    /// Removes the local socket, too.
    void Close();

    /// Off: who connects waits with the operating system.
    void SetTaking(bool on);

    [[nodiscard]] bool IsListening() const { return descriptor_ >= 0; }
    [[nodiscard]] std::uint16_t Port() const { return port_; }         ///< 0 where it does not listen
    [[nodiscard]] bool AddressInUse() const { return addressInUse_; }  ///< why the last attempt failed

Q_SIGNALS:
    void Incoming(int descriptor);  ///< non-blocking; whoever gets it closes it
    /// "takes no connections: ..." and "takes connections again.", each once.
    void Told(const QString& text);

private:
    void Begin(int descriptor);
    void Take();
    void Retry();

    int descriptor_ = -1;
    std::uint16_t port_ = 0;
    QString path_;
    std::unique_ptr<QSocketNotifier> notifier_;
    bool addressInUse_ = false;
    bool taking_ = true;
    bool paused_ = false;  ///< until the next second
    bool told_ = false;
    std::int64_t failedAt_ = 0;  ///< monotonic, ms
    const Clock& clock_;
};

/// Whether a server of this machine could listen there, which fails as `Acceptor::Listen` would.
Outcome CheckListening(const QHostAddress& address, std::uint16_t port);

}  // namespace corvane
