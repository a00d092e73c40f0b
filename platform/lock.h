// The program's one lock, with clang's thread-safety annotations (checked in the dev-clang preset).
// Not recursive: operations that take a lock and helpers that expect it held are told apart by the
// suffix Locked. The order in which locks may be taken stands in docs/threads.md.
#pragma once

#include <mutex>

#if defined(__clang__)
#define TONARA_TSA(x) __attribute__((x))
#else
#define TONARA_TSA(x)
#endif

#define GUARDED_BY(x) TONARA_TSA(guarded_by(x))
#define REQUIRES(...) TONARA_TSA(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) TONARA_TSA(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) TONARA_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TONARA_TSA(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TONARA_TSA(try_acquire_capability(__VA_ARGS__))
#define NO_TSA TONARA_TSA(no_thread_safety_analysis)

namespace tonara {

class TONARA_TSA(capability("mutex")) CLock {
 public:
  void Lock() ACQUIRE() { m_mutex.lock(); }
  void Unlock() RELEASE() { m_mutex.unlock(); }
  /// True if the lock was taken. A worker only ever tries its owner's lock.
  [[nodiscard]] bool TryLock() TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

 private:
  std::mutex m_mutex;
};

/// Holds a CLock for a scope.
class TONARA_TSA(scoped_lockable) CGuard {
 public:
  explicit CGuard(CLock& lock) ACQUIRE(lock) : m_lock(lock) { m_lock.Lock(); }
  ~CGuard() RELEASE() { m_lock.Unlock(); }
  CGuard(const CGuard&) = delete;
  CGuard& operator=(const CGuard&) = delete;

 private:
  CLock& m_lock;
};

}  // namespace tonara
