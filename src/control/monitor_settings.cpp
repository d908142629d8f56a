#include "control/monitor_settings.h"

#include <algorithm>
#include <functional>
#include <variant>

#include "base/clock.h"
#include "base/operator.h"
#include "control/monitor_commands.h"
#include "control/monitor_history.h"
#include "control/setters.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "store/error_log.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kLeastSendFrequency = 4;      // seconds, with several devices
constexpr std::int64_t kBeforeRead = 1000;  // ms, before and after a read-back
constexpr std::int64_t kAfterSetting = 1400;

const QString kMayHaveFailed = u"An error may have occured. Click Read Settings to verify the changes."_s;
const QString kCloses = u"the program closes"_s;

/// A setter that would put some of a monitor's settings back, and with what.
struct Step {
    const Setter* setter;
    QByteArray arguments;
    QString text;  ///< "iv2 15"
};

struct RestorePlan {
    std::vector<Step> steps;
    QStringList changes;     ///< the fields that the steps change
    QStringList outOfReach;  ///< fields that differ, and that no setter can bring back
};

RestorePlan PlanRestore(const SettingsBlock& now, const SettingsBlock& then) {
    const auto changes = Changes(now, then);
    RestorePlan plan;
    std::vector<MonitorSetting> covered;
    for (const Setter& setter : Setters()) {
        const std::vector<MonitorSetting> settings = setter.Settings();
        const bool differs = std::ranges::any_of(
            settings, [&](MonitorSetting setting) { return now.Raw(setting) != then.Raw(setting); });
        // Who a monitor is stays as it is: the history is that of one serial number.
        if (!differs || setter.operation == Operation::TwoChannelIdentity) continue;
        QStringList inputs;
        for (const MonitorSetting setting : settings)
            inputs.append(QString::number(then.Value(setting)));
        const auto parsed = setter.Parse(inputs);
        const auto* arguments = std::get_if<QByteArray>(&parsed);
        if (arguments == nullptr) continue;
        plan.steps.push_back({&setter, *arguments, setter.name + u' ' + inputs.join(u' ')});
        covered.insert(covered.end(), settings.begin(), settings.end());
    }
    for (const SettingChange& change : changes) {
        const bool reached = std::ranges::find(covered, change.setting) != covered.end();
        (reached ? plan.changes : plan.outOfReach).append(change.text);
    }
    return plan;
}

QString StepList(std::span<const Step> steps) {
    QStringList texts;
    for (const Step& step : steps)
        texts.append(step.text);
    return texts.isEmpty() ? u"nothing"_s : texts.join(u", "_s);
}

}  // namespace

MonitorSettings::MonitorSettings(MonitorCommands& commands, const DeviceSlots& slots,
                                 const MonitorHistory& history, ErrorLog& errorLog, Clock& clock)
    : commands_(commands), slots_(slots), history_(history), errorLog_(errorLog), clock_(clock) {}

std::optional<SettingsBlock> MonitorSettings::Last() const {
    const bool ofTarget = lastSlot_ == commands_.Target().slot && lastLink_ == commands_.TargetLinkName();
    return ofTarget ? last_ : std::nullopt;
}

QString MonitorSettings::TargetSerial() const {
    const auto last = Last();
    return last.has_value() ? QString::fromStdString(last->SerialText())
                            : slots_.Bound(commands_.Target().slot);
}

QCoro::Task<Outcome> MonitorSettings::Read(Operator& op) {
    const HeldTarget target(commands_);
    const std::function<bool(const QByteArray&)> isWhole = [](const QByteArray& reply) {
        return reply.size() >= static_cast<qsizetype>(kSettingsReply);
    };
    const MonitorReply reply = co_await commands_.Exchange(Operation::ReadSettings, {}, isWhole, op);
    if (!reply.outcome) co_return reply.outcome;
    if (reply.heard > kMostHeard)
        co_return Outcome::Failure(u"Turn off realtime data first and try again."_s);
    SettingsBlock block;
    std::ranges::copy(reply.bytes.first(static_cast<qsizetype>(block.bytes.size())), block.bytes.begin());
    if (!block.Acknowledged()) {
        co_return Outcome::Failure(u"What the monitor answered is no settings block. Try again."_s);
    }
    if (!block.Plausible()) co_return Outcome::Failure(u"Data Read Error. Try again."_s);
    last_ = block;
    lastSlot_ = commands_.Target().slot;
    lastLink_ = commands_.TargetLinkName();
    const Outcome kept = history_.Keep(block, clock_.Now());
    if (!kept) {
        errorLog_.LogError(0, kept.Error(), u"Settings of a monitor"_s);
        op.Show(kept.Error());
    }
    co_return Outcome::Success();
}

QCoro::Task<Outcome> MonitorSettings::ReadSettings(Operator& op) {
    const HeldTarget target(commands_);
    const Outcome read = co_await Read(op);
    if (!read) co_return read;
    co_await CheckSendFrequency(op);
    co_return Outcome::Success();
}

QStringList MonitorSettings::LastLines() const {
    const auto last = Last();
    if (!last.has_value()) return {};
    QStringList lines{u"%1 Settings."_s.arg(SlotName(lastSlot_))};
    for (const std::string& line : MonitorSettingLines(*last))
        lines.append(QString::fromStdString(line));
    return lines;
}

QCoro::Task<> MonitorSettings::CheckSendFrequency(Operator& op) {
    if (slots_.InUse() < 2 || last_->Raw(MonitorSetting::SendFrequency) >= kLeastSendFrequency) co_return;
    const bool set = co_await op.Offer(
        u"Warning!\r\n"
        "The packet send frequency value for this VRQ monitor is too low for multi-device operation.\r\n"
        "A send frequency of 15 seconds is suggested along with a trigger power value of approximately "
        "60W.\r\n"
        "Would you like to set these values?"_s);
    if (!set) co_return;
    const QStringList suggested[] = {{u"iv2"_s, u"15"_s}, {u"iv3"_s, u"60"_s}};
    for (const QStringList& words : suggested) {
        const Outcome sent = co_await Set(words.first(), words.sliced(1), op);
        if (!sent) {
            op.Show(sent.Error());
            co_return;
        }
    }
    static_cast<void>(co_await clock_.DLY(kAfterSetting));
}

QCoro::Task<Outcome> MonitorSettings::Set(QString name, QStringList inputs, Operator& op) {
    const HeldTarget target(commands_);
    const Setter* setter = FindSetter(name);
    if (setter == nullptr) {
        QStringList known;
        for (const Setter& each : Setters())
            known.append(each.Usage());
        co_return Outcome::Failure(u"There is: %1."_s.arg(known.join(u", "_s)));
    }
    const auto parsed = setter->Parse(inputs);
    if (const auto* refusal = std::get_if<QString>(&parsed)) co_return Outcome::Failure(*refusal);
    const auto& arguments = std::get<QByteArray>(parsed);
    if (setter->operation == Operation::TwoChannelIdentity) {
        co_return co_await SetIdentity(*setter, arguments, op);
    }
    const Outcome sent = co_await Send(*setter, arguments, op);
    const bool isCt = setter->operation == Operation::Ct1 || setter->operation == Operation::Ct2;
    if (!sent || !isCt) co_return sent;
    co_return co_await VerifyCt(*setter, arguments, op);
}

QCoro::Task<Outcome> MonitorSettings::Send(const Setter& setter, QByteArray arguments, Operator& op) {
    co_return co_await commands_.Send(setter.operation, arguments, op);
}

QCoro::Task<Outcome> MonitorSettings::VerifyCt(const Setter& setter, QByteArray arguments, Operator& op) {
    if (!co_await clock_.DLY(kBeforeRead)) co_return Outcome::Failure(kCloses);
    const Outcome read = co_await ReadSettings(op);
    if (!read) {
        op.Show(read.Error());
        co_return Outcome::Failure(kMayHaveFailed);
    }
    op.Show(LastLines().join(u'\n'));
    if (!co_await clock_.DLY(kBeforeRead)) co_return Outcome::Failure(kCloses);
    const std::vector<MonitorSetting> settings = setter.Settings();
    for (std::size_t i = 0; i < settings.size(); ++i) {
        const auto entered = static_cast<std::uint8_t>(arguments[static_cast<qsizetype>(i)]);
        if (last_->Raw(settings[i]) != entered) co_return Outcome::Failure(kMayHaveFailed);
    }
    co_return Outcome::Success();
}

QCoro::Task<Outcome> MonitorSettings::SetIdentity(const Setter& setter, QByteArray arguments, Operator& op) {
    // The safe answer is Yes: the question asks whether to give up, on purpose.
    const bool abort = co_await op.AskYesNo(
        commands_.TargetText() +
            u"\r\n\r\n"
            "This function is only for use with the VRQ-5806 two channel monitor only.\r\n"
            "Do not use this to program a VRQ-5810 serial number.\r\n"
            "Would you like abort this operation?"_s,
        Answer::Yes);
    if (abort) co_return Outcome::Failure(u"Aborting Operation"_s);
    const Outcome sent = co_await Send(setter, arguments, op);
    if (sent) op.Show(u"Done"_s);
    co_return sent;
}

QCoro::Task<Outcome> MonitorSettings::Restore(QString when, Operator& op) {
    const HeldTarget target(commands_);
    const Outcome read = co_await Read(op);
    if (!read) co_return read;
    const auto kept = history_.Find(TargetSerial(), when);
    if (!kept.has_value()) {
        co_return Outcome::Failure(
            u"No settings of %1 are kept from %2; \"monitor history\" lists them."_s.arg(TargetSerial(),
                                                                                         when));
    }
    co_return co_await PutBack(*kept, op);
}

QCoro::Task<Outcome> MonitorSettings::PutBack(KeptSettings kept, Operator& op) {
    const RestorePlan plan = PlanRestore(*last_, kept.block);
    for (const QString& change : plan.outOfReach)
        op.Show(u"Cannot be put back: "_s + change);
    if (plan.steps.empty()) {
        op.Show(u"Nothing that can be set differs from %1."_s.arg(kept.when));
        co_return Outcome::Success();
    }
    const bool agreed = co_await op.AskYesNo(
        u"%4\r\n\r\nTo set the monitor to what it was on %1:\r\n%2\r\nThis sends: %3\r\nDo you want to continue?"_s
            .arg(kept.when, plan.changes.join(u"\r\n"_s), StepList(plan.steps), commands_.TargetText()));
    if (!agreed) co_return Outcome::Failure(u"Nothing was put back."_s);

    const std::span steps(plan.steps);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Outcome sent = co_await Send(*steps[i].setter, steps[i].arguments, op);
        if (sent) continue;
        co_return Outcome::Failure(u"%1 Put back: %2. Not put back: %3."_s.arg(
            sent.Error(), StepList(steps.first(i)), StepList(steps.subspan(i))));
    }
    if (!co_await clock_.DLY(kAfterSetting)) co_return Outcome::Failure(kCloses);
    const Outcome read = co_await Read(op);
    if (!read) {
        op.Show(read.Error());
        co_return Outcome::Failure(kMayHaveFailed);
    }
    const RestorePlan left = PlanRestore(*last_, kept.block);
    if (left.steps.empty()) co_return Outcome::Success();
    for (const QString& change : left.changes)
        op.Show(u"Not taken: "_s + change);
    co_return Outcome::Failure(kMayHaveFailed);
}

}  // namespace corvane
