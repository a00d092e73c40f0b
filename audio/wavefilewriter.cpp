#include "audio/wavefilewriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/log.h"
#include "platform/paths.h"

namespace tonara {
namespace {

constexpr uint32_t kEntete = 44;          // RIFF, format chunk of 16 bytes, data chunk's header
constexpr off_t kTailleRiff = 4;          // place of the RIFF size
constexpr off_t kTailleDonnees = 40;      // place of the data size
constexpr uint32_t kOctetsAvantRiff = 8;  // what the RIFF size doesn't count

void Met16(uint8_t* p, uint16_t w) {
  p[0] = static_cast<uint8_t>(w);
  p[1] = static_cast<uint8_t>(w >> 8);
}

void Met32(uint8_t* p, uint32_t dw) {
  Met16(p, static_cast<uint16_t>(dw));
  Met16(p + 2, static_cast<uint16_t>(dw >> 16));
}

// All of the bytes at that place, however many calls it takes. False with errno set.
bool EcritTout(int fd, const uint8_t* pOctets, size_t nOctets, off_t nOu) {
  while (nOctets > 0) {
    const ssize_t n = pwrite(fd, pOctets, nOctets, nOu);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = ENOSPC;
      return false;
    }
    pOctets += n;
    nOctets -= static_cast<size_t>(n);
    nOu += n;
  }
  return true;
}

void TraceEchec(const std::string& szFichier, int nErreur) {
  Trace(1, "Record : [%s] ne peut etre écrit (%s)\n", szFichier.c_str(), std::strerror(nErreur));
}

}  // namespace

bool CWaveFileWriter::Ouvre(const std::string& szBase, const PCMWAVEFORMAT& format) {
  Ferme();
  m_Format = format;
  m_szBase = szBase;
  m_iFichier = 0;
  return OuvreSuivant();
}

bool CWaveFileWriter::OuvreSuivant() {
  m_szFichier = m_szBase;
  m_dwOctetsFichier = 0;
  if (m_iFichier > 0) {
    char suffixe[16];
    std::snprintf(suffixe, sizeof suffixe, "_%02u", m_iFichier);
    m_szFichier.insert(m_szBase.size() - ExtensionOf(m_szBase).size(), suffixe);
  }
  ++m_iFichier;
  // O_NONBLOCK: opening a FIFO or a device node by mistake must not hang; it is refused just below.
  m_iFile = open(m_szFichier.c_str(), O_CREAT | O_RDWR | O_CLOEXEC | O_NONBLOCK, 0644);
  if (m_iFile < 0) {
    TraceEchec(m_szFichier, errno);
    return false;
  }
  struct stat st {};
  if (fstat(m_iFile, &st) != 0 || !S_ISREG(st.st_mode)) {
    TraceEchec(m_szFichier, EINVAL);
    close(m_iFile);
    m_iFile = -1;
    return false;
  }
  std::array<uint8_t, kEntete> entete{};
  std::memcpy(&entete[0], "RIFF", 4);
  std::memcpy(&entete[8], "WAVEfmt ", 8);
  Met32(&entete[16], 16);
  Met16(&entete[20], 1);
  Met16(&entete[22], m_Format.nChannels);
  Met32(&entete[24], m_Format.nSamplesPerSec);
  Met32(&entete[28], m_Format.nAvgBytesPerSec);
  Met16(&entete[32], m_Format.nBlockAlign);
  Met16(&entete[34], m_Format.wBitsPerSample);
  std::memcpy(&entete[36], "data", 4);
  // The file was not truncated by its opening, so that a refusal above harms nothing. From here on it
  // is ours: old bytes behind a shorter new recording would count in the RIFF size.
  if (!EcritTout(m_iFile, entete.data(), entete.size(), 0) || ftruncate(m_iFile, kEntete) != 0) {
    TraceEchec(m_szFichier, errno);
    Ferme();
    return false;
  }
  return true;
}

bool CWaveFileWriter::EcritTailles() {
  struct stat st {};
  if (fstat(m_iFile, &st) != 0) return false;
  std::array<uint8_t, 4> taille{};
  Met32(taille.data(), static_cast<uint32_t>(st.st_size) - kOctetsAvantRiff);
  if (!EcritTout(m_iFile, taille.data(), taille.size(), kTailleRiff)) return false;
  Met32(taille.data(), m_dwOctetsFichier);
  return EcritTout(m_iFile, taille.data(), taille.size(), kTailleDonnees);
}

bool CWaveFileWriter::Ecrit(const uint8_t* pOctets, uint32_t dwOctets) {
  if (m_iFile < 0) return false;
  const off_t nOu = off_t{kEntete} + m_dwOctetsFichier;
  if (!EcritTout(m_iFile, pOctets, dwOctets, nOu)) {
    TraceEchec(m_szFichier, errno);
    // Part of the block may be there, and the header doesn't count it.
    if (ftruncate(m_iFile, nOu) != 0) TraceEchec(m_szFichier, errno);
    return false;
  }
  m_dwOctetsFichier += dwOctets;
  if (!EcritTailles()) {
    TraceEchec(m_szFichier, errno);
    return false;
  }
  if (m_dwOctetsFichier < m_dwLimite) return true;
  Ferme();
  return OuvreSuivant();
}

void CWaveFileWriter::Ferme() {
  if (m_iFile < 0) return;
  const bool bVide = m_dwOctetsFichier == 0;
  if (!bVide && !EcritTailles()) TraceEchec(m_szFichier, errno);
  if (close(m_iFile) != 0) TraceEchec(m_szFichier, errno);
  m_iFile = -1;
  if (bVide && unlink(m_szFichier.c_str()) != 0) TraceEchec(m_szFichier, errno);
}

}  // namespace tonara
