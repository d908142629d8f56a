// As the other test programs, with windows that nobody sees.
#include <QApplication>

#include <gtest/gtest.h>
#include <unistd.h>

int main(int argc, char** argv) {
    qputenv("TZ", "UTC");
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!qEnvironmentVariableIsSet("TMPDIR") && access("/dev/shm", W_OK) == 0) qputenv("TMPDIR", "/dev/shm");
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
