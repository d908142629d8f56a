// Where the tests run: a zone, a locale and a disk that are the same on every machine.
#pragma once

#include <QByteArray>
#include <QLocale>

#include <unistd.h>

namespace corvane {

/// To be called before the application is made. Abroad (scripts/test --abroad), zone and locale are the
/// caller's.
inline void SetTestPlace() {
    if (qEnvironmentVariableIsSet("CORVANE_ABROAD")) {
        QLocale shown = QLocale::c();  // what is shown may follow the place, and is tested at home
        shown.setNumberOptions(QLocale::DefaultNumberOptions);
        QLocale::setDefault(shown);
    } else {
        qputenv("TZ", "UTC");
        qputenv("LC_ALL", "C.UTF-8");
    }
    // Durable writes are many here and on a disk slow; what a test writes need not outlive it.
    if (!qEnvironmentVariableIsSet("TMPDIR") && access("/dev/shm", W_OK) == 0) qputenv("TMPDIR", "/dev/shm");
}

}  // namespace corvane
