// Level, time and sample conversions of the audio engine. Pure functions, any thread.
#pragma once

#include <cstdint>

#include "platform/waveformat.h"

namespace tonara {

/// Linear gain of a level in dB: 10^(dB/20).
float DbToGain(float fDb);
/// Displayed level of a linear value: 10 x natural logarithm; 0 gives minus infinity. The meters turn
/// it back by DbToGain, which makes their scale close to linear.
float GainToDb(float fGain);
/// Floor of a level reading by sample width: -60 at 8 bits, -110 at 16, -160 at 24, else -1000.
float SeuilDb(int iBits);

/// Frames in so many ms; bytes in so many ms; ms in so many bytes. Not rounded.
double MsToEch(const PCMWAVEFORMAT& format, double dMs);
double MsToOctets(const PCMWAVEFORMAT& format, double dMs);
double OctetsToMs(const PCMWAVEFORMAT& format, double dOctets);
/// MsToOctets, truncated, and cut down to whole frames: the size of a block of so many ms.
uint32_t TailleBloc(const PCMWAVEFORMAT& format, uint32_t dwMs);

/// One little-endian sample as a float from -1 to +1: 8 bits unsigned, 16 and 24 signed, else 0.
float LireEch(const uint8_t* pOctets, int iBits);
/// The way back: v x 2^(bits-1), less 1 if v is not below 0, truncated toward zero. +1 gives 32767 at
/// 16 bits, -1 gives -32768, and 0 gives -1.
void EcrireEch(float fValeur, int iBits, uint8_t* pOctets);

}  // namespace tonara
