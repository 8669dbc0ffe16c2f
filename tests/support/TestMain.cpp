// The process's first thread runs the tests, so it is also the main thread of the main
// run loop, as in an application.
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
