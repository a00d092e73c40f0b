// A small offline synthesiser for the demo music: notes of soft instruments are rendered into a stereo
// score, which passes through one reverb and is levelled. Everything is deterministic.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace demo {

constexpr int kRate = 44100;

struct Stereo {
  std::vector<float> l, r;
  explicit Stereo(size_t n) : l(n), r(n) {}
  [[nodiscard]] size_t Frames() const { return l.size(); }
};

enum class Instrument { Pad, Keys, Vibes, Pluck, Bass, Brush, Drum };

class Score {
 public:
  /// Length in seconds. A looping score folds everything that rings past its end back to its beginning.
  Score(double fSeconds, bool bLoop);

  /// Start and length in seconds, pitch as a MIDI number (60 is middle C), strength 0 to 1, place -1
  /// (left) to 1 (right).
  void Note(Instrument instrument, double fStart, double fLength, double fPitch, double fStrength, double fPan);

  /// Adds the reverb (share 0 to 1, decay in seconds), brings the loudness to -18 dBFS RMS with peaks of at
  /// most -1.5 dBFS, and fades out over the last seconds if wanted.
  Stereo Finish(double fReverb, double fDecay, double fFadeOut) const;

 private:
  void Put(size_t nFrame, double fLeft, double fRight);
  bool m_bLoop;
  size_t m_nFrames;
  Stereo m_dry;
  uint32_t m_nNoise = 1;
};

/// 16-bit PCM with triangular dither; the dither has a fixed seed. False if the file can't be written.
bool WriteWav(const std::string& szPath, const Stereo& sound);

}  // namespace demo
