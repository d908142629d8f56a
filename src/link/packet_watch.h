// Notices that bytes come on a link and none of them make a packet.
#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>

namespace corvane {

class Clock;
class ErrorLog;
class Framer;
class MonitorLink;
class StatusBoard;

/// Watches one link, from its opening until the first packet is taken. Where bytes have come for
/// `kPatience` without one it says so in status list and error log, once for each opening.
class PacketWatch : public QObject {
    Q_OBJECT

public:
    static constexpr std::int64_t kPatience = 30'000;  ///< ms from the first byte to the last

    PacketWatch(const MonitorLink& link, const Framer& framer, StatusBoard& board, ErrorLog& errorLog,
                Clock& clock);

    /// The link was opened or connected.
    void Begin();

    /// Bytes came that go to the framer.
    void NoteBytes();

    /// What was told, and likely why; empty before that, and from the first packet on.
    [[nodiscard]] QString Notice() const;

private:
    [[nodiscard]] bool Heard() const;
    [[nodiscard]] QString Text() const;
    void OnSecond();

    const MonitorLink& link_;
    const Framer& framer_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::uint64_t packets_ = 0;  ///< taken from the link before it was opened
    std::optional<std::int64_t> firstByte_;
    std::int64_t lastByte_ = 0;
    bool due_ = false;
    bool told_ = false;
};

}  // namespace corvane
