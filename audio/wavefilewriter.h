// A recording on the disk as RIFF/WAVE files, split at a size limit. The header tells the truth after
// every block, so a recording that a crash cuts short opens like any other.
#pragma once

#include <cstdint>
#include <string>

#include "platform/waveformat.h"

namespace tonara {

/// No lock of its own: its owner's covers each call. Every call may block on the disk.
class CWaveFileWriter {
 public:
  CWaveFileWriter() = default;
  ~CWaveFileWriter() { Ferme(); }
  CWaveFileWriter(const CWaveFileWriter&) = delete;
  CWaveFileWriter& operator=(const CWaveFileWriter&) = delete;

  /// Begins a recording: szBase is the path of the first file, the later ones get "_01", "_02" and so
  /// on behind the name. An existing file is recorded over, its old bytes dropped; anything but a
  /// regular file is refused. False, traced with the cause, if the file can't be made.
  bool Ouvre(const std::string& szBase, const PCMWAVEFORMAT& format);
  /// Adds a block and brings the header up to date; past the limit the file is closed and the next one
  /// opened. False, traced, if the disk took less than the block or the next file can't be made: what
  /// lay in the file before stays valid, and nothing more should be written.
  bool Ecrit(const uint8_t* pOctets, uint32_t dwOctets);
  /// Closes the present file; one without sound is deleted. Nothing without a file.
  void Ferme();

  [[nodiscard]] bool IsOuvert() const { return m_iFile >= 0; }
  /// Path of the present file, or of the latest one.
  [[nodiscard]] const std::string& Fichier() const { return m_szFichier; }
  /// Bytes of sound in the present file.
  [[nodiscard]] uint32_t OctetsFichier() const { return m_dwOctetsFichier; }
  /// A file is closed by the block with which it reaches this many bytes of sound.
  void SetLimite(uint32_t dwOctets) { m_dwLimite = dwOctets; }

 private:
  bool OuvreSuivant();
  bool EcritTailles();

  PCMWAVEFORMAT m_Format;
  std::string m_szBase;
  std::string m_szFichier;
  uint32_t m_iFichier = 0;  ///< files opened so far
  int m_iFile = -1;
  uint32_t m_dwOctetsFichier = 0;
  uint32_t m_dwLimite = 1000000000;
};

}  // namespace tonara
