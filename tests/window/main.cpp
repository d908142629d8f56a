// As the other test programs, with windows that nobody sees.
#include <QApplication>
#include <QFile>
#include <QLocale>

#include <gtest/gtest.h>
#include <unistd.h>

int main(int argc, char** argv) {
    // Started by a test as the demo: it leaves a mark, and that is all.
    if (argc == 2 && QByteArrayView(argv[1]) == "--demo")
        return QFile(qEnvironmentVariable("CORVANE_TEST_DEMO")).open(QFile::WriteOnly) ? 0 : 1;
    if (qEnvironmentVariableIsSet("CORVANE_ABROAD")) {
        QLocale shown = QLocale::c();  // what is shown may follow the place, and is tested at home
        shown.setNumberOptions(QLocale::DefaultNumberOptions);
        QLocale::setDefault(shown);
    } else {
        qputenv("TZ", "UTC");
        qputenv("LC_ALL", "C.UTF-8");
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!qEnvironmentVariableIsSet("TMPDIR") && access("/dev/shm", W_OK) == 0) qputenv("TMPDIR", "/dev/shm");
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
