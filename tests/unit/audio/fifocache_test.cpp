#include "audio/fifocache.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "audio/ramaudio.h"

namespace tonara {
namespace {

uint32_t Ecrit(CFIFOCache& fifo, const std::string& s) {
  return fifo.Ecrit(reinterpret_cast<const uint8_t*>(s.data()), static_cast<uint32_t>(s.size()));
}

std::string Lit(CFIFOCache& fifo, uint32_t dwWanted) {
  std::string s(dwWanted, '?');
  s.resize(fifo.Lit(reinterpret_cast<uint8_t*>(s.data()), dwWanted));
  return s;
}

TEST(FifoCache, WritesAreAllOrNothing) {
  CFIFOCache fifo(10);
  EXPECT_EQ(Ecrit(fifo, "a"), 1U);
  EXPECT_EQ(Ecrit(fifo, "0123456789"), 0U);
  EXPECT_EQ(fifo.GetCount(), 1U);
  EXPECT_EQ(fifo.GetPct(), 10);
  EXPECT_EQ(Ecrit(fifo, ""), 0U);
  EXPECT_EQ(Ecrit(fifo, "bcdefghij"), 9U);
  EXPECT_EQ(fifo.GetPct(), 100);
  EXPECT_EQ(Ecrit(fifo, "k"), 0U);
  EXPECT_EQ(Lit(fifo, 100), "abcdefghij");
  EXPECT_EQ(fifo.GetPct(), 0);
  EXPECT_EQ(Lit(fifo, 1), "");
}

TEST(FifoCache, KeepsOrderAcrossItsEnd) {
  // Every ring size with every step against a plain queue: both wraps, exact fits, empty and full.
  for (uint32_t dwTaille = 1; dwTaille <= 17; ++dwTaille) {
    CFIFOCache fifo(dwTaille);
    std::deque<char> model;
    char next = 'a';
    for (uint32_t step = 0; step < 400; ++step) {
      const uint32_t dwWrite = step * 7 % (dwTaille + 2);
      std::string block;
      for (uint32_t i = 0; i < dwWrite; ++i) block.push_back(static_cast<char>(next + static_cast<char>(i)));
      const bool bFits = dwWrite > 0 && model.size() + dwWrite <= dwTaille;
      ASSERT_EQ(Ecrit(fifo, block), bFits ? dwWrite : 0U);
      if (bFits) {
        model.insert(model.end(), block.begin(), block.end());
        next = static_cast<char>('a' + (next - 'a' + static_cast<int>(dwWrite)) % 20);
      }
      const uint32_t dwRead = std::min<uint32_t>(step * 5 % (dwTaille + 1), static_cast<uint32_t>(model.size()));
      ASSERT_EQ(Lit(fifo, dwRead), std::string(model.begin(), model.begin() + dwRead));
      model.erase(model.begin(), model.begin() + dwRead);
      ASSERT_EQ(fifo.GetCount(), model.size());
      ASSERT_EQ(fifo.GetPct(), static_cast<int>(model.size() * 100 / dwTaille));
    }
  }
}

TEST(FifoCache, WithoutRoomEverythingGivesNothing) {
  CFIFOCache fifo(0);
  EXPECT_EQ(fifo.GetPct(), 0);
  EXPECT_EQ(Ecrit(fifo, "a"), 0U);
  EXPECT_EQ(Lit(fifo, 1), "");
}

TEST(FifoCache, EmptiedRingTakesAFullLoadAgain) {
  CFIFOCache fifo(8);
  Ecrit(fifo, "abcde");
  Lit(fifo, 3);
  EXPECT_TRUE(fifo.Vide());
  EXPECT_EQ(fifo.GetCount(), 0U);
  EXPECT_EQ(Ecrit(fifo, "ABCDEFGH"), 8U);
  EXPECT_EQ(Lit(fifo, 8), "ABCDEFGH");
}

TEST(RamAudio, HoldsOneCaptureBlockAndALittleMore) {
  CRAMAudio ram(2, 44100, 16, 45328);
  const std::vector<uint8_t> block(35280, 1);
  const std::vector<uint8_t> rest(10048, 2);
  CGuard guard(ram.m_Lock);
  EXPECT_EQ(ram.m_pFifo->Ecrit(block.data(), 35280), 35280U);
  EXPECT_EQ(ram.m_pFifo->Ecrit(block.data(), 35280), 0U);
  EXPECT_EQ(ram.m_pFifo->Ecrit(rest.data(), 10048), 10048U);
  EXPECT_EQ(ram.m_pFifo->GetPct(), 100);
}

}  // namespace
}  // namespace tonara
