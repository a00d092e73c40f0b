// The arithmetic of a mix pass: a run of a source's frames through fades, ramp and gain onto the bus,
// and the bus back to PCM. Pure functions over contiguous memory; the caller's thread; no allocation.
#pragma once

#include <cstdint>

#include "platform/waveformat.h"

namespace tonara {

/// What shapes a run. All counts are frames; "first" is the run's first frame.
struct MIXE_RUN {
  float fMaster = 1.0F;
  float fGain = 1.0F;          ///< outside the ramp
  uint64_t llPos = 0;          ///< elapsed at the first
  uint32_t dwFadeIn = 0;       ///< 0 for none; at most kFonduMax
  int64_t llReste = 0;         ///< remaining at the first; counts down, held at 0
  uint32_t dwFadeOut = 0;      ///< 0 for none; at most kFonduMax
  int64_t llRampe = 0;         ///< the first on the ramp's axis
  int64_t llRampeDebut = 0;    ///< the ramp covers llRampeDebut to llRampeFin inclusive
  int64_t llRampeFin = 0;      ///< not above llRampeDebut: no ramp
  double dRampePente = 0.0;    ///< per frame
  double dRampeOrigine = 0.0;  ///< at frame 0 of the axis
};

/// The longest fade, in frames (13 hours at 44100 Hz): counters of a block then fit 32 bits.
inline constexpr uint32_t kFonduMax = 0x7FFFFFFF;

/// Sample widths and shapes that can be read: 1 channel or more of 8, 16, 24 or 32 bits, in whole frames.
/// 32 bits read as silence.
bool FormatMixable(const PCMWAVEFORMAT& format);

/// Turns frames into floats in the bus's channels: mono goes to both of the first two; of more than
/// two the first two are taken, of fewer than the bus has the rest is silent; on a mono bus the mean
/// of the first two. Equal channel counts go straight through.
void ConvertitRun(const uint8_t* pSource, const PCMWAVEFORMAT& source, uint32_t dwFrames, int nBusChannels,
                  float* pDest);

/// Adds dwFrames of interleaved floats (from ConvertitRun) to the bus. For each sample v in its frame:
/// v x elapsed / dwFadeIn before the fade-in's end, v x remaining / dwFadeOut within the fade-out;
/// then bus + fMaster x g x v, g being the ramp's line inside it, else fGain. pfCrete, one per channel,
/// takes the highest magnitude of the sum before it is clamped to -1..+1.
void AjouteRun(const float* pSource, uint32_t dwFrames, int nChannels, const MIXE_RUN& run, float* pfBus,
               float* pfCrete);
/// The same straight from 16-bit little-endian samples, in one sweep over memory.
void AjouteRun16(const uint8_t* pSource, uint32_t dwFrames, int nChannels, const MIXE_RUN& run, float* pfBus,
                 float* pfCrete);

/// EcrireEch over nEch samples that lie within -1..+1, to the bit.
void EcrireBus(const float* pfBus, uint32_t nEch, int iBits, uint8_t* pDest);

}  // namespace tonara
