// The readings of all slots as one JSON document, the same for every reader.
#pragma once

#include <QJsonObject>

namespace corvane {

class CaptureDatabase;
class Clock;
class Framer;
class Measurement;

/// Counters of packets, and per slot that got a packet its values and its channels' labels from the database
/// (left empty while it is locked). `docs/control.md` describes the fields.
[[nodiscard]] QJsonObject ReadingsDocument(const Framer& framer, const Measurement& measurement,
                                           const CaptureDatabase& database, const Clock& clock);

}  // namespace corvane
