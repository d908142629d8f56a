// A link to a monitor as commands see it: bytes go out, and what comes back can be kept from the framer.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>

#include "link/framer.h"

namespace corvane {

class MonitorLink : public QObject, public ByteSource {
    Q_OBJECT

public:
    /// "TCP Server A", "Serial Connection B".
    [[nodiscard]] virtual QString Name() const = 0;

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

    [[nodiscard]] int Stream() const { return stream_; }
    void CountConnection() { ++connections_; }

    /// Passes `chunk` to the framer, byte by byte.
    void Frame(QByteArrayView chunk);

    Framer& framer_;

private:
    int stream_;
    bool replyCapture_ = false;
    int connections_ = 0;
};

}  // namespace corvane
