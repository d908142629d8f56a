#include "web/live_events.h"

#include <QJsonDocument>

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "measure/measurement.h"

namespace corvane {

namespace {

EventStream::Event MakeEvent(const char* name, const QJsonObject& readings) {
    QByteArray text = "event: ";
    text += name;
    text += "\ndata: ";
    text += QJsonDocument(readings).toJson(QJsonDocument::Compact);
    text += "\n\n";
    return std::make_shared<const QByteArray>(std::move(text));
}

}  // namespace

void EventStream::Push(Event event) {
    if (ended_) return;
    if (waiting_.size() == kMostWaiting) return End();
    waiting_.push_back(std::move(event));
    wake_();
}

void EventStream::End() {
    ended_ = true;
    waiting_.clear();
    wake_();
}

std::size_t EventStream::Take(char* buffer, std::size_t room) {
    std::size_t moved = 0;
    while (moved < room && !waiting_.empty()) {
        const QByteArray& event = *waiting_.front();
        const auto count = std::min(room - moved, static_cast<std::size_t>(event.size()) - taken_);
        std::copy_n(event.data() + taken_, count, buffer + moved);
        moved += count;
        taken_ += count;
        if (taken_ < static_cast<std::size_t>(event.size())) break;
        waiting_.pop_front();
        taken_ = 0;
    }
    return moved;
}

LiveEvents::LiveEvents(ReadingsSource readings, const Measurement& measurement, Clock& clock)
    : readings_(std::move(readings)), measurement_(measurement), clock_(clock) {
    connect(&clock, &Clock::SecondPassed, this, &LiveEvents::OnSecond);
}

void LiveEvents::OnSecond() {
    const bool fellSilent = AnyFellSilent();
    if (readers_.empty()) return;
    ++secondsSinceAll_;
    if (!fellSilent && secondsSinceAll_ < kHeartbeat) return;
    secondsSinceAll_ = 0;
    Tell("readings", std::nullopt);
}

/// Since the last second. That a device is live again is told by its packet.
bool LiveEvents::AnyFellSilent() {
    bool any = false;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const Presence now = measurement_.PresenceOf(slot);
        const Presence before = std::exchange(presences_[static_cast<std::size_t>(slot - 1)], now);
        any = any || (now != before && now != Presence::Live);
    }
    return any;
}

void LiveEvents::OnReadings(const DeviceReadings& readings) {
    if (readers_.empty()) return;
    due_[static_cast<std::size_t>(readings.slot - 1)] = true;
    if (std::exchange(telling_, true)) return;
    QMetaObject::invokeMethod(
        this, [this] { TellPackets(); }, Qt::QueuedConnection);
}

QCoro::Task<> LiveEvents::TellPackets() {
    while (std::ranges::find(due_, true) != due_.end()) {
        for (int slot = 1; slot <= kSlots; ++slot) {
            if (std::exchange(due_[static_cast<std::size_t>(slot - 1)], false)) Tell("packet", slot);
        }
        const bool goOn = co_await clock_.DLY(kLeastSpacing);
        if (!goOn) co_return;
    }
    telling_ = false;
}

void LiveEvents::Tell(const char* name, std::optional<int> slot) {
    std::erase_if(readers_, [](const auto& reader) { return reader.expired(); });
    if (readers_.empty()) return;
    const EventStream::Event event = MakeEvent(name, readings_(slot));
    for (const auto& reader : readers_) {
        if (const auto stream = reader.lock()) stream->Push(event);
    }
}

std::shared_ptr<EventStream> LiveEvents::Join(std::function<void()> wake) {
    std::erase_if(readers_, [](const auto& reader) { return reader.expired(); });
    if (readers_.size() >= kMostReaders) return nullptr;
    auto stream = std::make_shared<EventStream>(std::move(wake));
    stream->Push(std::make_shared<const QByteArray>("retry: 3000\n\n"));
    stream->Push(MakeEvent("readings", readings_(std::nullopt)));
    readers_.push_back(stream);
    return stream;
}

}  // namespace corvane
