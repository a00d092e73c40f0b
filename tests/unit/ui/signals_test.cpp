#include "app/signals.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace tonara {
namespace {

// Nothing reads the requests here, as in a program that hangs while it closes.
TEST(SignalsDeathTest, ASecondRequestEndsAtOnce) {
  EXPECT_EXIT(
      {
        CSignals signaux([] {});
        raise(SIGTERM);
        raise(SIGTERM);  // the same request, passed on
        std::this_thread::sleep_for(std::chrono::milliseconds(1050));
        raise(SIGINT);
        _exit(0);
      },
      ::testing::ExitedWithCode(128 + SIGINT), "");
}

}  // namespace
}  // namespace tonara
