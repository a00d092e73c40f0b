// Waiting for what other threads and processes do.
#pragma once

#include <chrono>
#include <thread>

namespace tonara::test {

/// Looks every millisecond; false if the condition doesn't hold within that time.
template <class Condition>
bool WaitFor(Condition fnDone, std::chrono::steady_clock::duration within = std::chrono::seconds(20)) {
  for (const auto end = std::chrono::steady_clock::now() + within; !fnDone();) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace tonara::test
