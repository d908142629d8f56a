// What the programs that put the service through faults have in common: a demand that ends them, the service
// itself, and rounds that are counted on the command line.
#pragma once

#include <QCoreApplication>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "store/capture_database.h"
#include "system/programs.h"

namespace corvane {

/// Ends the program with `what` where `condition` does not hold.
inline void Require(bool condition, const QString& what) {
    if (!condition) throw std::runtime_error(what.toStdString());
}
inline void Require(bool condition, const char* what) {
    Require(condition, QString::fromLatin1(what));
}

/// The real service on a folder, once its links listen.
class Service : public Started {
public:
    explicit Service(const ServiceFolder& house) : Started(QStringLiteral("corvaned"), house.Arguments()) {
        Require(Says(QStringLiteral("TCP Server B listens")),
                QStringLiteral("the service does not start: ") + Output());
    }

    /// Returns when it is gone.
    void KillNow() {
        Kill();
        (void)ExitCode();
    }
};

/// The first row of what a database that must be whole answers to `sql`, its cells joined by blanks.
inline std::string RowOfWhole(const QString& path, const std::string& sql) {
    const CaptureDatabase database(path.toStdString());
    const QueryResult whole = database.Run("PRAGMA integrity_check");
    Require(whole.Ok() && whole.rows.front().front() == "ok", path + QStringLiteral(" is damaged"));
    const QueryResult result = database.Run(sql);
    Require(result.Ok(), QStringLiteral("%1: %2").arg(path, QString::fromStdString(result.errorText)));
    std::string row;
    for (const auto& cell : result.rows.front()) {
        if (!row.empty()) row += ' ';
        row += cell.value_or("NULL");
    }
    return row;
}

/// The main of a program that must be called with some arguments, of which `usage` tells.
inline int RunWith(int argc, char** argv, const char* usage, void (*run)(const QStringList& words)) {
    const QCoreApplication application(argc, argv);
    try {
        Require(argc > 1,
                QStringLiteral("usage: %1 %2").arg(QLatin1StringView(argv[0]), QLatin1StringView(usage)));
        run(QCoreApplication::arguments());
    } catch (const std::runtime_error& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return 1;
    }
    return 0;
}

}  // namespace corvane
