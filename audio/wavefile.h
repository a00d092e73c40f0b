// A RIFF/WAVE file of PCM as a source.
#pragma once

#include <cstdint>
#include <string>

#include "audio/filereader.h"
#include "audio/media.h"

namespace tonara {

/// Plays PCM of 8, 16 or 24 bits, 1 to 32 channels, up to 384000 Hz. Everything else gives a false
/// Open: other codecs and floats, which would be noise, and widths that the mixer can't read, which
/// would be silence for as long as the file lasts. The header is not trusted: a data chunk that claims
/// more than the file holds is cut to what is there, so that its end comes when the sound ends.
class CWaveFile final : public CMedia {
 public:
  ~CWaveFile() override { CWaveFile::Close(); }

  bool Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) override;
  bool Close() override;
  /// Gives whole frames: dwWanted is cut down to a multiple of nBlockAlign.
  bool Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) override;
  bool GetFormat(PCMWAVEFORMAT* pFormat) override;
  bool GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) override;
  bool ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) override;

 private:
  CFileReader m_Fichier;
  PCMWAVEFORMAT m_Format;
  uint32_t m_dwInOctets = 0;   ///< in point, bytes from the start of the data
  uint32_t m_dwOutOctets = 0;  ///< out point, likewise; 0 for the end
  uint32_t m_dwTaille = 0;     ///< bytes to play
  uint32_t m_dwReste = 0;      ///< bytes still to read
};

}  // namespace tonara
