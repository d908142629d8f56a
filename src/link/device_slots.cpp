#include "link/device_slots.h"

#include <algorithm>
#include <utility>

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/schema.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

QString SlotLetter(int slot) {
    return QString(QChar(u'A' + slot - 1));
}

std::optional<int> SlotOfLetter(const QString& letter) {
    if (letter.size() != 1) return std::nullopt;
    const int slot = letter.front().toUpper().unicode() - u'A' + 1;
    return slot >= 1 && slot <= kSlots ? std::optional(slot) : std::nullopt;
}

DeviceSlots::DeviceSlots(SettingsStore& settings, const CaptureDatabase& database)
    : settings_(settings), database_(database) {
    Load();
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (IsKeyOf(kDeviceSerial, key) || IsKeyOf(kSingleTwoChannel, key)) Load();
    });
}

void DeviceSlots::Load() {
    std::array<std::string, kSlots> bound;
    for (int slot = 1; slot <= kSlots; ++slot) {
        bound[static_cast<std::size_t>(slot - 1)] =
            settings_.Value(kDeviceSerial, {.slot = slot}).trimmed().toStdString();
    }
    singleTwoChannel_ = settings_.IsOn(kSingleTwoChannel);
    if (std::exchange(bound_, bound) != bound) Q_EMIT BindingsChanged();
}

std::string DeviceSlots::RoutingText(const RealtimePacket& packet) const {
    const std::string_view sole = packet.model->soleSerial;
    return singleTwoChannel_ && !sole.empty() ? std::string(sole) : packet.SerialText();
}

int DeviceSlots::Choose(std::string_view serialText) const {
    int slot = kNoSlot;
    for (int i = 0; i < kSlots; ++i) {
        if (bound_[static_cast<std::size_t>(i)] == serialText) slot = i + 1;
    }
    return slot;
}

QString DeviceSlots::Bound(int slot) const {
    return QString::fromStdString(bound_[static_cast<std::size_t>(slot - 1)]);
}

std::string DeviceSlots::Answered(int slot) const {
    const std::string& bound = bound_[static_cast<std::size_t>(slot - 1)];
    return !bound.empty() && Choose(bound) == slot ? bound : std::string();
}

int DeviceSlots::InUse() const {
    int inUse = settings_.Number(kDeviceQuantity);
    for (int slot = inUse + 1; slot <= kSlots; ++slot) {
        if (!Bound(slot).isEmpty()) inUse = slot;
    }
    return inUse;
}

int DeviceSlots::LinkIndex(int slot) const {
    const auto link =
        settings_.ReadNumber(kDeviceLink, u"no command is sent to Device %1"_s.arg(SlotLetter(slot)),
                             {.member = SlotLetter(slot)});
    return link.value_or(-1);
}

QCoro::Task<Outcome> DeviceSlots::Bind(int slot, QString serialText, Operator& op) {
    // Only these are looked at, on purpose.
    constexpr int kSlotsThatGiveWay = 3;
    const QString letter = SlotLetter(slot);
    int holder = 1;
    while (holder <= kSlotsThatGiveWay && (holder == slot || Bound(holder) != serialText))
        ++holder;
    const bool taken = holder <= kSlotsThatGiveWay;
    const QString question =
        taken
            ? u"Device serial number %1 has already been assigned to Device %2. Do you want to transfer the "
              "serial number to Device %3 ?"_s.arg(serialText, SlotLetter(holder), letter)
            : u"Would you like to \"Bind\" serial number %1 to \"Device %2\""_s.arg(serialText, letter);
    const bool agreed = co_await op.AskYesNo(question);
    if (!agreed) co_return Outcome::Failure(u"Device %1 was not bound."_s.arg(letter));
    const Outcome cleared = taken ? SaveSerial(holder, {}) : Outcome::Success();
    const Outcome saved = SaveSerial(slot, serialText);
    TellWhoAnswers(slot, op);
    co_return cleared ? saved : cleared;
}

void DeviceSlots::TellWhoAnswers(int slot, Operator& op) const {
    const QString serial = Bound(slot);
    if (serial == QLatin1StringView(kTwoChannel.soleSerial) && !singleTwoChannel_) {
        op.Show(u"%1 is what every %2 is called while the setting %3 is True, and it is not."_s.arg(
            serial, QLatin1StringView(kTwoChannel.name), SettingKey(kSingleTwoChannel)));
    }
    const int answers = serial.isEmpty() ? slot : Choose(serial.toStdString());
    if (answers == slot) return;
    op.Show(
        u"Device %1 is bound to %2, too, and gets its packets: of two devices with one serial number, the "
        "last does. Clear that of Device %1 to have them at Device %3."_s.arg(SlotLetter(answers), serial,
                                                                              SlotLetter(slot)));
}

QCoro::Task<Outcome> DeviceSlots::EnterSerial(int slot, Operator& op) {
    const auto entered = co_await op.AskText(
        u"Enter the energy monitor's serial number in the box. To clear the current value, hit space-bar to "
        u"enter a "
        "space."_s);
    // An empty line is an entry given up, as is none; it takes a blank to clear the value.
    if (!entered.has_value() || entered->isEmpty()) co_return Outcome::Success();
    const QString text = entered->trimmed();
    const bool isNumber = std::ranges::all_of(text, [](QChar c) { return c >= u'0' && c <= u'9'; });
    if (!isNumber || text.size() > 8) {
        co_return Outcome::Failure(u"A serial number is made of up to eight digits, for example 301234."_s);
    }
    if (text == QLatin1StringView(kVirtualDevice)) {
        co_return Outcome::Failure(u"999999 is the virtual device and cannot be bound."_s);
    }
    const Outcome saved = SaveSerial(slot, text);
    TellWhoAnswers(slot, op);
    co_return saved;
}

Outcome DeviceSlots::SaveSerial(int slot, const QString& text) {
    settings_.Save(kDeviceSerial, text, {.slot = slot});
    const std::string id = std::to_string(slot);
    const auto run = [this](const std::string& statement) { return database_.Run(statement); };
    const QueryResult row = run("SELECT  deviceaddress FROM applicationinfo WHERE id = '" + id + "' ");
    QueryResult done = row;
    if (row.Ok() && row.rows.empty()) {
        done = run(sql::NewDeviceRow(id, ""));
    }
    if (done.Ok()) {
        done = run("UPDATE applicationinfo SET deviceaddress = " + SqlQuoted(text.toStdString()) +
                   "  WHERE id = '" + id + "'");
    }
    if (done.Ok()) return Outcome::Success();
    return Outcome::Failure(u"The serial number is in effect, but the database could not be told: "_s +
                            QString::fromStdString(done.errorText));
}

}  // namespace corvane
