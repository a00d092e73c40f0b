#include "audio/wavefile.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audio/pcm.h"
#include "core/log.h"

namespace tonara {
namespace {

constexpr uint16_t kTagPcm = 1;
constexpr uint16_t kTagExtensible = 0xFFFE;
constexpr uint16_t kMaxChannels = 32;
constexpr uint32_t kMaxFreq = 384000;
// A real file has a handful; a hostile one may be gigabytes of empty chunks.
constexpr int kMaxChunks = 4096;

uint16_t Le16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}
uint32_t Le32(const uint8_t* p) {
  return Le16(p) | static_cast<uint32_t>(Le16(p + 2)) << 16;
}

/// Walks the chunks of a RIFF file. The RIFF chunk's own size is not looked at: recorders that were
/// cut off, and programs that write to a pipe, leave 0 or 4 GB there.
class CChunks {
 public:
  explicit CChunks(CFileReader& fichier) : m_Fichier(fichier) {}

  bool DescendRiffWave() {
    uint8_t header[12];
    m_Fichier.SetPosition(0);
    m_llSuivant = sizeof header;
    return m_Fichier.Lit(header, sizeof header) == sizeof header && std::memcmp(header, "RIFF", 4) == 0 &&
           std::memcmp(header + 8, "WAVE", 4) == 0;
  }

  /// Goes to the data of the next chunk of that name, behind the present one.
  bool Descend(const char* szId, uint32_t* pdwTaille) {
    while (++m_nVus <= kMaxChunks) {
      uint8_t header[8];
      m_Fichier.SetPosition(m_llSuivant);
      if (m_Fichier.Lit(header, sizeof header) != sizeof header) return false;
      const uint32_t dwTaille = Le32(header + 4);
      m_llSuivant += sizeof header + static_cast<uint64_t>(dwTaille) + (dwTaille & 1);
      if (std::memcmp(header, szId, 4) == 0) {
        *pdwTaille = dwTaille;
        return true;
      }
    }
    return false;
  }

 private:
  CFileReader& m_Fichier;
  uint64_t m_llSuivant = 0;
  int m_nVus = 0;
};

/// Reads "fmt ". An extensible header whose sub-format is PCM counts as PCM from here on.
bool LitFormat(CFileReader& fichier, CChunks& chunks, PCMWAVEFORMAT* pFormat) {
  uint8_t octets[40] = {};
  uint32_t dwTaille = 0;
  if (!chunks.DescendRiffWave() || !chunks.Descend("fmt ", &dwTaille)) return false;
  const uint32_t dwUtile = std::min<uint32_t>(dwTaille, sizeof octets);
  if (fichier.Lit(octets, dwUtile) != dwUtile || dwUtile < 16) return false;
  pFormat->wFormatTag = Le16(octets);
  pFormat->nChannels = Le16(octets + 2);
  pFormat->nSamplesPerSec = Le32(octets + 4);
  pFormat->nBlockAlign = Le16(octets + 12);
  pFormat->wBitsPerSample = Le16(octets + 14);
  if (pFormat->wFormatTag == kTagExtensible) {
    // The sub-format's first two bytes are the tag of the old header.
    if (dwUtile >= 26 && Le16(octets + 24) != kTagPcm) return false;
    pFormat->wFormatTag = kTagPcm;
  }
  const uint16_t wBits = pFormat->wBitsPerSample;
  const bool bLisible = pFormat->wFormatTag == kTagPcm && (wBits == 8 || wBits == 16 || wBits == 24) &&
                        pFormat->nChannels >= 1 && pFormat->nChannels <= kMaxChannels && pFormat->nSamplesPerSec >= 1 &&
                        pFormat->nSamplesPerSec <= kMaxFreq && pFormat->nBlockAlign == wBits / 8 * pFormat->nChannels;
  // Many writers get the byte rate wrong; it follows from the rest.
  pFormat->nAvgBytesPerSec = pFormat->nSamplesPerSec * pFormat->nBlockAlign;
  return bLisible;
}

/// A point in ms as bytes from the start of the data, in whole frames so that channels stay in place.
uint32_t PointEnOctets(const PCMWAVEFORMAT& format, uint32_t dwMs) {
  const double dOctets = MsToOctets(format, dwMs);
  if (dOctets >= static_cast<double>(std::numeric_limits<uint32_t>::max())) {
    return std::numeric_limits<uint32_t>::max();
  }
  const auto dwOctets = static_cast<uint32_t>(dOctets);
  return dwOctets - dwOctets % format.nBlockAlign;
}

}  // namespace

bool CWaveFile::Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) {
  Close();
  m_szPath = szPath;
  m_dwIn = dwIn;
  m_dwOut = dwOut;
  m_dwInOctets = m_dwOutOctets = m_dwTaille = m_dwReste = 0;
  if (!m_Fichier.Open(szPath)) return false;
  CChunks chunks(m_Fichier);
  uint32_t dwChunk = 0;
  if (!LitFormat(m_Fichier, chunks, &m_Format) || !chunks.Descend("data", &dwChunk)) {
    Trace(1, "[%s] n'est pas un fichier WAV PCM lisible\n", szPath.c_str());
    return false;
  }
  const uint64_t llDebut = m_Fichier.GetPosition();
  const uint64_t llPresent = m_Fichier.GetTaille() > llDebut ? m_Fichier.GetTaille() - llDebut : 0;
  dwChunk = static_cast<uint32_t>(std::min<uint64_t>(dwChunk, llPresent));
  dwChunk -= dwChunk % m_Format.nBlockAlign;

  m_dwInOctets = PointEnOctets(m_Format, dwIn);
  m_dwOutOctets = PointEnOctets(m_Format, dwOut);
  const uint32_t dwFin = m_dwOutOctets != 0 && m_dwOutOctets <= dwChunk ? m_dwOutOctets : dwChunk;
  m_dwTaille = dwFin > m_dwInOctets ? dwFin - m_dwInOctets : 0;
  m_dwReste = m_dwTaille;
  m_Fichier.SetPosition(llDebut + m_dwInOctets);
  m_bOuvert = true;
  if (pFormat != nullptr) *pFormat = m_Format;
  return true;
}

bool CWaveFile::Close() {
  m_bOuvert = false;
  m_Fichier.Close();
  return true;
}

bool CWaveFile::Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) {
  *pdwGiven = 0;
  if (!m_bOuvert) return false;
  uint32_t dwBloc = std::min(dwWanted, m_dwReste);
  dwBloc -= dwBloc % m_Format.nBlockAlign;
  const int64_t llLu = m_Fichier.Lit(pDest, dwBloc);
  if (llLu < static_cast<int64_t>(dwBloc)) {
    // The file got shorter, or the disk failed: what there is, in whole frames, is the last.
    const uint32_t dwLu = llLu > 0 ? static_cast<uint32_t>(llLu) : 0;
    *pdwGiven = dwLu - dwLu % m_Format.nBlockAlign;
    m_dwReste = 0;
    return true;
  }
  *pdwGiven = dwBloc;
  m_dwReste -= dwBloc;
  return true;
}

bool CWaveFile::GetFormat(PCMWAVEFORMAT* pFormat) {
  if (!m_bOuvert) return false;
  *pFormat = m_Format;
  return true;
}

bool CWaveFile::GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) {
  if (!m_bOuvert) return false;
  // Only the rate is the reference's: the bytes are frames of this file, whatever the bus's channels
  // and width, and a mono file on a stereo bus doesn't end at half its time.
  PCMWAVEFORMAT format = m_Format;
  if (pReference != nullptr && pReference->nSamplesPerSec != 0) format.nSamplesPerSec = pReference->nSamplesPerSec;
  if (pdwMs != nullptr) {
    const double dMs = OctetsToMs(format, m_dwTaille);
    *pdwMs = static_cast<uint32_t>(std::min(dMs, static_cast<double>(std::numeric_limits<uint32_t>::max())));
  }
  return true;
}

bool CWaveFile::ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) {
  CFileReader fichier;
  if (!fichier.Open(szPath)) return false;
  CChunks chunks(fichier);
  return LitFormat(fichier, chunks, pFormat);
}

}  // namespace tonara
