// What tests ask of PCM that came out: level, tone, clicks. Samples are 16 bits, interleaved; frames
// are counted from 0; levels are dB of full scale, a sine at full scale having a peak level of 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tonara::test {

/// 16-bit samples of a byte text (a WAV's data, for instance).
std::vector<int16_t> Samples16(std::string_view octets);

/// One channel, on its own.
std::vector<int16_t> Channel(std::span<const int16_t> samples, int nChannels, int nChannel);

/// Peak level of the tone of that frequency in one channel's samples (Goertzel's algorithm), dB. The
/// window should hold whole periods of every tone in it.
double ToneDb(std::span<const int16_t> mono, uint32_t dwFreq, double dHz);

/// Largest step between neighbouring samples of one channel: a sine of amplitude A has A x 2 pi f / rate.
int SlewMax(std::span<const int16_t> mono);
/// Largest second difference: a step of gain shows in it far above any low tone.
int CurveMax(std::span<const int16_t> mono);

}  // namespace tonara::test
