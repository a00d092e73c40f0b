#include "audio/fifocache.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tonara {

CFIFOCache::CFIFOCache(uint32_t dwTaille) : m_pMem(new (std::nothrow) uint8_t[dwTaille == 0 ? 1 : dwTaille]) {
  // Without memory the capacity stays 0 and every operation gives 0.
  if (m_pMem) m_dwTaille = dwTaille;
}

bool CFIFOCache::Vide() {
  m_dwLecture = 0;
  m_dwCount = 0;
  return m_pMem != nullptr;
}

int CFIFOCache::GetPct() const {
  if (m_dwTaille == 0) return 0;
  return static_cast<int>(static_cast<uint64_t>(m_dwCount) * 100 / m_dwTaille);
}

uint32_t CFIFOCache::Lit(uint8_t* pDest, uint32_t dwWanted) {
  const uint32_t dwGiven = std::min(m_dwCount, dwWanted);
  if (dwGiven == 0) return 0;
  const uint32_t dwFirst = std::min(dwGiven, m_dwTaille - m_dwLecture);
  std::memcpy(pDest, m_pMem.get() + m_dwLecture, dwFirst);
  std::memcpy(pDest + dwFirst, m_pMem.get(), dwGiven - dwFirst);
  m_dwLecture = dwFirst == dwGiven ? m_dwLecture + dwFirst : dwGiven - dwFirst;
  if (m_dwLecture == m_dwTaille) m_dwLecture = 0;
  m_dwCount -= dwGiven;
  return dwGiven;
}

uint32_t CFIFOCache::Ecrit(const uint8_t* pSource, uint32_t dwOctets) {
  if (dwOctets == 0 || dwOctets > m_dwTaille - m_dwCount) return 0;
  // 64 bits: the sum of offset and fill may pass 32 in a ring of more than 2 GB.
  const uint32_t dwEcriture = static_cast<uint32_t>((static_cast<uint64_t>(m_dwLecture) + m_dwCount) % m_dwTaille);
  const uint32_t dwFirst = std::min(dwOctets, m_dwTaille - dwEcriture);
  std::memcpy(m_pMem.get() + dwEcriture, pSource, dwFirst);
  std::memcpy(m_pMem.get(), pSource + dwFirst, dwOctets - dwFirst);
  m_dwCount += dwOctets;
  return dwOctets;
}

}  // namespace tonara
