#include "sim/simulated_monitor.h"

#include <charconv>
#include <cstdlib>

#include "sim/line_noise.h"

namespace corvane {
namespace {

constexpr std::int32_t kSecondsPerDay = 24 * 3600;
constexpr std::size_t kSerialDigits = 5;

constexpr std::uint64_t kUsedSeconds = 864'000;  // ten days
constexpr std::uint64_t kSecondsWrapAt = 14;

// Tenths of a volt.
constexpr std::uint64_t kLowestVoltage = 1180;
constexpr std::uint64_t kFirstVoltage = 1210;
constexpr std::uint64_t kHighestVoltage = 1240;

/// How one of the monitor's energy counters begins.
struct Counter {
    Field field;
    std::uint64_t used;    ///< watt-seconds after some days of use; all differ, so that mix-ups show
    std::uint64_t wrapAt;  ///< the packet that brings it past its top, where it starts below that
};

// The wraps fall on packets of their own: the seconds counter's makes receivers start again.
constexpr std::array<Counter, 9> kCounters = {{
    {Field::Ch1Absolute, 7'200'000'000, 3},
    {Field::Ch2Absolute, 5'400'000'000, 4},
    {Field::Ch1Polarized, 1'800'000'000, 5},
    {Field::Ch2Polarized, 7'200'000, 6},
    {Field::Aux1, 900'000'000, 7},
    {Field::Aux2, 720'000'000, 8},
    {Field::Aux3, 540'000'000, 9},
    {Field::Aux4, 360'000'000, 10},
    {Field::Aux5, 180'000'000, 11},
}};

/// Counts of a field before it starts again at 0.
constexpr std::uint64_t Span(Field field) {
    return std::uint64_t{1} << (8U * Layout(field).width);
}

/// Watt-seconds that a counter takes up in `seconds`.
std::uint64_t Energy(Field counter, const ChannelWatts& watts, std::int32_t seconds) {
    const std::int32_t power = watts[Layout(counter).channel];
    // The polarized counters run while the power is negative, instead of always.
    if (Layout(counter).quantity == Quantity::PolarizedEnergy && power >= 0) return 0;
    return static_cast<std::uint64_t>(std::abs(power)) * static_cast<std::uint64_t>(seconds);
}

/// Hundredths of an ampere, halves rounded up.
std::uint64_t Current(std::int32_t watts, std::uint64_t tenthsOfVolt) {
    return (static_cast<std::uint64_t>(std::abs(watts)) * 1000 + tenthsOfVolt / 2) / tenthsOfVolt;
}

}  // namespace

std::variant<MonitorSerial, std::string> ParseMonitorSerial(std::string_view text) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.size() <= kSerialDigits || text.size() > kSerialDigits + 3 ||
        !std::all_of(text.begin(), text.end(), digit))
        return "a serial is 6 to 8 digits: the unit id, then five digits of serial number";

    const auto toNumber = [](std::string_view digits) {
        std::uint32_t number = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return number;
    };
    const std::string_view idText = text.substr(0, text.size() - kSerialDigits);
    const std::uint32_t id = toNumber(idText);
    const std::uint32_t number = toNumber(text.substr(idText.size()));
    if (idText.size() > 1 && idText.front() == '0') return "a unit id has no leading zeros";
    if (id > 255) return "a unit id is at most 255";
    if (number > 65535) return "a serial number is at most 65535";
    return MonitorSerial{static_cast<std::uint8_t>(id), static_cast<std::uint16_t>(number)};
}

SimulatedMonitor::SimulatedMonitor(const MonitorConfig& config)
    : config_(config), random_(config.seed), secondOfDay_(config.startSecondOfDay) {
    SetSerial(config.serial);
    Set(Field::Voltage, kFirstVoltage);
    if (config.scenario->counters == CounterStart::BelowTop) {
        StartBelowTop();
    } else {
        StartCounters();
    }
    Encode();
}

void SimulatedMonitor::SetSerial(MonitorSerial serial) {
    config_.serial = serial;
    Set(Field::UnitId, serial.unitId);
    Set(Field::SerialNumber, serial.number);
}

void SimulatedMonitor::StartCounters() {
    Set(Field::Seconds, kUsedSeconds);
    for (const Counter& counter : kCounters) {
        if (config_.model->Has(counter.field)) Set(counter.field, counter.used);
    }
}

void SimulatedMonitor::StartBelowTop() {
    const ChannelWatts watts = WattsAt(*config_.scenario, secondOfDay_);
    Set(Field::Seconds, Span(Field::Seconds) - kSecondsWrapAt * static_cast<std::uint64_t>(config_.interval));
    for (const Counter& counter : kCounters) {
        if (!config_.model->Has(counter.field)) continue;
        // By half a step more than 0: a counter at 0 is taken as reset, not as wrapped.
        const std::uint64_t step = Energy(counter.field, watts, config_.interval);
        Set(counter.field, Span(counter.field) - counter.wrapAt * step + step / 2);
    }
}

void SimulatedMonitor::Restart() {
    Set(Field::Seconds, 0);
    ResetEnergy();
}

void SimulatedMonitor::ResetEnergy() {
    for (const Counter& counter : kCounters)
        Set(counter.field, 0);
}

std::span<const std::uint8_t> SimulatedMonitor::NextPacket() {
    if (packets_ != 0 && packets_ == config_.scenario->restartAfter) Restart();
    ++packets_;
    Measure();
    CountEnergy();
    Encode();

    line_.clear();
    if (config_.scenario->lineNoise) {
        LineNoise noise = MakeLineNoise(LastPacket(), random_);
        line_ = std::move(noise.bytes);
        lastPacketLost_ = noise.swallowsPacket;
        refusedPackets_ += noise.refused ? 1 : 0;
    }
    line_.insert(line_.end(), LastPacket().begin(), LastPacket().end());
    return line_;
}

void SimulatedMonitor::Measure() {
    const std::uint64_t voltage = Raw(Field::Voltage) + random_() % 5 - 2;
    Set(Field::Voltage, std::clamp(voltage, kLowestVoltage, kHighestVoltage));

    watts_ = WattsAt(*config_.scenario, secondOfDay_);
    const std::int32_t unrest = config_.scenario->unrest;
    for (std::size_t i = kGenerator; unrest > 0 && i < kChannels; ++i) {
        const auto thousandths =
            static_cast<std::int32_t>(random_() % (2U * static_cast<unsigned>(unrest) + 1));
        const std::int32_t change = watts_[i] * (thousandths - unrest) / 1000;
        watts_[i] += change;
        watts_[kMainPanel] += i == kGenerator ? -change : change;
    }
    secondOfDay_ = (secondOfDay_ + config_.interval) % kSecondsPerDay;
}

void SimulatedMonitor::CountEnergy() {
    Add(Field::Seconds, static_cast<std::uint64_t>(config_.interval));
    for (const Counter& counter : kCounters)
        Add(counter.field, Energy(counter.field, watts_, config_.interval));
    for (const Field current : {Field::Ch1Current, Field::Ch2Current})
        Set(current, Current(watts_[Layout(current).channel], Raw(Field::Voltage)));
}

void SimulatedMonitor::Add(Field field, std::uint64_t counts) {
    if (config_.model->Has(field)) Set(field, (Raw(field) + counts) % Span(field));
}

void SimulatedMonitor::Encode() {
    const std::span<std::uint8_t> packet(packet_.data(), config_.model->length);
    std::ranges::copy(kHeaderBegin, packet.begin());
    packet[kHeaderBegin.size()] = config_.model->thirdHeaderByte;
    for (std::size_t i = 0; i < kPacketFields.size(); ++i) {
        const auto field = static_cast<Field>(i);
        if (config_.model->Has(field)) EncodeField(packet, field, Raw(field));
    }
    packet.back() = PacketChecksum(packet);
}

}  // namespace corvane
