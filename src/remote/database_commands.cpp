#include "app/program.h"
#include "remote/command.h"
#include "store/schema.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<Reply> WriteFrequency(Program& program, QStringList arguments, Operator&) {
    const Outcome set = program.userSettings.Apply(kWriteFrequency, arguments.first());
    co_return Reply::Of(set, u"Records are written every %1 seconds at the most."_s.arg(arguments.first()));
}

QCoro::Task<Reply> SwitchDatabase(Program& program, QStringList arguments, Operator&) {
    const QString word = arguments.first().toLower();
    if (word != "on"_L1 && word != "off"_L1)
        co_return Reply::Failure(u"The database is switched on or off."_s);
    program.settings.Save(kDatabaseEnabled, word == "on"_L1);
    co_return Reply::Line(program.dbWriter.EnabledText());
}

QCoro::Task<Reply> PowerTables(Program& program, QStringList, Operator& op) {
    const bool made = CreatePowerTables(program.database, program.dbWriter, op);
    program.records.LookForMinuteTables();
    co_return made
        ? Reply::Line(u"The tables minute_power and minute_energy are there; rows follow with each minute."_s)
        : Reply::Failure(u"Not both tables were made."_s);
}

QCoro::Task<Reply> MinuteTable(Program& program, QStringList, Operator& op) {
    co_return CreateNewMinuteTable(program.database, op) ? Reply()
                                                         : Reply::Failure(u"The table was not made."_s);
}

}  // namespace

std::span<const Command> DatabaseCommands() {
    static constexpr Command commands[] = {
        {"database", "on|off", "Whether records are written to the database.", 1, 1, false, SwitchDatabase},
        {"write-frequency", "SECONDS", "Seconds from one write to the next, 1 to 60.", 1, 1, false,
         WriteFrequency},
        {"create-power-tables", "", "Adds the tables minute_power and minute_energy.", 0, 0, false,
         PowerTables},
        {"create-minute-table", "", "Adds the table minutedata.", 0, 0, false, MinuteTable},
    };
    return commands;
}

}  // namespace corvane
