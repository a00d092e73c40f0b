// Front end of the MPEG audio decoder: pulls a bit stream from a read function, finds and checks the
// frames, and has libmpg123 decode them one by one to 16-bit stereo.
#pragma once

#include <cstdint>
#include <memory>

struct mpg123_handle_struct;

namespace tonara {

/// Largest PCM of one frame, in bytes: 1152 frames of 16-bit stereo.
inline constexpr int kMaxPcmFrame = 1152 * 4;

/// The fields of a frame header, ISO/IEC 11172-3, 2.4.2.3, with the extension to low sample rates of
/// ISO/IEC 13818-3 (lsf) and to the lowest ones ("2.5").
struct CMPGHeader {
  int iStereo = 2;  ///< 1 for mono, else 2
  int iLsf = 0;     ///< 1 for MPEG-2 and MPEG-2.5
  bool bMpeg25 = false;
  int iLayer = 0;  ///< 1 to 3
  bool bProtection = false;
  int iBitrateIndex = 0;
  int iSampling = 0;  ///< 0 to 8
  int iPadding = 0;
  int iExtension = 0;
  int iMode = 0;
  int iModeExt = 0;
  int iCopyright = 0;
  int iOriginal = 0;
  int iEmphasis = 0;
  int iCorps = 0;  ///< frame size less the header's 4 bytes

  /// kbit/s and Hz, from the tables.
  [[nodiscard]] int Bitrate() const;
  [[nodiscard]] int Frequence() const;
  /// Frame size by the formula, header included, less padding for Layers II and III.
  [[nodiscard]] int Taille() const;
};

/// Takes 32 bits, first byte highest. False if they aren't the header of a frame that is played: no
/// sync, reserved values, free format, or a body outside 1 to 1280 bytes.
bool ParseHeader(uint32_t dwHeader, CMPGHeader* pHeader);

/// One object serves one source, one thread at a time. There is no seeking; when the source starts
/// again from its beginning, the object goes on with its counts.
class CMPGDecoder {
 public:
  /// Gives up to iWanted bytes; less than 1 at the end or on failure.
  using LectureFn = int (*)(uint8_t* pDest, int iWanted, void* pUser);

  explicit CMPGDecoder(LectureFn pfnRead);
  virtual ~CMPGDecoder();
  CMPGDecoder(const CMPGDecoder&) = delete;
  CMPGDecoder& operator=(const CMPGDecoder&) = delete;

  /// One-time initialisation of the library, once in the process. Any thread.
  static void InitDecoder();

  /// Finds the next frame and decodes it to pPcm, which has room for kMaxPcmFrame bytes. Gives the PCM
  /// bytes, 0 when no frame could be read any more. Reads as much as the search needs, at most the
  /// limit. pUser goes to the read function.
  int DecodeFrame(uint8_t* pPcm, void* pUser);

  /// Bytes that one call may pass over in search of a frame.
  void SetLimiteRecherche(int64_t llOctets) { m_llLimite = llOctets; }

  /// Sample rate of the current frame, 44100 before the first.
  [[nodiscard]] int GetFrequence() const { return m_Header.Frequence(); }
  /// Header of the current frame.
  [[nodiscard]] const CMPGHeader& GetHeader() const { return m_Header; }
  /// Bytes read by the last call ahead of the frame that it decoded.
  [[nodiscard]] int64_t GetPassee() const { return m_llPassee; }

  // Figures, right after each call; for reading only. The sums are 64 bits: a loop of 320 kbit/s
  // passes 2 GB within a day.
  int64_t m_iFrames = 0;       ///< frames decoded so far
  int64_t m_iLus = 0;          ///< bytes taken from the read function so far
  int m_iTailleFrame = 0;      ///< size of the current frame, CMPGHeader::Taille; 0 before the first
  int m_iBitrate = 0;          ///< kbit/s of the current frame
  int m_iFreq = 0;             ///< Hz of the current frame
  int m_iStereo = 0;           ///< 1 if the current frame is mono, else 2
  int64_t m_iSommeOctets = 0;  ///< sum of m_iTailleFrame over the frames decoded
  int m_iPcmOctets = 0;        ///< PCM bytes given by the last call

 private:
  struct CFermeMpg {
    void operator()(mpg123_handle_struct* pMpg) const;
  };
  static constexpr int kMaxCorps = 1280;

  bool Lit(uint8_t* pDest, int iWanted);
  bool Glisse(int64_t llDebut, CMPGHeader* pHeader);
  bool Synchronise();
  void Decode();
  bool OuvreMpg();

  LectureFn m_pfnRead;
  void* m_pUser = nullptr;
  uint8_t* m_pPcm = nullptr;
  int64_t m_llLimite = INT64_C(65536);
  int64_t m_llPassee = 0;
  CMPGHeader m_Header;
  uint8_t m_Trame[4 + kMaxCorps] = {};  ///< header and body of the frame in hand
  std::unique_ptr<mpg123_handle_struct, CFermeMpg> m_pMpg;
};

}  // namespace tonara
