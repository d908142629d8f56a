// Every test program has an event loop at hand, and a fixed time zone and locale unless it runs abroad
// (scripts/test --abroad).
#include <QCoreApplication>
#include <QLocale>

#include <gtest/gtest.h>
#include <unistd.h>

int main(int argc, char** argv) {
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
    const QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
