// Stopwatch in milliseconds, on the monotonic clock.
#pragma once

#include <cstdint>

namespace tonara {

/// One thread at a time; the static operations any thread. Nothing blocks.
class CPerfCounter {
 public:
  virtual ~CPerfCounter() = default;

  /// Notes the moment. Always true.
  bool Start();
  /// Milliseconds since Start, with their fraction. 0 before the first Start.
  [[nodiscard]] double GetMs() const;
  /// Counts per second: the counter is in nanoseconds.
  [[nodiscard]] static int64_t GetFreq();
  /// The counter in milliseconds, since an arbitrary origin.
  [[nodiscard]] static double GetNowMs();

 private:
  int64_t m_llDebut = 0;
  int64_t m_llFreq = 0;
};

}  // namespace tonara
