#include "audio/mpegfile.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audio/filereader.h"
#include "core/log.h"

namespace tonara {
namespace {

constexpr uint32_t kRing = 60000;
constexpr int kEssais = 10;
// A picture in a tag is a few MB. A file of zeros costs this much once, some 50 ms, and is given up.
constexpr int64_t kLimiteFichier = INT64_C(16) << 20;

/// Length of the ID3v2 tag (id3.org, ID3v2.4, 3.1) that these first 10 bytes of a file announce, else 0.
uint64_t TailleId3v2(const uint8_t* p) {
  if (std::memcmp(p, "ID3", 3) != 0 || p[3] == 0xFF || p[4] == 0xFF) return 0;
  if (((p[6] | p[7] | p[8] | p[9]) & 0x80) != 0) return 0;
  const uint64_t llCorps =
      static_cast<uint64_t>(p[6]) << 21 | static_cast<uint64_t>(p[7]) << 14 | static_cast<uint64_t>(p[8]) << 7 | p[9];
  const bool bPied = (p[5] & 0x10) != 0;
  return 10 + llCorps + (bPied ? 10 : 0);
}

}  // namespace

class CMpegFile::CEntreeFichier final : public CEntree {
 public:
  bool Open(const std::string& szPath) {
    if (!m_Fichier.Open(szPath)) return false;
    // The frame search would pass over a tag byte by byte, and take bytes of a picture for frames now
    // and then. Starting in the tag's last bytes puts it in the same state as coming through the tag:
    // sliding, so that the first frame found has to be confirmed by the one behind it.
    uint8_t debut[10];
    if (m_Fichier.Lit(debut, sizeof debut) == sizeof debut) {
      const uint64_t llTag = TailleId3v2(debut);
      m_llDebut = llTag > sizeof debut && llTag <= m_Fichier.GetTaille() ? llTag - kAvantFin : 0;
    }
    m_Fichier.SetPosition(m_llDebut);
    return true;
  }
  int Lit(uint8_t* pDest, int iWanted) override {
    return static_cast<int>(m_Fichier.Lit(pDest, static_cast<uint32_t>(iWanted)));
  }
  [[nodiscard]] uint64_t GetTaille() const override { return m_Fichier.GetTaille() - m_llDebut; }
  [[nodiscard]] int64_t GetLimiteRecherche() const override { return kLimiteFichier; }

 private:
  static constexpr uint64_t kAvantFin = 4;

  CFileReader m_Fichier;
  uint64_t m_llDebut = 0;
};

CMpegFile::CMpegFile()
    : m_Decoder(&CMpegFile::LitEntree), m_pPcm(std::make_unique<uint8_t[]>(kMaxPcmFrame)), m_Ring(kRing) {}

CMpegFile::~CMpegFile() {
  CMpegFile::Close();
}

std::unique_ptr<CMpegFile::CEntree> CMpegFile::OuvreEntree(const std::string& szPath) {
  if (szPath.starts_with("http")) {
    Trace(1, "[%s] : pas de récepteur de flux\n", szPath.c_str());
    return nullptr;
  }
  auto pFichier = std::make_unique<CEntreeFichier>();
  if (!pFichier->Open(szPath)) return nullptr;
  return pFichier;
}

int CMpegFile::LitEntree(uint8_t* pDest, int iWanted, void* pUser) {
  return static_cast<CEntree*>(pUser)->Lit(pDest, iWanted);
}

int CMpegFile::DecodeTrame(CEntree& entree) {
  return m_Decoder.DecodeFrame(m_pPcm.get(), &entree);
}

/// Tries a few times for the first frame that gives sound.
int CMpegFile::DecodePremiere(CEntree& entree) {
  m_Decoder.SetLimiteRecherche(entree.GetLimiteRecherche());
  for (int i = 0; i < kEssais; ++i) {
    const int64_t llAvant = m_Decoder.m_iLus;
    const int iOctets = DecodeTrame(entree);
    if (iOctets > 0) return iOctets;
    // Each try at a file without frames would pass over another stretch of it.
    if (m_Decoder.m_iLus - llAvant >= entree.GetLimiteRecherche()) return 0;
  }
  return 0;
}

PCMWAVEFORMAT CMpegFile::FormatDecodeur() const {
  return MakePcmFormat(static_cast<uint32_t>(m_Decoder.GetFrequence()), 2, 16);
}

bool CMpegFile::Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) {
  Close();
  m_szPath = szPath;
  m_dwIn = dwIn;
  m_dwOut = dwOut;
  m_dwRingPos = 0;
  m_dwRingCount = 0;
  m_bFinLue = false;
  m_pEntree = OuvreEntree(szPath);
  if (!m_pEntree) return false;
  m_llFramesOuvert = m_Decoder.m_iFrames;
  const int iOctets = DecodePremiere(*m_pEntree);
  // What was passed over in front of the first frame holds no sound; left in the length, a picture of
  // 2 MB would make a short message last for minutes.
  const uint64_t llPassee = static_cast<uint64_t>(m_Decoder.GetPassee());
  m_llFileLen = m_pEntree->GetTaille() > llPassee ? m_pEntree->GetTaille() - llPassee : 0;
  if (iOctets > 0) {
    Pousse(static_cast<uint32_t>(iOctets));
    m_bOuvert = true;
  }
  m_Format = FormatDecodeur();
  if (pFormat != nullptr) *pFormat = m_Format;
  return true;
}

bool CMpegFile::Close() {
  m_bOuvert = false;
  m_pEntree.reset();
  return true;
}

bool CMpegFile::Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) {
  *pdwGiven = 0;
  if (!m_bOuvert) return false;
  dwWanted -= dwWanted % m_Format.nBlockAlign;
  if (dwWanted > m_Ring.size() / 2) Agrandit(dwWanted);
  while (m_dwRingCount < dwWanted && !m_bFinLue) {
    const int iOctets = DecodeTrame(*m_pEntree);
    if (iOctets > 0) {
      Pousse(static_cast<uint32_t>(iOctets));
    } else {
      m_bFinLue = m_llFileLen != 0;
      break;
    }
  }
  const uint32_t dwGiven = std::min(m_dwRingCount, dwWanted);
  const uint32_t dwFirst = std::min(dwGiven, static_cast<uint32_t>(m_Ring.size()) - m_dwRingPos);
  std::memcpy(pDest, m_Ring.data() + m_dwRingPos, dwFirst);
  std::memcpy(pDest + dwFirst, m_Ring.data(), dwGiven - dwFirst);
  m_dwRingPos = static_cast<uint32_t>((static_cast<uint64_t>(m_dwRingPos) + dwGiven) % m_Ring.size());
  m_dwRingCount -= dwGiven;
  *pdwGiven = dwGiven;
  return dwGiven > 0;
}

/// Makes room for two blocks of that size, so that a frame always fits behind less than one.
void CMpegFile::Agrandit(uint32_t dwTaille) {
  std::rotate(m_Ring.begin(), m_Ring.begin() + m_dwRingPos, m_Ring.end());
  m_dwRingPos = 0;
  m_Ring.resize(static_cast<size_t>(dwTaille) * 2);
}

/// Takes the frame in m_pPcm. There is room: a ring is two blocks and 60000 bytes at least, and frames
/// are added only while it holds less than one block.
void CMpegFile::Pousse(uint32_t dwOctets) {
  const auto dwTaille = static_cast<uint32_t>(m_Ring.size());
  const auto dwEcriture = static_cast<uint32_t>((static_cast<uint64_t>(m_dwRingPos) + m_dwRingCount) % dwTaille);
  const uint32_t dwFirst = std::min(dwOctets, dwTaille - dwEcriture);
  std::memcpy(m_Ring.data() + dwEcriture, m_pPcm.get(), dwFirst);
  std::memcpy(m_Ring.data(), m_pPcm.get() + dwFirst, dwOctets - dwFirst);
  m_dwRingCount += dwOctets;
}

bool CMpegFile::GetFormat(PCMWAVEFORMAT* pFormat) {
  if (!m_bOuvert) return false;
  *pFormat = m_Format;
  return true;
}

bool CMpegFile::GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) {
  if (!m_bOuvert || m_Decoder.m_iTailleFrame == 0 || m_Decoder.m_iFrames == 0) return false;
  const uint32_t dwFreq = pReference != nullptr ? pReference->nSamplesPerSec : FormatDecodeur().nSamplesPerSec;
  if (dwFreq == 0) return false;
  const CMPGHeader& header = m_Decoder.GetHeader();
  int64_t llFrames = m_Decoder.m_iFrames - m_llFramesOuvert;
  if (!m_bFinLue) {
    const int64_t llMoyenne = m_Decoder.m_iSommeOctets / m_Decoder.m_iFrames;
    if (llMoyenne == 0) return false;
    llFrames = static_cast<int64_t>(m_llFileLen) / llMoyenne;
  }
  const int64_t llDiviseur = static_cast<int64_t>(header.iLsf + 1) * dwFreq;
  const int64_t llParFrame = header.iLayer == 1 ? 384 : 1152;
  const int64_t llMs = (llDiviseur / 2 + llFrames * llParFrame) / llDiviseur * 1000;
  if (pdwMs != nullptr) {
    *pdwMs = static_cast<uint32_t>(std::min<int64_t>(llMs, std::numeric_limits<uint32_t>::max()));
  }
  return true;
}

bool CMpegFile::ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) {
  const std::unique_ptr<CEntree> pEntree = OuvreEntree(szPath);
  if (!pEntree) return false;
  DecodePremiere(*pEntree);
  *pFormat = FormatDecodeur();
  return true;
}

}  // namespace tonara
