// Readings as server-sent events: one for every packet, to every browser that listens.
#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QJsonObject>
#include <QObject>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "link/device_slots.h"
#include "measure/readings.h"
#include "measure/readings_sink.h"

namespace corvane {

class Clock;
class Measurement;

/// The readings document, of all devices or of the one in a slot.
using ReadingsSource = std::function<QJsonObject(std::optional<int> slot)>;

/// What one reader is still to be sent. All readers share the bytes of an event.
class EventStream {
public:
    using Event = std::shared_ptr<const QByteArray>;
    static constexpr std::size_t kMostWaiting = 32;  ///< a reader who is further behind is let go

    /// `wake` is called when there is something to take, or the stream ended.
    explicit EventStream(std::function<void()> wake) : wake_(std::move(wake)) {}

    void Push(Event event);
    void End();

    /// Moves up to `room` bytes to `buffer`; 0 where none wait.
    std::size_t Take(char* buffer, std::size_t room);

    [[nodiscard]] bool Ended() const { return ended_; }

private:
    std::function<void()> wake_;
    std::deque<Event> waiting_;
    std::size_t taken_ = 0;  ///< bytes of the first one
    bool ended_ = false;
};

/// Costs a packet no more than a mark: events are made when the event loop gets round to it. A device that
/// sends more often than `kLeastSpacing` is told of by its newest readings; one that fell silent is told of,
/// too.
class LiveEvents final : public QObject, public ReadingsSink {
    Q_OBJECT

public:
    static constexpr std::int64_t kLeastSpacing = 100;  ///< ms between two events of a device
    static constexpr int kHeartbeat = 10;               ///< seconds between two events of all devices
    static constexpr std::size_t kMostReaders = 100;

    LiveEvents(ReadingsSource readings, const Measurement& measurement, Clock& clock);

    void OnReadings(const DeviceReadings& readings) override;

    /// A new reader, whose first event tells all devices; null where there are too many. It leaves by letting
    /// go of the stream.
    [[nodiscard]] std::shared_ptr<EventStream> Join(std::function<void()> wake);

private:
    void OnSecond();
    [[nodiscard]] bool AnyFellSilent();
    QCoro::Task<> TellPackets();
    void Tell(const char* name, std::optional<int> slot);

    ReadingsSource readings_;
    const Measurement& measurement_;
    Clock& clock_;
    std::vector<std::weak_ptr<EventStream>> readers_;
    std::array<bool, kSlots> due_{};            ///< slots whose packet is still to be told
    std::array<Presence, kSlots> presences_{};  ///< a second ago
    bool telling_ = false;
    int secondsSinceAll_ = 0;
};

}  // namespace corvane
