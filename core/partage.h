// A single value that one thread writes and others read, without a lock: a level that a slider moves
// while the firing thread reads it. Behaves like the value itself, and copies with the object around it.
#pragma once

#include <atomic>

namespace tonara {

/// Any thread. Each read is of one whole value; two reads may differ.
template <class T>
class CPartage {
 public:
  CPartage(T v = T{}) : m_v(v) {}  // NOLINT: stands for a plain field
  CPartage(const CPartage& other) : m_v(static_cast<T>(other)) {}
  CPartage& operator=(const CPartage& other) {
    m_v.store(other, std::memory_order_relaxed);
    return *this;
  }
  CPartage& operator=(T v) {
    m_v.store(v, std::memory_order_relaxed);
    return *this;
  }
  operator T() const { return m_v.load(std::memory_order_relaxed); }  // NOLINT: as above

 private:
  std::atomic<T> m_v;
};

}  // namespace tonara
