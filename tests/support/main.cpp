// Every test program has an event loop at hand, and a fixed time zone and locale.
#include <QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    qputenv("TZ", "UTC");
    qputenv("LC_ALL", "C.UTF-8");
    const QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
