// A line through a pseudo terminal: programs open it as they open a serial port.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/outcome.h"
#include "sim/line.h"

namespace corvane {

/// Whoever has the terminal open is the listener; one is expected at a time. What a listener leaves unread
/// is dropped with the first look at the line after it is gone, so that the next one starts with a whole
/// packet.
class PtyLine : public QObject, public Line {
    Q_OBJECT

public:
    /// Bytes sent before the listener must have read them all; with one packet more they are less than the
    /// 4 KiB that a terminal holds ready for reading.
    static constexpr std::size_t kMostUnread = 2048;

    PtyLine() = default;
    ~PtyLine() override;  ///< removes the link, if it still is the one made here

    /// Makes the terminal, in raw mode, and a symbolic link to it. A link that is there already is replaced
    /// if it leads nowhere or to a pseudo terminal, as those of earlier runs do; whatever else is there
    /// stays, and makes this fail. May be called once.
    Outcome Open(const QString& link);

    [[nodiscard]] LineState State() override;
    void Send(std::span<const std::uint8_t> bytes) override;

    /// Bytes that the listener has not read yet: what a terminal still holds is lost when it goes. At least
    /// 1 while there are any.
    [[nodiscard]] std::int64_t Unsent() override;

private:
    Outcome MakeTerminal();
    Outcome MakeLink(const QString& link);
    [[nodiscard]] bool SomebodyListens();
    [[nodiscard]] std::int64_t Unread() const;
    void TakeInput();

    int master_ = -1;
    int slave_ = -1;  ///< kept open: with none open, the master reports without end that it is hung up
    std::string slavePath_;
    std::string link_;      ///< empty before it is made
    std::size_t sent_ = 0;  ///< bytes since the listener had last read them all
    std::unique_ptr<QSocketNotifier> readable_;
};

}  // namespace corvane
