#include "tests/support/pcmanalysis.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

namespace tonara::test {

std::vector<int16_t> Samples16(std::string_view octets) {
  std::vector<int16_t> samples(octets.size() / sizeof(int16_t));
  if (!samples.empty()) std::memcpy(samples.data(), octets.data(), samples.size() * sizeof(int16_t));
  return samples;
}

std::vector<int16_t> Channel(std::span<const int16_t> samples, int nChannels, int nChannel) {
  std::vector<int16_t> mono;
  mono.reserve(samples.size() / static_cast<size_t>(nChannels));
  for (auto n = static_cast<size_t>(nChannel); n < samples.size(); n += static_cast<size_t>(nChannels))
    mono.push_back(samples[n]);
  return mono;
}

double ToneDb(std::span<const int16_t> mono, uint32_t dwFreq, double dHz) {
  const double dOmega = 2.0 * std::numbers::pi * dHz / dwFreq;
  const double dCoeff = 2.0 * std::cos(dOmega);
  double s1 = 0.0;
  double s2 = 0.0;
  for (const int16_t s : mono) {
    const double s0 = s + dCoeff * s1 - s2;
    s2 = s1;
    s1 = s0;
  }
  const double dPower = s1 * s1 + s2 * s2 - dCoeff * s1 * s2;
  return 20.0 * std::log10(2.0 * std::sqrt(dPower) / static_cast<double>(mono.size()) / 32768.0);
}

int SlewMax(std::span<const int16_t> mono) {
  int nMax = 0;
  for (size_t n = 1; n < mono.size(); ++n) nMax = std::max(nMax, std::abs(mono[n] - mono[n - 1]));
  return nMax;
}

int CurveMax(std::span<const int16_t> mono) {
  int nMax = 0;
  for (size_t n = 2; n < mono.size(); ++n) nMax = std::max(nMax, std::abs(mono[n] - 2 * mono[n - 1] + mono[n - 2]));
  return nMax;
}

}  // namespace tonara::test
