// A link to a monitor, whatever it is made of: bytes go out, what comes in is framed or, as the reply to a
// command, kept from the framer, and people see how it stands.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>

#include <algorithm>
#include <array>

#include "link/device_texts.h"
#include "link/framer.h"
#include "link/tcp_socket.h"

namespace corvane {

/// How a link stands, for people and programs. A serial link is open or closed.
struct LinkStatus {
    SocketState state = SocketState::Closed;
    QString text = {};    ///< the state in words
    int port = 0;         ///< the TCP port that it listens on, or the COM port that is open; 0 = none
    QString error = {};   ///< what went wrong, and is not yet mended
    QString notice = {};  ///< what happens next, or empty
};

class MonitorLink : public QObject, public ByteSource {
    Q_OBJECT

public:
    /// "TCP Server A", "Serial Connection B".
    [[nodiscard]] QString Name() const { return LinkName(stream_); }

    /// The one that its name and the keys of its settings end with.
    [[nodiscard]] virtual QChar Letter() const = 0;

    /// "tcp-a", "serial-b": its name for programs, and for people who type it.
    [[nodiscard]] QString Word() const {
        return (IsSerial() ? QStringLiteral("serial-") : QStringLiteral("tcp-")) + Letter().toLower();
    }

    [[nodiscard]] virtual LinkStatus Status() const = 0;

    /// Its number: 0 to 4, as the framer's.
    [[nodiscard]] int Stream() const { return stream_; }

    /// Sends to the monitor. False where the link is not open or not connected: nothing was sent.
    virtual bool SendText(QByteArrayView text) = 0;

    /// A closed serial port is told to the user who sends a command; a TCP link fails silently.
    [[nodiscard]] virtual bool IsSerial() const = 0;

    /// Whether this link calls the other end, rather than being called.
    [[nodiscard]] virtual bool ConnectsOut() const { return false; }

    /// While set, what comes in is handed out by `ReplyArrived` instead of going to the framer. A packet that
    /// is open then is dropped: glued to what comes after the reply it could pass for a good one.
    void SetReplyCapture(bool capture);
    [[nodiscard]] bool ReplyCapture() const { return replyCapture_; }

    /// How often the link was opened or connected. Where it has risen, another monitor may be at the far end.
    [[nodiscard]] int Connections() const { return connections_; }

Q_SIGNALS:
    void ReplyArrived(QByteArrayView chunk);  ///< valid during the call only

protected:
    MonitorLink(Framer& framer, int stream) : framer_(framer), stream_(stream) {}

    void CountConnection() { ++connections_; }

    /// Passes `chunk` to the framer, byte by byte.
    void Frame(QByteArrayView chunk);

    Framer& framer_;

private:
    int stream_;
    bool replyCapture_ = false;
    int connections_ = 0;
};

/// All links, by their streams.
using MonitorLinks = std::array<MonitorLink*, kStreams>;

/// The same as they are listed: those over TCP, then the serial ones.
[[nodiscard]] MonitorLinks Listed(MonitorLinks links);

/// "Listening, port 8080".
[[nodiscard]] QString StateText(const MonitorLink& link);

/// "TCP Server A: Listening, port 8080", and the notice where there is one.
[[nodiscard]] QString StatusLine(const MonitorLink& link);

/// The one of these links that has the letter, in either case; null where none has.
template <typename Links>
[[nodiscard]] typename Links::value_type LinkOf(const Links& links, const QString& letter) {
    const auto found = std::ranges::find_if(links, [&letter](const MonitorLink* link) {
        return letter.compare(link->Letter(), Qt::CaseInsensitive) == 0;
    });
    return found != links.end() ? *found : nullptr;
}

}  // namespace corvane
