#include "app/console.h"

#include <cstdio>

#include "base/number_format.h"
#include "link/device_slots.h"
#include "link/framer.h"
#include "measure/readings.h"

namespace corvane {

using namespace Qt::StringLiterals;

void Say(const QString& line) {
    std::puts(line.toUtf8().constData());
    std::fflush(stdout);
}

QCoro::Task<Answer> ServiceOperator::Ask(Question question) {
    Say(u"%1 -> %2"_s.arg(question.text.simplified(), AnswerText(question.safe)));
    co_return question.safe;
}

QCoro::Task<std::optional<QString>> ServiceOperator::AskText(QString prompt) {
    Say(u"%1 -> no answer"_s.arg(prompt.simplified()));
    co_return std::nullopt;
}

QCoro::Task<std::optional<QString>> ServiceOperator::AskFile(FileQuestion question) {
    const bool any = !question.suggestion.isEmpty();
    Say(u"%1 -> %2"_s.arg(question.prompt, any ? question.suggestion : u"none"_s));
    co_return any ? std::optional(question.suggestion) : std::nullopt;
}

QString PacketCountsLine(const Framer& framer) {
    return u"Packets: %1 good, %2 bad"_s.arg(framer.GoodPackets()).arg(framer.BadPackets());
}

QString PacketLine(const DeviceReadings& readings) {
    std::string line = ClockText(readings.time) + "  Device " + SlotLetter(readings.slot).toStdString() +
                       " " + readings.serial + "  " + FormatNumber(readings.volt, "##0.0") + " V";
    for (std::size_t i = 0; i < kChannels; ++i) {
        if (!readings.model->Has(i)) continue;
        const EnergyCounter& counter = readings.channels[i].absolute;
        line += std::string("  ") + ChannelName(i) + " ";
        line += counter.watts.has_value() ? std::to_string(*counter.watts) : "-";
        line += " W " + FormatNumber(counter.Kwh(), "#####0.000") + " KWh";
    }
    return QString::fromStdString(line);
}

void PacketPrinter::OnReadings(const DeviceReadings& readings) {
    Say(PacketLine(readings));
}

}  // namespace corvane
