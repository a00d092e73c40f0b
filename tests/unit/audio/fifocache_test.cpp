#include "audio/fifocache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>

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

// Every ring size, none included, with every step against a plain queue: both wraps, exact fits, blocks that
// don't fit (all or nothing), empty and full.
TEST(FifoCache, KeepsOrderAcrossItsEnd) {
  for (uint32_t dwTaille = 0; dwTaille <= 17; ++dwTaille) {
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
      const uint32_t dwAsked = step * 5 % (dwTaille + 3);
      const auto nRead = static_cast<std::ptrdiff_t>(std::min<size_t>(dwAsked, model.size()));
      ASSERT_EQ(Lit(fifo, dwAsked), std::string(model.begin(), model.begin() + nRead));
      model.erase(model.begin(), model.begin() + nRead);
      ASSERT_EQ(fifo.GetCount(), model.size());
      ASSERT_EQ(fifo.GetPct(), dwTaille == 0 ? 0 : static_cast<int>(model.size() * 100 / dwTaille));
      if (step % 61 == 60) {
        fifo.Vide();
        model.clear();
      }
    }
  }
}

}  // namespace
}  // namespace tonara
