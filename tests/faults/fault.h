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

/// The main of a program that is called as NAME ROUNDS [SEED].
inline int RunRounds(int argc, char** argv, void (*run)(int rounds, unsigned seed)) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int rounds = arguments.value(1).toInt();
    if (rounds <= 0) {
        std::fprintf(stderr, "usage: %s ROUNDS [SEED]\n", qPrintable(arguments[0]));
        return 64;
    }
    try {
        run(rounds, arguments.value(2, QStringLiteral("1")).toUInt());
    } catch (const std::runtime_error& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return 1;
    }
    return 0;
}

}  // namespace corvane
