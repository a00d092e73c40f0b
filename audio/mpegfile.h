// An MPEG audio file as a source of 16-bit stereo.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/media.h"
#include "audio/mpgdecoder.h"

namespace tonara {

/// Plays whatever the decoder finds frames in; the extension doesn't matter. Tags and junk in front of
/// the sound are passed over. There is no seek: in and out points have no effect here.
class CMpegFile final : public CMedia {
 public:
  CMpegFile();
  ~CMpegFile() override;

  /// True as soon as the input could be opened. Where no frame turns up in ten tries the format says
  /// 44100 Hz and the source stays shut: Read fails at once and the tranche ends. A path that begins
  /// with "http" fails with a trace line: there is no receiver of streams.
  bool Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) override;
  bool Close() override;
  /// Gives whole frames of PCM; fewer bytes than wanted only at the end.
  bool Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) override;
  bool GetFormat(PCMWAVEFORMAT* pFormat) override;
  /// An estimate from the mean frame size so far, in whole seconds; it moves while a file of variable
  /// rate plays. Once the end has been read it comes from the frames that there were.
  bool GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) override;
  bool ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) override;

  /// The decoder's figures.
  [[nodiscard]] const CMPGDecoder& Decoder() const { return m_Decoder; }

 private:
  /// Where the bytes come from.
  class CEntree {
   public:
    virtual ~CEntree() = default;
    /// Up to iWanted bytes; less than 1 at the end or on failure.
    virtual int Lit(uint8_t* pDest, int iWanted) = 0;
    /// Length in bytes, 0 for a live source.
    [[nodiscard]] virtual uint64_t GetTaille() const = 0;
    /// How much of it one search for a frame may pass over.
    [[nodiscard]] virtual int64_t GetLimiteRecherche() const = 0;
  };
  class CEntreeFichier;

  static std::unique_ptr<CEntree> OuvreEntree(const std::string& szPath);
  static int LitEntree(uint8_t* pDest, int iWanted, void* pUser);
  int DecodeTrame(CEntree& entree);
  int DecodePremiere(CEntree& entree);
  [[nodiscard]] PCMWAVEFORMAT FormatDecodeur() const;
  void Agrandit(uint32_t dwTaille);
  void Pousse(uint32_t dwOctets);

  CMPGDecoder m_Decoder;
  std::unique_ptr<CEntree> m_pEntree;
  std::unique_ptr<uint8_t[]> m_pPcm;  ///< one decoded frame
  std::vector<uint8_t> m_Ring;
  uint32_t m_dwRingPos = 0;
  uint32_t m_dwRingCount = 0;
  PCMWAVEFORMAT m_Format;
  uint64_t m_llFileLen = 0;      ///< bytes of the file from its first frame on, 0 for a stream
  int64_t m_llFramesOuvert = 0;  ///< the decoder's count of frames at Open
  bool m_bFinLue = false;
};

}  // namespace tonara
