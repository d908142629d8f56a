// corvanectl: tells a running Corvane what to do, and prints what it answers.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

#include <cstdio>

#include "app/options.h"
#include "base/exit_codes.h"
#include "remote/command.h"
#include "remote/remote_client.h"

using namespace Qt::StringLiterals;

namespace corvane {
namespace {

constexpr int kExitFailed = 1;

void Print(std::FILE* stream, const QString& text) {
    std::fputs((text + u'\n').toUtf8().constData(), stream);
}

QString HelpText(const QCommandLineParser& parser) {
    return parser.helpText() + u"\nCommands:\n  "_s + CommandHelp().join(u"\n  "_s);
}

int Run() {
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Tells a running Corvane what to do, and prints what it answers."_s);
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    const QCommandLineOption dataDir(
        u"data-dir"_s,
        u"The program that keeps its data in DIR. Without: your own, else the service of this machine."_s,
        u"DIR"_s);
    const QCommandLineOption json(u"json"_s, u"Print the answer as one line of JSON."_s);
    const QCommandLineOption yes(u"yes"_s, u"Answer every question with Yes."_s);
    const QCommandLineOption no(u"no"_s, u"Answer every question with No."_s);
    const QCommandLineOption cancel(u"cancel"_s, u"Answer every question with Cancel."_s);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Print this help."_s);
    const QCommandLineOption version(u"version"_s, u"Print the version."_s);
    parser.addOptions({dataDir, json, yes, no, cancel, help, version});
    parser.addPositionalArgument(u"COMMAND"_s, u"What to do."_s, u"COMMAND [ARG...]"_s);

    const bool parsed = parser.parse(QCoreApplication::arguments());
    QStringList words = parser.positionalArguments();
    if (parsed && (parser.isSet(help) || words == QStringList{u"help"_s})) {
        Print(stdout, HelpText(parser));
        return kExitOk;
    }
    if (parsed && parser.isSet(version)) {
        Print(stdout, u"corvanectl %1"_s.arg(QCoreApplication::applicationVersion()));
        return kExitOk;
    }
    const int answers = parser.isSet(yes) + parser.isSet(no) + parser.isSet(cancel);
    if (!parsed || words.isEmpty() || answers > 1) {
        const QString error = !parsed           ? parser.errorText()
                              : words.isEmpty() ? u"No command given."_s
                                                : u"--yes, --no and --cancel exclude each other."_s;
        Print(stderr, error + u"\nTry --help."_s);
        return kExitUsage;
    }
    RemoteRequest request{.command = words.takeFirst(), .arguments = words, .answer = std::nullopt};
    if (answers > 0) {
        request.answer = parser.isSet(yes) ? Answer::Yes : parser.isSet(no) ? Answer::No : Answer::Cancel;
    }
    RemoteClient client(request, parser.isSet(json));
    QObject::connect(&client, &RemoteClient::Ended,
                     [](bool succeeded) { QCoreApplication::exit(succeeded ? kExitOk : kExitFailed); });
    QStringList folders = {DataFolder(parser.value(dataDir))};
    if (!parser.isSet(dataDir) && QFileInfo::exists(kSystemDataFolder)) folders.append(kSystemDataFolder);
    QTimer::singleShot(0, &client, [&] { client.Start(folders); });
    return QCoreApplication::exec();
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    corvane::SetUpApplication();
    return corvane::Run();
}
