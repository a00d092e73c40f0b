#include "audio/mpgdecoder.h"

#include <mpg123.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tonara {
namespace {

// ISO/IEC 11172-3, table 2.4.2.3, and ISO/IEC 13818-3; kbit/s by lsf, layer and index. Index 0 is the
// free format, which is refused, and 15 is forbidden.
constexpr int kDebits[2][3][16] = {{{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
                                    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
                                    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}},
                                   {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
                                    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
                                    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0}}};
constexpr int kFrequences[9] = {44100, 48000, 32000, 22050, 24000, 16000, 11025, 12000, 8000};

constexpr int kTailleEntete = 4;

uint32_t Entete(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
         p[3];
}

/// Writes to standard output unless that would block or raise SIGPIPE: we are inside a mix pass, and
/// whoever started the program may have stopped reading long ago. A pipe that is ready has room for
/// 4 KB (PIPE_BUF).
void EcritSortie(const char* szTexte) {
  pollfd sortie{STDOUT_FILENO, POLLOUT, 0};
  if (poll(&sortie, 1, 0) != 1 || sortie.revents != POLLOUT) return;
  [[maybe_unused]] const ssize_t iEcrits = write(STDOUT_FILENO, szTexte, std::strlen(szTexte));
}

/// Samples of -1 to +1 as 16 bits, rounded to the nearest and held to their range: what the library gives as 16
/// bits, to the bit, but its own way there costs a tenth of the decoding.
void EnSeizeBits(const float* pf, size_t nEch, uint8_t* pDest) {
  size_t n = 0;
#if defined(__SSE2__)
  const __m128 echelle = _mm_set1_ps(32768.0F);
  const __m128 haut = _mm_set1_ps(32767.0F);  // beyond it the conversion to integers would turn over
  const auto quatre = [&](const float* p) {
    return _mm_cvtps_epi32(_mm_min_ps(_mm_mul_ps(_mm_loadu_ps(p), echelle), haut));
  };
  for (; n + 8 <= nEch; n += 8) {
    const __m128i ech = _mm_packs_epi32(quatre(pf + n), quatre(pf + n + 4));
    std::memcpy(pDest + n * 2, &ech, sizeof(ech));
  }
#endif
  for (; n < nEch; ++n) {
    const auto nVal = static_cast<int>(std::lrint(std::clamp(pf[n] * 32768.0F, -32768.0F, 32767.0F)));
    pDest[n * 2] = static_cast<uint8_t>(nVal);
    pDest[n * 2 + 1] = static_cast<uint8_t>(nVal >> 8);
  }
}

}  // namespace

int CMPGHeader::Bitrate() const {
  return iLayer == 0 ? 0 : kDebits[iLsf][iLayer - 1][iBitrateIndex];
}

int CMPGHeader::Frequence() const {
  return kFrequences[iSampling];
}

int CMPGHeader::Taille() const {
  switch (iLayer) {
    case 1:
      return (Bitrate() * 12000 / Frequence() + iPadding) * 4;
    case 2:
      return Bitrate() * 144000 / Frequence();
    case 3:
      return Bitrate() * 144000 / (Frequence() << iLsf);
    default:
      return 0;
  }
}

bool ParseHeader(uint32_t dwHeader, CMPGHeader* pHeader) {
  const auto bits = [dwHeader](int iShift, int iMask) { return static_cast<int>(dwHeader >> iShift) & iMask; };
  if ((dwHeader & 0xFFE00000U) != 0xFFE00000U || (dwHeader & 0xFC00U) == 0xFC00U) return false;
  CMPGHeader h;
  h.iLayer = 4 - bits(17, 3);
  h.bMpeg25 = bits(20, 1) == 0;
  h.iLsf = bits(19, 3) == 3 ? 0 : 1;
  h.iSampling = (h.bMpeg25 ? 6 : h.iLsf * 3) + bits(10, 3);
  h.bProtection = bits(16, 1) == 0;
  h.iBitrateIndex = bits(12, 15);
  h.iPadding = bits(9, 1);
  h.iExtension = bits(8, 1);
  h.iMode = bits(6, 3);
  h.iModeExt = bits(4, 3);
  h.iCopyright = bits(3, 1);
  h.iOriginal = bits(2, 1);
  h.iEmphasis = bits(0, 3);
  h.iStereo = h.iMode == 3 ? 1 : 2;
  // Index 3 of the sample rate is reserved in each version, not only where the sum leaves the table.
  if (h.iLayer > 3 || bits(10, 3) == 3 || h.iBitrateIndex == 0 || h.iBitrateIndex == 15) return false;
  h.iCorps = h.Taille() + (h.iLayer == 1 ? 0 : h.iPadding) - kTailleEntete;
  if (h.iCorps < 1 || h.iCorps > 1280) return false;
  *pHeader = h;
  return true;
}

void CMPGDecoder::CFermeMpg::operator()(mpg123_handle_struct* pMpg) const {
  mpg123_delete(pMpg);
}

void CMPGDecoder::InitDecoder() {
  static std::once_flag once;
  std::call_once(once, [] { mpg123_init(); });
}

CMPGDecoder::CMPGDecoder(LectureFn pfnRead) : m_pfnRead(pfnRead) {
  InitDecoder();
}

CMPGDecoder::~CMPGDecoder() = default;

int CMPGDecoder::DecodeFrame(uint8_t* pPcm, void* pUser) {
  m_pUser = pUser;
  m_pPcm = pPcm;
  m_iPcmOctets = 0;
  m_llPassee = 0;
  if (!Synchronise()) return 0;
  Decode();
  ++m_iFrames;
  m_iSommeOctets += m_iTailleFrame;
  return m_iPcmOctets;
}

/// Reads all of it: a read function over a network may give less than it was asked.
bool CMPGDecoder::Lit(uint8_t* pDest, int iWanted) {
  while (iWanted > 0) {
    const int iLus = m_pfnRead(pDest, iWanted, m_pUser);
    if (iLus < 1 || iLus > iWanted) return false;
    m_iLus += iLus;
    pDest += iLus;
    iWanted -= iLus;
  }
  return true;
}

/// Slides on byte by byte from the four in m_Trame until they are a header.
bool CMPGDecoder::Glisse(int64_t llDebut, CMPGHeader* pHeader) {
  uint32_t dwMot = Entete(m_Trame);
  while (!ParseHeader(dwMot, pHeader)) {
    uint8_t octet = 0;
    if (m_iLus - llDebut >= m_llLimite || m_pfnRead(&octet, 1, m_pUser) != 1) return false;
    ++m_iLus;
    dwMot = dwMot << 8 | octet;
  }
  for (int i = 0; i < kTailleEntete; ++i) m_Trame[i] = static_cast<uint8_t>(dwMot >> (8 * (kTailleEntete - 1 - i)));
  return m_iLus - llDebut < m_llLimite;
}

/// Leaves header and body of the next frame in m_Trame, and its figures in the fields.
bool CMPGDecoder::Synchronise() {
  const int64_t llDebut = m_iLus;
  CMPGHeader header;
  if (!Lit(m_Trame, kTailleEntete)) return false;
  if (!ParseHeader(Entete(m_Trame), &header)) {
    // Lost: a header found by sliding counts only if the frame that it announces is followed by
    // another header. That second frame is the one we take; the first has served as its witness.
    bool bConfirmee = false;
    while (!bConfirmee) {
      if (!Glisse(llDebut, &header)) return false;
      if (!Lit(m_Trame + kTailleEntete, header.iCorps) || !Lit(m_Trame, kTailleEntete)) return false;
      bConfirmee = ParseHeader(Entete(m_Trame), &header);
      if (!bConfirmee && !Lit(m_Trame, kTailleEntete)) return false;
    }
  }
  m_llPassee = m_iLus - kTailleEntete - llDebut;
  m_Header = header;
  m_iTailleFrame = header.Taille();
  m_iBitrate = header.Bitrate();
  m_iFreq = header.Frequence();
  m_iStereo = header.iStereo;
  const int64_t llTrame = m_iLus - kTailleEntete;
  if (!Lit(m_Trame + kTailleEntete, header.iCorps)) {
    char ligne[128];
    std::snprintf(ligne, sizeof ligne, "\nBroken frame at 0x%X                                                  \n",
                  static_cast<unsigned>(llTrame));
    EcritSortie(ligne);
    return false;
  }
  return true;
}

/// Opens the library's side as a plain frame decoder: whole frames are fed one by one, each gives its
/// PCM at once, and nothing in the stream (gapless figures, volume tags, info frames) changes them.
bool CMPGDecoder::OuvreMpg() {
  // The fastest decoder for this processor. From one machine to the next samples differ by the last bit.
  m_pMpg.reset(mpg123_new(nullptr, nullptr));
  if (!m_pMpg) return false;
  constexpr long kDrapeaux = MPG123_QUIET | MPG123_NO_READAHEAD | MPG123_IGNORE_INFOFRAME | MPG123_SKIP_ID3V2 |
                             MPG123_IGNORE_STREAMLENGTH | MPG123_NO_PEEK_END;
  bool bBon = mpg123_param2(m_pMpg.get(), MPG123_FLAGS, kDrapeaux, 0.0) == MPG123_OK &&
              mpg123_param2(m_pMpg.get(), MPG123_RVA, MPG123_RVA_OFF, 0.0) == MPG123_OK &&
              // No index of frame positions: it would grow for as long as a stream runs.
              mpg123_param2(m_pMpg.get(), MPG123_INDEX_SIZE, 0, 0.0) == MPG123_OK &&
              mpg123_format_none(m_pMpg.get()) == MPG123_OK;
  for (const int iFreq : kFrequences) {
    bBon = bBon && mpg123_format(m_pMpg.get(), iFreq, MPG123_STEREO, MPG123_ENC_FLOAT_32) == MPG123_OK;
  }
  bBon = bBon && mpg123_open_feed(m_pMpg.get()) == MPG123_OK;
  if (!bBon) m_pMpg.reset();
  return bBon;
}

void CMPGDecoder::Decode() {
  if (!m_pMpg && !OuvreMpg()) return;
  const auto nTrame = static_cast<size_t>(m_Header.iCorps) + kTailleEntete;
  if (mpg123_feed(m_pMpg.get(), m_Trame, nTrame) != MPG123_OK) return;
  int iEtat = MPG123_NEW_FORMAT;
  while (iEtat == MPG123_NEW_FORMAT) {
    off_t llNumero = 0;
    unsigned char* pAudio = nullptr;
    size_t nOctets = 0;
    iEtat = mpg123_decode_frame(m_pMpg.get(), &llNumero, &pAudio, &nOctets);
    const size_t nEch = nOctets / sizeof(float);
    if (pAudio != nullptr && nEch > 0 && nEch * 2 <= static_cast<size_t>(kMaxPcmFrame)) {
      EnSeizeBits(reinterpret_cast<const float*>(pAudio), nEch, m_pPcm);
      m_iPcmOctets = static_cast<int>(nEch * 2);
    }
  }
}

}  // namespace tonara
