// Every test program has an event loop at hand.
#include <QCoreApplication>

#include <gtest/gtest.h>

#include "support/test_place.h"

int main(int argc, char** argv) {
    corvane::SetTestPlace();
    const QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
