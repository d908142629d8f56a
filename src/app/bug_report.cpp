#include "app/bug_report.h"

#include <QCoreApplication>
#include <QStringList>
#include <QSysInfo>

#include <algorithm>

#include "app/console.h"
#include "app/program.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kReportedLogLines = 200;

/// The values of all settings that are there for anybody to see. What a key means that nobody declares is
/// unknown, and it may be a secret.
QStringList SettingLines(const Program& program) {
    QStringList lines;
    for (const QString& name : program.settings.Names()) {
        const auto found = program.userSettings.Find(name);
        const bool open = found.has_value() && found->setting->privacy == SettingPrivacy::Open;
        const QString value = program.settings.Kept(name).value_or(QString());
        lines.append(u"%1=%2"_s.arg(name, open || value.isEmpty() ? value : kNotShown));
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
    lines += program.errorLog.LastLines(kReportedLogLines);
    return lines.join(u'\n') + u'\n';
}

}  // namespace corvane
