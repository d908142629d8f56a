#include "measure/measurement.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/clock.h"
#include "measure/readings_sink.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

/// One of a slot's nine counters: the field that brings it, and which of the carries is its own.
struct Measurement::CounterSource {
    Field field;
    QLatin1StringView carry;  ///< member of `kCarry`

    [[nodiscard]] SettingPlace Place(int slot) const { return {.member = carry, .slot = slot}; }
    [[nodiscard]] CounterName Name() const {
        return {.channel = Layout(field).channel,
                .polarized = Layout(field).quantity == Quantity::PolarizedEnergy};
    }
    [[nodiscard]] EnergyCounter& Of(DeviceReadings& readings) const { return readings.Counter(Name()); }
    [[nodiscard]] static const CounterSource& Named(const CounterName& counter) {
        return *std::ranges::find(kAll, counter, &CounterSource::Name);
    }

    static const std::array<CounterSource, 9> kAll;
};

constexpr std::array<Measurement::CounterSource, 9> Measurement::CounterSource::kAll = {{
    {Field::Ch1Absolute, "1A"_L1},
    {Field::Ch2Absolute, "2A"_L1},
    {Field::Ch1Polarized, "1P"_L1},
    {Field::Ch2Polarized, "2P"_L1},
    {Field::Aux1, "3"_L1},
    {Field::Aux2, "4"_L1},
    {Field::Aux3, "5"_L1},
    {Field::Aux4, "6"_L1},
    {Field::Aux5, "7"_L1},
}};

namespace {

/// What the ledger says of the monitor that was in a slot.
std::string Former(const DeviceReadings& readings, const std::string& serial) {
    std::string text = "before it was ";
    text.append(serial.empty() ? "none" : serial);
    if (readings.model != nullptr) text.append(", ").append(readings.model->name);
    return text;
}

/// Hundredths of an ampere, rounded to one decimal, halves up.
float OneDecimalAmps(std::uint64_t hundredths) {
    const std::uint64_t tenths = (hundredths + 5) / 10;
    return static_cast<float>(tenths) / 10.0F;
}

}  // namespace

Measurement::Measurement(const DeviceSlots& slots, SettingsStore& settings, ErrorLog& errorLog,
                         const Clock& clock, std::span<const MonitorModel> models)
    : slots_(slots), settings_(settings), errorLog_(errorLog), clock_(clock), models_(models) {
    for (int slot = 1; slot <= kSlots; ++slot) {
        StartAnew(readings_[static_cast<std::size_t>(slot - 1)], slot);
        answered_[static_cast<std::size_t>(slot - 1)] = slots.Answered(slot);
        LoadCarries(slot, {});
    }
    LoadVoltFactor();
    connect(&slots, &DeviceSlots::BindingsChanged, this, &Measurement::TakeBindings);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString& section, const QString& key) {
        if (IsKeyOf(kLineToLine, key)) LoadVoltFactor();
        const int slot = section.toInt();
        if (slot >= 1 && slot <= kSlots) LoadCarries(slot, key);
    });
}

void Measurement::LoadVoltFactor() {
    voltFactor_ = settings_.IsOn(kLineToLine) ? 2 : 1;
}

/// The one that `key` keeps, or all where it is empty.
void Measurement::LoadCarries(int slot, const QString& key) {
    DeviceReadings& readings = readings_[static_cast<std::size_t>(slot - 1)];
    for (const CounterSource& source : CounterSource::kAll) {
        const SettingPlace place = source.Place(slot);
        if (!key.isEmpty() && key.compare(SettingKey(kCarry, place), Qt::CaseInsensitive) != 0) continue;
        source.Of(readings).carry = static_cast<std::int16_t>(settings_.Number(kCarry, place));
    }
}

void Measurement::NoteUnbound(const RealtimePacket& packet, const std::string& serial) {
    const auto known = std::ranges::find(unbound_, serial, &UnboundMonitor::serial);
    if (known != unbound_.end()) {
        unbound_.erase(known);
    } else if (unbound_.size() == kMostUnbound) {
        unbound_.erase(unbound_.begin());
    }
    unbound_.push_back(
        {.serial = serial, .model = packet.model, .stream = packet.source, .time = clock_.Now()});
}

std::vector<UnboundMonitor> Measurement::Unbound() const {
    std::vector<UnboundMonitor> unbound;
    std::copy_if(unbound_.rbegin(), unbound_.rend(), std::back_inserter(unbound),
                 [this](const UnboundMonitor& monitor) { return slots_.Choose(monitor.serial) == kNoSlot; });
    return unbound;
}

void Measurement::DisplayData(int stream, std::span<const std::uint8_t> bytes) {
    const RealtimePacket packet = DecodePacket(stream, bytes, models_);
    const std::string serial = slots_.RoutingText(packet);
    const int slot = slots_.Choose(serial);
    if (slot == kNoSlot) return NoteUnbound(packet, serial);
    DeviceReadings& readings = readings_[static_cast<std::size_t>(slot - 1)];
    if (readings.serial != serial) {
        // The first packet since the start, or since another monitor was bound.
        StartAnew(readings, slot);
        readings.serial = serial;
    } else if (readings.model != packet.model) {
        NoteSwap(readings, serial,
                 Former(readings, serial).append("; now it is a ").append(packet.model->name));
    }
    readings.model = packet.model;
    readings.stream = stream;
    readings.time = clock_.Now();
    readings.elapsedClock = clock_.Monotonic() - std::exchange(readings.at, clock_.Monotonic());
    readings.volt = packet.Value(Field::Voltage) * voltFactor_;
    TakeSeconds(readings, static_cast<std::int32_t>(packet.Raw(Field::Seconds)));
    for (const Field current : {Field::Ch1Current, Field::Ch2Current})
        readings.channels[Layout(current).channel].amps = OneDecimalAmps(packet.Raw(current));
    for (const CounterSource& source : CounterSource::kAll) {
        if (packet.model->Has(source.field)) {
            TakeCounter(readings, source, static_cast<double>(packet.Raw(source.field)));
        } else {
            source.Of(readings).watts.reset();
        }
    }
    for (ReadingsSink* sink : sinks_)
        sink->OnReadings(readings);
}

void Measurement::StartAnew(DeviceReadings& readings, int slot) {
    DeviceReadings fresh;
    fresh.slot = slot;
    for (const CounterSource& source : CounterSource::kAll) {
        source.Of(fresh).fiveByte = kChannelTable[Layout(source.field).channel].fiveByte;
        source.Of(fresh).carry = source.Of(readings).carry;
    }
    readings = fresh;
}

void Measurement::NoteSwap(const DeviceReadings& before, const std::string& serial, std::string note) {
    LedgerEntry entry{.kind = LedgerKind::Swap, .time = clock_.Now(), .slot = before.slot, .serial = serial};
    entry.note = std::move(note);
    Q_EMIT Noted(entry);
}

LedgerEntry Measurement::EntryOf(const DeviceReadings& readings, LedgerKind kind) const {
    return {.kind = kind, .time = clock_.Now(), .slot = readings.slot, .serial = readings.serial};
}

void Measurement::TakeSeconds(DeviceReadings& readings, std::int32_t seconds) {
    const std::optional<std::int32_t> before = std::exchange(readings.seconds, seconds);
    const auto elapsed = before.has_value() ? ElapsedSeconds(*before, seconds) : std::nullopt;
    readings.restart = !elapsed.has_value();
    readings.elapsed = elapsed.value_or(0);
    if (!before.has_value() || seconds >= *before) return;
    LedgerEntry entry = EntryOf(readings, readings.restart ? LedgerKind::Restart : LedgerKind::SecondsWrap);
    entry.counterBefore = *before;
    entry.counterAfter = seconds;
    if (!readings.restart) entry.elapsedMonitor = readings.elapsed;
    entry.elapsedClock = readings.ElapsedClockSeconds();
    entry.judgement = JudgeClocks(entry.elapsedMonitor, entry.elapsedClock);
    Q_EMIT Noted(entry);
}

void Measurement::NoteStep(const DeviceReadings& readings, const CounterSource& source, LedgerKind kind,
                           double before, int carryBefore) {
    const EnergyCounter& counter = readings.Counter(source.Name());
    LedgerEntry entry = EntryOf(readings, kind);
    entry.counter = source.Name();
    entry.counterBefore = before;
    entry.counterAfter = counter.current;
    entry.elapsedMonitor = readings.elapsed;
    entry.elapsedClock = readings.ElapsedClockSeconds();
    entry.carryBefore = carryBefore;
    entry.carryAfter = counter.carry;
    entry.judgement = JudgeClocks(entry.elapsedMonitor, entry.elapsedClock);
    Q_EMIT Noted(entry);
}

void Measurement::TakeCounter(DeviceReadings& readings, const CounterSource& source, double value) {
    EnergyCounter& counter = source.Of(readings);
    counter.watts.reset();
    counter.current = value;
    if (readings.restart || !counter.previous.has_value()) {
        counter.previous = value;
        return;
    }
    // Two packets of the same second: power is calculated from the earlier one when the next second comes.
    if (readings.elapsed == 0) return;

    const double before = *counter.previous;
    const CounterChange change = JudgeCounter(before, value, readings.elapsed, counter.fiveByte);
    counter.previous = value;
    if (change.step == CounterStep::Restarted) {
        readings.counterReset = true;
        return NoteStep(readings, source, LedgerKind::Reset, before, counter.carry);
    }
    if (change.step == CounterStep::Wrapped && CountWrap(readings.slot, counter, source))
        NoteStep(readings, source, LedgerKind::Wrap, before, counter.carry - 1);
    counter.watts = WholeWatts(change.wattSeconds, readings.elapsed);
    if (counter.watts.has_value()) counter.lastWatts = counter.watts;
}

bool Measurement::CountWrap(int slot, EnergyCounter& counter, const CounterSource& source) {
    const SettingPlace place = source.Place(slot);
    if (counter.carry == kCarry.most) {
        errorLog_.LogError(
            ErrorLog::kOverflow, u"Overflow"_s,
            u"%1 of Device %2 cannot rise any more"_s.arg(SettingKey(kCarry, place), SlotLetter(slot)));
        return false;
    }
    ++counter.carry;
    settings_.Save(kCarry, int{counter.carry}, place);
    return true;
}

void Measurement::BeginAnew(int slot) {
    DeviceReadings& readings = readings_[static_cast<std::size_t>(slot - 1)];
    readings.seconds.reset();
    for (const CounterSource& source : CounterSource::kAll)
        source.Of(readings).previous.reset();
    LedgerEntry entry = EntryOf(readings, LedgerKind::Reset);
    entry.note = "the monitor was told to set its counters to 0";
    Q_EMIT Noted(entry);
}

void Measurement::TakeBindings() {
    for (DeviceReadings& readings : readings_) {
        const int slot = readings.slot;
        const std::string now = slots_.Answered(slot);
        const std::string before = std::exchange(answered_[static_cast<std::size_t>(slot - 1)], now);
        if (now == before) continue;
        NoteSwap(readings, now, Former(readings, before));
        if (!readings.Seen()) continue;
        StartAnew(readings, slot);
        Q_EMIT Forgotten(slot);
    }
}

void Measurement::ZeroCarries(int slot, const std::string& why) {
    LedgerEntry entry = EntryOf(Readings(slot), LedgerKind::Zeroed);
    entry.note = why;
    bool noted = false;
    for (const CounterSource& source : CounterSource::kAll) {
        entry.counter = source.Name();
        entry.carryBefore = Carry(slot, source.Name());
        entry.carryAfter = 0;
        SetCarry(slot, source.Name(), 0);
        if (entry.carryBefore != 0) Q_EMIT Noted(entry);
        noted = noted || entry.carryBefore != 0;
    }
    if (noted) return;
    entry.counter.reset();
    entry.carryBefore = 0;
    Q_EMIT Noted(entry);
}

int Measurement::Carry(int slot, const CounterName& counter) const {
    return Readings(slot).Counter(counter).carry;
}

void Measurement::SetCarry(int slot, const CounterName& counter, int carry) {
    settings_.Save(kCarry, carry, CounterSource::Named(counter).Place(slot));  // which puts it in effect
}

Presence Measurement::PresenceOf(int slot) const {
    const DeviceReadings& readings = Readings(slot);
    if (!readings.Seen()) return Presence::Never;
    const std::int64_t silence = clock_.Monotonic() - readings.at;
    if (silence >= kOfflineAfter * 1000) return Presence::OffLine;
    const std::int64_t patience = std::max(kStaleAfter, kMissedPackets * readings.elapsed);
    return silence >= patience * 1000 ? Presence::Stale : Presence::Live;
}

bool Measurement::Online(int slot) const {
    const Presence presence = PresenceOf(slot);
    return presence == Presence::Live || presence == Presence::Stale;
}

}  // namespace corvane
