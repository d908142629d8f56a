// What the service says on its standard output, where a journal or a terminal takes it.
#pragma once

#include <QString>

#include "base/operator.h"
#include "measure/readings_sink.h"

namespace corvane {

class Framer;

/// Prints one line at once.
void Say(const QString& line);

/// Stands in for a person where there is none: prints what it is told, and answers every question with what
/// loses nothing.
class ServiceOperator final : public Operator {
public:
    void Show(const QString& text) override { Say(text); }
    QCoro::Task<Answer> Ask(Question question) override;
    QCoro::Task<std::optional<QString>> AskText(QString prompt) override;
    QCoro::Task<std::optional<QString>> AskFile(FileQuestion question) override;
};

/// Prints a line per packet: time, slot, serial number, volts, then watts and kWh of each channel.
class PacketPrinter final : public ReadingsSink {
public:
    void OnReadings(const DeviceReadings& readings) override;
};

/// "Packets: 1234 good, 2 bad"
[[nodiscard]] QString PacketCountsLine(const Framer& framer);

/// The line that `PacketPrinter` prints.
[[nodiscard]] QString PacketLine(const DeviceReadings& readings);

}  // namespace corvane
