#include <QCoreApplication>
#include <QJsonArray>

#include <algorithm>

#include "app/console.h"
#include "app/program.h"
#include "app/setting_notes.h"
#include "link/device_texts.h"
#include "measure/ledger_document.h"
#include "measure/virtual_texts.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kStatusLines = 10;

QJsonObject LinkObject(const MonitorLink& link) {
    const LinkStatus status = link.Status();
    return {{u"name"_s, link.Name()},
            {u"state"_s, static_cast<int>(status.state)},
            {u"stateText"_s, status.text},
            {u"port"_s, status.port},
            {u"notice"_s, status.notice}};
}

QString IndicatorWord(const DbWriter& writer) {
    switch (writer.WriteIndicator()) {
        case DbWriter::Indicator::Green:
            return u"green"_s;
        case DbWriter::Indicator::Yellow:
            return u"yellow"_s;
        case DbWriter::Indicator::None:
            break;
    }
    return u"none"_s;
}

QCoro::Task<Reply> Status(Program& program, QStringList, Operator&) {
    const DbWriter& writer = program.dbWriter;
    const auto& allLines = program.statusBoard.Lines();
    const auto shown = std::min(kStatusLines, allLines.size());
    const QStringList statusLines(allLines.end() - static_cast<std::ptrdiff_t>(shown), allLines.end());

    program.health.Look();
    Reply reply;
    reply.lines = {
        u"Corvane %1, data in %2"_s.arg(QCoreApplication::applicationVersion(), program.DataFolder()),
        FiguresText(program.health.Figures()),
    };
    reply.lines += StateLines(program.health);
    reply.lines.append(PacketCountsLine(program.framer));
    reply.well = program.health.Worst() != Severity::Error;
    QJsonArray links;
    for (const MonitorLink* link : Listed(program.Links())) {
        reply.lines.append(StatusLine(*link));
        links.append(LinkObject(*link));
    }
    reply.lines.append(u"Database: %1"_s.arg(QString::fromStdString(program.database.databasePath())));
    for (const QString& text :
         {writer.Enabled() ? QString() : writer.EnabledText(), writer.BufferText(), writer.WriteStateText(),
          writer.WaitText(), writer.IndicatorText(), writer.DatabaseMessageText()}) {
        if (!text.isEmpty()) reply.lines.append(text);
    }
    reply.lines += DoubtfulLines(
        program.ledger,
        u"\"corvanectl ledger undo ID\" takes a carry back, \"corvanectl ledger keep ID\" lets it stand."_s);
    reply.lines += statusLines;

    reply.data = {
        {u"version"_s, QCoreApplication::applicationVersion()},
        {u"dataFolder"_s, program.DataFolder()},
        {u"goodPackets"_s, static_cast<qint64>(program.framer.GoodPackets())},
        {u"badPackets"_s, qint64{program.framer.BadPackets()}},
        {u"links"_s, links},
        {u"database"_s, QJsonObject{{u"path"_s, QString::fromStdString(program.database.databasePath())},
                                    {u"enabled"_s, writer.Enabled()},
                                    {u"pending"_s, writer.Pointer()},
                                    {u"countdown"_s, writer.WriteCountdown()},
                                    {u"state"_s, writer.WriteStateText()},
                                    {u"indicator"_s, IndicatorWord(writer)},
                                    {u"message"_s, writer.DatabaseMessageText()},
                                    {u"waits"_s, writer.WaitText()},
                                    {u"unwritten"_s, static_cast<qint64>(program.unwritten.Count())},
                                    {u"lost"_s, static_cast<qint64>(program.unwritten.Lost())}}},
        {u"health"_s, HealthObject(program.health)},
        {u"sumsWait"_s, SumsWaitText(program.virtualChannels.Read())},
        {u"nightly"_s, NightlyObject(program.nightlyRuns)},
        {u"ledger"_s, LedgerState(program.ledger)},
        {u"statusList"_s, QJsonArray::fromStringList(statusLines)}};
    co_return reply;
}

QCoro::Task<Reply> ShowReadings(Program& program, QStringList, Operator&) {
    Reply reply;
    reply.data = program.Readings();
    for (int slot = 1; slot <= kSlots; ++slot) {
        const DeviceReadings& readings = program.measurement.Readings(slot);
        if (!readings.Seen()) continue;
        const Presence presence = program.measurement.PresenceOf(slot);
        reply.lines.append(PacketLine(readings) +
                           (presence == Presence::Live
                                ? QString()
                                : u"  (%1)"_s.arg(QLatin1StringView(PresenceText(presence)))));
        if (const auto pulse = program.pulses.Readings(slot))
            reply.lines.append(SlotName(slot) + u"  "_s + FlowText(*pulse));
    }
    reply.lines += VirtualLines(program.virtualChannels);
    if (reply.lines.isEmpty()) reply.lines.append(u"No packet of a bound monitor has come yet."_s);
    co_return reply;
}

QCoro::Task<Reply> GetSetting(Program& program, QStringList arguments, Operator&) {
    const QString& name = arguments.first();
    const auto shown = program.userSettings.Shown(name);
    if (!shown.has_value() || shown->isEmpty())
        co_return Reply::Failure(u"The setting %1 is not set."_s.arg(name));
    co_return Reply{.lines = {*shown}, .data = {{u"value"_s, *shown}}};
}

QCoro::Task<Reply> SetSetting(Program& program, QStringList arguments, Operator&) {
    Settings& settings = program.userSettings;
    const Outcome applied = settings.Apply(arguments[0], arguments[1]);
    co_return applied ? ChangeReply(settings, arguments[0]) : Reply::Failure(applied.Error());
}

/// Those whose names or meaning have the word in them; all of them without one.
QCoro::Task<Reply> ListSettings(Program& program, QStringList arguments, Operator&) {
    constexpr qsizetype kNamesWidth = 36;
    const Settings& settings = program.userSettings;
    Reply reply;
    QJsonArray list;
    for (const Settings::List declared : settings.Lists()) {
        for (const Setting& setting : declared) {
            const QStringList names = Settings::Names(setting);
            const QString help = QString::fromLatin1(setting.help);
            const QString title =
                names.size() == 1 ? names.first() : names.first() + u" .. "_s + names.last();
            if (!arguments.isEmpty() &&
                !(title + u' ' + help).contains(arguments.first(), Qt::CaseInsensitive))
                continue;
            reply.lines.append(title.leftJustified(kNamesWidth) + u' ' + help);
            for (const QString& name : names) {
                const QString kept = settings.Shown(name).value_or(QString());
                if (!kept.isEmpty()) reply.lines.append(u"    %1 = %2"_s.arg(name, kept));
                list.append(QJsonObject{{u"key"_s, name},
                                        {u"value"_s, kept.isEmpty() ? QJsonValue() : QJsonValue(kept)},
                                        {u"default"_s, QString::fromLatin1(setting.fallback)},
                                        {u"byHand"_s, setting.by == SettingBy::Hand},
                                        {u"help"_s, help}});
            }
        }
    }
    if (reply.lines.isEmpty()) co_return Reply::Failure(u"No setting is about %1."_s.arg(arguments.first()));
    reply.data = {{u"settings"_s, list}};
    co_return reply;
}

QCoro::Task<Reply> Help(Program&, QStringList, Operator&) {
    Reply reply;
    reply.lines = CommandHelp();
    reply.data = {{u"commands"_s, QJsonArray::fromStringList(reply.lines)}};
    co_return reply;
}

}  // namespace

Reply ChangeReply(Settings& settings, const QString& name) {
    Reply reply = Reply::Line(settings.ChangeText(name));
    const auto changed = settings.Find(name);
    const QStringList notes = changed ? SettingNotes(*changed, settings.Store()) : QStringList();
    reply.lines += notes;
    if (!notes.isEmpty()) reply.data[u"notes"_s] = QJsonArray::fromStringList(notes);
    return reply;
}

std::span<const Command> GeneralCommands() {
    static constexpr Command commands[] = {
        {"status", "", "Links, database and the last lines of the status list.", 0, 0, true, Status},
        {"readings", "", "The live values of all monitors.", 0, 0, true, ShowReadings},
        {"get", "KEY", "A setting; SECTION/KEY for one that is not general.", 1, 1, true, GetSetting},
        {"set", "KEY VALUE", "Changes a setting and says from when on it is in effect.", 2, 2, false,
         SetSetting},
        {"settings", "[WORD]",
         "What the settings are about, and their values; those that have to do with a word.", 0, 1, true,
         ListSettings},
        {"help", "", "This list.", 0, 0, true, Help},
    };
    return commands;
}

}  // namespace corvane
