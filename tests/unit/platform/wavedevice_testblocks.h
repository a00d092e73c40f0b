// Blocks for the tests of the wave devices: counted as they come back, with the moment.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/wavedevice.h"
#include "tests/support/waitfor.h"

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
  bool WaitDone(int nBlocks) const {
    return WaitFor([&] { return m_nDone >= nBlocks; }, std::chrono::seconds(5));
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

/// Opens an output at 44100 Hz, stereo, 16 bits.
inline std::unique_ptr<CWaveOutDevice> OpenOut(CWaveBackend& backend, uint32_t nIndex = 0) {
  std::string szError;
  auto pOut = backend.OpenOut(nIndex, MakePcmFormat(44100, 2, 16), true, CTestBlocks::OnDone, &szError);
  EXPECT_NE(pOut, nullptr) << szError;
  return pOut;
}
/// The same of the input.
inline std::unique_ptr<CWaveInDevice> OpenIn(CWaveBackend& backend) {
  std::string szError;
  auto pIn = backend.OpenIn(0, MakePcmFormat(44100, 2, 16), true, CTestBlocks::OnDone, &szError);
  EXPECT_NE(pIn, nullptr) << szError;
  return pIn;
}

/// Seconds that a call takes.
inline double SecondsOf(const std::function<void()>& fnCall) {
  const auto before = std::chrono::steady_clock::now();
  fnCall();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
}

}  // namespace tonara::test
