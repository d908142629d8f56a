#include "app/bug_report.h"

#include <QCoreApplication>
#include <QStringList>
#include <QSysInfo>

#include <algorithm>

#include "app/console.h"
#include "app/program.h"
#include "app/setting_rules.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kReportedLogLines = 200;

/// Whether the value may be a secret, going by the key. Web addresses often have one in their path.
bool Withheld(const QString& name) {
    const QLatin1StringView words[] = {"key"_L1, "token"_L1, "password"_L1, "secret"_L1, "url"_L1};
    return IsSecret(name) || std::ranges::any_of(words, [&name](QLatin1StringView word) {
               return name.contains(word, Qt::CaseInsensitive);
           });
}

QStringList SettingLines(const Program& program) {
    QStringList lines;
    for (const QString& text : program.settings.Names()) {
        const SettingName name = SettingName::Parse(text);
        const QString value = program.settings.GetSetting(name.key, {}, name.section);
        lines.append(u"%1=%2"_s.arg(text, Withheld(name.key) && !value.isEmpty() ? kNotShown : value));
    }
    return lines;
}

QStringList LinkLines(Program& program) {
    QStringList lines;
    for (const MonitorLink* link : Listed(program.Links())) {
        const QString error = link->Status().error;
        lines.append(StatusLine(*link) + (error.isEmpty() ? QString() : u", "_s + error));
    }
    return lines;
}

}  // namespace

QString BugReport(Program& program) {
    const DbWriter& writer = program.dbWriter;
    const auto& status = program.statusBoard.Lines();
    const QStringList log = program.errorLog.Load().lines;
    QStringList lines = {
        u"Corvane %1, Qt %2, %3 (%4)"_s.arg(QCoreApplication::applicationVersion(),
                                            QString::fromLatin1(qVersion()), QSysInfo::prettyProductName(),
                                            QSysInfo::currentCpuArchitecture()),
        PacketCountsLine(program.framer),
        u"Database: %1 %2 %3"_s
            .arg(writer.BufferText(), writer.WriteStateText(), writer.DatabaseMessageText())
            .trimmed(),
    };
    lines += LinkLines(program);
    lines += u"\nSettings"_s;
    lines += SettingLines(program);
    lines += u"\nStatus list"_s;
    lines += QStringList(status.begin(), status.end());
    lines += u"\nError log"_s;
    lines += log.last(std::min(log.size(), kReportedLogLines));
    return lines.join(u'\n') + u'\n';
}

}  // namespace corvane
