// As the other test programs, with windows that nobody sees.
#include <QApplication>
#include <QFile>

#include <gtest/gtest.h>

#include "support/test_place.h"

int main(int argc, char** argv) {
    // Started by a test as the demo: it leaves a mark, and that is all.
    if (argc == 2 && QByteArrayView(argv[1]) == "--demo")
        return QFile(qEnvironmentVariable("CORVANE_TEST_DEMO")).open(QFile::WriteOnly) ? 0 : 1;
    corvane::SetTestPlace();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
