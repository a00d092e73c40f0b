// Blocks for the tests of the wave devices: counted as they come back, with the moment.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/wavedevice.h"

namespace tonara::test {

class CTestBlocks {
 public:
  explicit CTestBlocks(const std::vector<uint32_t>& sizes) {
    for (const uint32_t dwSize : sizes) {
      auto pBlock = std::make_unique<Block>();
      pBlock->data.resize(dwSize, static_cast<uint8_t>(m_blocks.size() + 1));
      pBlock->header.pData = pBlock->data.data();
      pBlock->header.dwLength = dwSize;
      pBlock->header.pUser = this;
      m_blocks.push_back(std::move(pBlock));
    }
  }
  static void OnDone(WaveHeader* pHeader) {
    auto* pThis = static_cast<CTestBlocks*>(pHeader->pUser);
    const int n = pThis->m_nDone.load();
    if (n < kMax) pThis->m_order[n] = pHeader;
    pThis->m_nDone = n + 1;
  }
  void WriteAll(CWaveOutDevice& device) {
    for (const auto& pBlock : m_blocks) device.Write(&pBlock->header);
  }
  void AddAll(CWaveInDevice& device) {
    for (const auto& pBlock : m_blocks) device.AddBuffer(&pBlock->header);
  }
  [[nodiscard]] WaveHeader& Header(size_t n) { return m_blocks[n]->header; }
  [[nodiscard]] int Done() const { return m_nDone; }
  /// They came back in the order in which they were given.
  [[nodiscard]] bool InOrder() const {
    for (int n = 0; n < m_nDone && n < kMax; ++n) {
      if (m_order[n] != &m_blocks[static_cast<size_t>(n) % m_blocks.size()]->header) return false;
    }
    return true;
  }
  bool WaitDone(int nBlocks, std::chrono::milliseconds within = std::chrono::seconds(5)) const {
    const auto end = std::chrono::steady_clock::now() + within;
    while (m_nDone < nBlocks) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

 private:
  static constexpr int kMax = 256;
  struct Block {
    WaveHeader header;
    std::vector<uint8_t> data;
  };
  std::vector<std::unique_ptr<Block>> m_blocks;
  std::atomic<int> m_nDone{0};
  WaveHeader* m_order[kMax] = {};
};

/// Seconds that a call takes.
inline double SecondsOf(const std::function<void()>& fnCall) {
  const auto before = std::chrono::steady_clock::now();
  fnCall();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
}

}  // namespace tonara::test
