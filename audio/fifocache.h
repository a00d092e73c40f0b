// Byte ring with all-or-nothing writes. No lock of its own: its owner's lock covers each call.
#pragma once

#include <cstdint>
#include <memory>

namespace tonara {

class CFIFOCache {
 public:
  explicit CFIFOCache(uint32_t dwTaille);
  virtual ~CFIFOCache() = default;

  /// Empties it; false without memory.
  bool Vide();
  /// Fill in percent, whole.
  [[nodiscard]] int GetPct() const;
  [[nodiscard]] uint32_t GetCount() const { return m_dwCount; }
  /// Gives min(held, dwWanted) bytes and returns how many.
  uint32_t Lit(uint8_t* pDest, uint32_t dwWanted);
  /// Takes all of the bytes and returns their number, or takes nothing and returns 0.
  uint32_t Ecrit(const uint8_t* pSource, uint32_t dwOctets);

 private:
  uint32_t m_dwTaille = 0;
  std::unique_ptr<uint8_t[]> m_pMem;
  uint32_t m_dwLecture = 0;
  uint32_t m_dwCount = 0;
};

}  // namespace tonara
