#include "app/options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <clocale>

#include "base/exit_codes.h"
#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kSettingsName = u"corvane.ini"_s;

QString DefaultSettingsFile(const QString& givenDataFolder) {
    const QString folder = givenDataFolder.isEmpty()
                               ? QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation)
                               : DataFolder(givenDataFolder);
    return QDir(folder).filePath(kSettingsName);
}

}  // namespace

void SetUpApplication() {
    QCoreApplication::setApplicationName(u"Corvane"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(CORVANE_VERSION));
    std::setlocale(LC_NUMERIC, "C");
}

QString DataFolder(const QString& given) {
    return QDir(given.isEmpty() ? GetAppDataFolder() : given).absolutePath();
}

std::variant<Options, OptionsExit> ParseOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Captures what home electricity monitors say, and keeps it in a database."_s);
    const QCommandLineOption dataDir(u"data-dir"_s, u"Keep data and settings in DIR."_s, u"DIR"_s);
    const QCommandLineOption settings(u"settings"_s, u"Read and keep the settings in FILE."_s, u"FILE"_s);
    const QCommandLineOption groupControl(
        u"group-control"_s,
        u"Let all members of the program's group control it with corvanectl, as far as they reach the data folder."_s);
    const QCommandLineOption verbose({u"v"_s, u"verbose"_s}, u"Print one line per packet."_s);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Print this help."_s);
    const QCommandLineOption version(u"version"_s, u"Print the version."_s);
    parser.addOptions({dataDir, settings, groupControl, verbose, help, version});

    const bool parsed = parser.parse(arguments);
    if (!parsed || !parser.positionalArguments().isEmpty()) {
        const QString error = parsed
                                  ? u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().first())
                                  : parser.errorText();
        return OptionsExit{error + u"\nTry --help."_s, kExitUsage};
    }
    if (parser.isSet(help)) return OptionsExit{parser.helpText(), kExitOk};
    if (parser.isSet(version)) {
        return OptionsExit{u"Corvane %1"_s.arg(QCoreApplication::applicationVersion()), kExitOk};
    }
    const QString givenFolder = parser.value(dataDir);
    return Options{.dataFolder = DataFolder(givenFolder),
                   .settingsFile = parser.isSet(settings) ? QDir().absoluteFilePath(parser.value(settings))
                                                          : DefaultSettingsFile(givenFolder),
                   .verbose = parser.isSet(verbose),
                   .control = parser.isSet(groupControl) ? SocketFor::Group : SocketFor::Owner};
}

}  // namespace corvane
