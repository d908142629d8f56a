// The command line of the programs that capture.
#pragma once

#include <QString>
#include <QStringList>

#include <variant>

#include "link/acceptor.h"

namespace corvane {

/// Gives the application its name, by which its folders are called, and its version, and has numbers read and
/// written the same in every locale.
void SetUpApplication();

struct Options {
    QString dataFolder;
    QString settingsFile;
    bool verbose = false;
    SocketFor control = SocketFor::Owner;
};

/// What to print instead of starting, and how to end.
struct OptionsExit {
    QString text;
    int code;
};

/// `arguments` begins with the program's name. Without options, data and settings lie in the user's own
/// folders.
[[nodiscard]] std::variant<Options, OptionsExit> ParseOptions(const QStringList& arguments);

/// Where data lie when no option says so, given as text of `--data-dir` or empty.
[[nodiscard]] QString DataFolder(const QString& given);

/// The data folder of the service that this machine runs for all its users, where it is installed.
inline const QString kSystemDataFolder = QStringLiteral("/var/lib/corvane");

}  // namespace corvane
