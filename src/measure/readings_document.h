// The readings of all slots as one JSON document, the same for every reader.
#pragma once

#include <QJsonObject>

#include <optional>

namespace corvane {

class CaptureDatabase;
class Clock;
class Framer;
class Measurement;
class PulseCounters;
class VirtualChannels;

/// Counters of packets, per slot that got a packet its values and its channels' labels from the database
/// (left empty while it is locked), and the sums of the virtual channels. Of the slots only `onlySlot` where
/// one is given. `docs/control.md` describes the fields.
[[nodiscard]] QJsonObject ReadingsDocument(const Framer& framer, const Measurement& measurement,
                                           const PulseCounters& pulses,
                                           const VirtualChannels& virtualChannels,
                                           const CaptureDatabase& database, const Clock& clock,
                                           std::optional<int> onlySlot = std::nullopt);

}  // namespace corvane
