// What the programs that put the service through faults have in common: a demand that ends them, the service
// itself, a folder that can be made fresh again, and the line of the table that tells what came out.
#pragma once

#include <QCoreApplication>
#include <QDir>

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

/// A row of the table that `tests/faults/run` ends with.
inline void Tell(const QString& fault, const QString& what) {
    std::printf("| %s | %s |\n", qPrintable(fault), qPrintable(what));
    std::fflush(stdout);
}

/// The real service on a folder, once its links listen.
class Service : public Started {
public:
    explicit Service(const ServiceFolder& house) : Service(QStringLiteral("corvaned"), house.Arguments()) {}

    /// Returns when it is gone.
    void KillNow() {
        Kill();
        (void)ExitCode();
    }

    void End() {
        Terminate();
        Require(ExitCode() == 0, QStringLiteral("the service does not end: ") + Output());
    }

protected:
    Service(const QString& program, const QStringList& arguments) : Started(program, arguments) {
        Require(Says(QStringLiteral("TCP Server B listens")),
                QStringLiteral("the service does not start: ") + Output());
    }
};

/// A folder of which round after round makes use; its ports stay, as each is held until this program ends.
class RenewedFolder : public ServiceFolder {
public:
    /// Leaves nothing but the settings of a service that never ran.
    void Renew() const {
        QDir(folder.Path()).removeRecursively();
        QDir().mkpath(folder.Path());
        folder.Write(QStringLiteral("corvane.ini"), settings_);
    }

    [[nodiscard]] QString DatabasePath() const { return folder.Path(QStringLiteral("vrq1.db3")); }

private:
    std::string settings_ = folder.Read(QStringLiteral("corvane.ini"));
};

/// The first row of what a database that must be whole answers to `sql`, its cells joined by blanks.
inline std::string RowOfWhole(const QString& path, const std::string& sql) {
    const CaptureDatabase database(path.toStdString());
    const QueryResult whole = database.Run("PRAGMA integrity_check");
    const auto demand = [&path](const QueryResult& result) {
        Require(result.Ok(), QStringLiteral("%1: %2").arg(path, QString::fromStdString(result.errorText)));
    };
    demand(whole);
    Require(whole.rows.front().front() == "ok", path + QStringLiteral(" is damaged"));
    const QueryResult result = database.Run(sql);
    demand(result);
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
