// Test entry point: a filter must survive a peer that goes away, and so must its tests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
