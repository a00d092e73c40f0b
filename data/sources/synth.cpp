#include "synth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace demo {
namespace {

constexpr double kTau = 2 * std::numbers::pi;

double Hertz(double fPitch) {
  return 440.0 * std::pow(2.0, (fPitch - 69.0) / 12.0);
}

double Noise(uint32_t& state) {
  state = state * 1664525U + 1013904223U;
  return static_cast<double>(state >> 8) / 8388608.0 - 1.0;
}

// A rise of cosine shape, so that no note begins with an edge.
double Attack(double t, double fTime) {
  return t >= fTime ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * t / fTime);
}

// Holds to fLength, then falls to nothing within fRelease.
double Release(double t, double fLength, double fRelease) {
  if (t <= fLength) return 1.0;
  const double x = std::min(1.0, (t - fLength) / fRelease);
  return 0.5 + 0.5 * std::cos(std::numbers::pi * x);
}

// Eight delay lines that feed each other through a Hadamard matrix, with damping in the loop (Jot's
// feedback delay network).
class Reverb {
 public:
  explicit Reverb(double fDecay) {
    constexpr std::array<size_t, 8> kLengths = {1427, 1637, 1931, 2203, 2579, 2917, 3271, 3769};
    for (size_t i = 0; i < 8; ++i) {
      m_lines[i].assign(kLengths[i], 0.0);
      m_gain[i] = std::pow(10.0, -3.0 * static_cast<double>(kLengths[i]) / (kRate * fDecay));
    }
  }
  void Run(double fLeft, double fRight, double* pLeft, double* pRight) {
    std::array<double, 8> v{};
    for (size_t i = 0; i < 8; ++i) {
      const double out = m_lines[i][m_pos[i]];
      m_damp[i] += 0.55 * (out - m_damp[i]);
      v[i] = m_damp[i] * m_gain[i];
    }
    *pLeft = v[0] + v[2] - v[4] + v[6];
    *pRight = v[1] - v[3] + v[5] + v[7];
    for (size_t h = 1; h < 8; h *= 2) {
      for (size_t i = 0; i < 8; ++i) {
        if ((i & h) == 0) {
          const double a = v[i];
          const double b = v[i + h];
          v[i] = a + b;
          v[i + h] = a - b;
        }
      }
    }
    for (size_t i = 0; i < 8; ++i) {
      m_lines[i][m_pos[i]] = v[i] / std::sqrt(8.0) + (i % 2 == 0 ? fLeft : fRight) * 0.35;
      m_pos[i] = (m_pos[i] + 1) % m_lines[i].size();
    }
  }

 private:
  std::array<std::vector<double>, 8> m_lines;
  std::array<size_t, 8> m_pos{};
  std::array<double, 8> m_gain{};
  std::array<double, 8> m_damp{};
};

}  // namespace

Score::Score(double fSeconds, bool bLoop)
    : m_bLoop(bLoop), m_nFrames(static_cast<size_t>(std::llround(fSeconds * kRate))), m_dry(m_nFrames) {}

void Score::Put(size_t nFrame, double fLeft, double fRight) {
  if (m_bLoop) nFrame %= m_nFrames;
  if (nFrame >= m_nFrames) return;
  m_dry.l[nFrame] += static_cast<float>(fLeft);
  m_dry.r[nFrame] += static_cast<float>(fRight);
}

void Score::Note(Instrument instrument, double fStart, double fLength, double fPitch, double fStrength, double fPan) {
  const auto nStart = static_cast<size_t>(std::llround(fStart * kRate));
  const double f = Hertz(fPitch);
  const double fAngle = (fPan + 1) * std::numbers::pi / 4;
  const double fLeft = std::cos(fAngle) * fStrength;
  const double fRight = std::sin(fAngle) * fStrength;
  // Quieter notes are darker, as on a real instrument.
  const double fBright = 0.4 + 0.6 * fStrength;
  const auto frames = [](double fSeconds) { return static_cast<size_t>(fSeconds * kRate); };

  switch (instrument) {
    case Instrument::Pad: {
      // Three slightly detuned voices of a few harmonics each, left, middle and right.
      const size_t n = frames(fLength + 1.6);
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double env = Attack(t, 0.9) * Release(t, fLength, 1.6);
        std::array<double, 3> voices{};
        for (size_t v = 0; v < 3; ++v) {
          const double detune = 1.0 + (static_cast<double>(v) - 1.0) * 0.0022;
          const double phase = kTau * f * detune * t + static_cast<double>(v) * 2.1;
          const double drift = 0.5 + 0.5 * std::sin(kTau * 0.13 * t + static_cast<double>(v) * 1.7);
          voices[v] = std::sin(phase) + (0.22 + 0.16 * drift) * fBright * std::sin(2 * phase + 0.4) +
                      0.10 * drift * fBright * std::sin(3 * phase) + 0.03 * fBright * std::sin(5 * phase);
        }
        const double l = (voices[0] + 0.6 * voices[1]) * env * 0.10;
        const double r = (voices[2] + 0.6 * voices[1]) * env * 0.10;
        Put(nStart + i, l * fLeft * 1.41, r * fRight * 1.41);
      }
      break;
    }
    case Instrument::Keys: {
      // A soft electric piano: one sine turns the phase of another, less and less.
      const double fDecay = 2.4 * std::pow(0.5, (fPitch - 60) / 24);
      const size_t n = frames(std::min(fLength, fDecay * 3) + 0.25);
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double env = Attack(t, 0.006) * std::exp(-t / fDecay) * Release(t, std::min(fLength, fDecay * 3), 0.25);
        const double mod = 0.9 * fBright * std::exp(-t / (0.5 * fDecay)) * std::sin(kTau * f * t);
        const double tine = 0.10 * fBright * std::exp(-t / 0.12) * std::sin(kTau * f * 7 * t);
        const double tremolo = 0.16 * std::sin(kTau * 4.3 * t + fStart);
        const double s = (std::sin(kTau * f * t + mod) + 0.25 * std::sin(kTau * f * 1.001 * t) + tine) * env * 0.24;
        Put(nStart + i, s * fLeft * (1 + tremolo), s * fRight * (1 - tremolo));
      }
      break;
    }
    case Instrument::Vibes: {
      const double fDecay = 1.3 * std::pow(0.5, (fPitch - 72) / 24);
      const size_t n = frames(fDecay * 6);
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double end = Release(t, fDecay * 5, fDecay);
        const double s = (std::sin(kTau * f * t) * std::exp(-t / fDecay) +
                          0.20 * fBright * std::sin(kTau * f * 3.98 * t) * std::exp(-t / (0.22 * fDecay)) +
                          0.05 * fBright * std::sin(kTau * f * 9.9 * t) * std::exp(-t / (0.07 * fDecay))) *
                         Attack(t, 0.009) * end * (1 + 0.10 * std::sin(kTau * 4.9 * t)) * 0.26;
        Put(nStart + i, s * fLeft, s * fRight);
      }
      break;
    }
    case Instrument::Pluck: {
      // A string as a delay line with a low-pass in its loop (Karplus and Strong 1983), tuned by a
      // fractional delay; picked with smoothed noise.
      const double period = kRate / f - 0.5;
      const auto whole = static_cast<size_t>(period);
      const double frac = period - static_cast<double>(whole);
      std::vector<double> line(whole + 1);
      double low = 0;
      double mean = 0;
      for (double& x : line) {
        low += (0.18 + 0.30 * fBright) * (Noise(m_nNoise) - low);
        x = low;
        mean += x / static_cast<double>(line.size());
      }
      double peak = 1e-9;
      for (double& x : line) {
        x -= mean;
        peak = std::max(peak, std::abs(x));
      }
      for (double& x : line) x /= peak;
      const double fRing = 3.2 * std::pow(0.5, (fPitch - 55) / 20);
      const double loss = std::pow(10.0, -3.0 / (f * fRing * 1.6));
      const size_t n = frames(std::min(fLength + 0.3, fRing * 1.5));
      size_t pos = 0;
      double last = 0;
      double body = 0;
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const size_t next = (pos + 1) % line.size();
        const double now = line[pos] * (1 - frac) + line[next] * frac;
        line[pos] = loss * 0.5 * (now + last);
        last = now;
        pos = next;
        body += 0.45 * (now - body);
        const double s = body * Attack(t, 0.003) * Release(t, static_cast<double>(n) / kRate - 0.3, 0.3) * 0.30;
        Put(nStart + i, s * fLeft, s * fRight);
      }
      break;
    }
    case Instrument::Bass: {
      const size_t n = frames(fLength + 0.18);
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double env = Attack(t, 0.016) * std::exp(-t / 1.6) * Release(t, fLength, 0.18);
        const double s = (std::sin(kTau * f * t) + 0.42 * std::exp(-t / 0.5) * std::sin(2 * kTau * f * t) +
                          0.12 * std::exp(-t / 0.2) * std::sin(3 * kTau * f * t)) *
                         env * 0.30;
        Put(nStart + i, s * fLeft, s * fRight);
      }
      break;
    }
    case Instrument::Brush: {
      // High-passed noise; the pitch sets how long it swishes.
      const double fDecay = fLength;
      const size_t n = frames(fDecay * 5);
      double lowL = 0;
      double lowR = 0;
      double smoothL = 0;
      double smoothR = 0;
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double env = Attack(t, 0.012) * std::exp(-t / fDecay) * Release(t, fDecay * 4, fDecay) * 0.16;
        const double a = Noise(m_nNoise);
        const double b = Noise(m_nNoise);
        smoothL += 0.6 * (a - smoothL);
        smoothR += 0.6 * (b - smoothR);
        lowL += 0.32 * (smoothL - lowL);
        lowR += 0.32 * (smoothR - lowR);
        Put(nStart + i, (smoothL - lowL) * env * fLeft, (smoothR - lowR) * env * fRight);
      }
      break;
    }
    case Instrument::Drum: {
      const size_t n = frames(0.35);
      double phase = 0;
      for (size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kRate;
        phase += kTau * (f + 45 * std::exp(-t / 0.025)) / kRate;
        const double s = std::sin(phase) * Attack(t, 0.004) * std::exp(-t / 0.09) * Release(t, 0.25, 0.1) * 0.40;
        Put(nStart + i, s * fLeft, s * fRight);
      }
      break;
    }
  }
}

Stereo Score::Finish(double fReverb, double fDecay, double fFadeOut) const {
  Stereo out(m_nFrames);
  Reverb reverb(fDecay);
  // A loop goes round until the reverb of its end rings into its beginning as it will when played.
  const int nTurns = m_bLoop ? 3 : 1;
  double highL = 0;
  double highR = 0;
  for (int turn = 0; turn < nTurns; ++turn) {
    for (size_t i = 0; i < m_nFrames; ++i) {
      double l = 0;
      double r = 0;
      reverb.Run(m_dry.l[i], m_dry.r[i], &l, &r);
      const double sumL = m_dry.l[i] + fReverb * l;
      const double sumR = m_dry.r[i] + fReverb * r;
      // Takes out what lies below 25 Hz, above all any constant part.
      highL += 0.0035 * (sumL - highL);
      highR += 0.0035 * (sumR - highR);
      out.l[i] = static_cast<float>(sumL - highL);
      out.r[i] = static_cast<float>(sumR - highR);
    }
  }
  const auto nFade = static_cast<size_t>(fFadeOut * kRate);
  for (size_t i = 0; i < std::min(nFade, m_nFrames); ++i) {
    const double x = static_cast<double>(i) / static_cast<double>(nFade);
    const auto gain = static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * x));
    out.l[m_nFrames - 1 - i] *= gain;
    out.r[m_nFrames - 1 - i] *= gain;
  }
  double sum = 0;
  float peak = 0;
  for (size_t i = 0; i < m_nFrames; ++i) {
    sum += out.l[i] * out.l[i] + out.r[i] * out.r[i];
    peak = std::max({peak, std::abs(out.l[i]), std::abs(out.r[i])});
  }
  const double rms = std::sqrt(sum / (2.0 * static_cast<double>(m_nFrames)));
  const double gain = std::min(std::pow(10.0, -18.0 / 20) / rms, std::pow(10.0, -1.5 / 20) / peak);
  for (size_t i = 0; i < m_nFrames; ++i) {
    out.l[i] *= static_cast<float>(gain);
    out.r[i] *= static_cast<float>(gain);
  }
  return out;
}

bool WriteWav(const std::string& szPath, const Stereo& sound) {
  const auto nBytes = static_cast<uint32_t>(sound.Frames() * 4);
  std::vector<uint8_t> file;
  const auto put = [&file](uint64_t value, int n) {
    for (int i = 0; i < n; ++i) file.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  const auto tag = [&file](const char* s) { file.insert(file.end(), s, s + 4); };
  tag("RIFF");
  put(36 + nBytes, 4);
  tag("WAVE");
  tag("fmt ");
  put(16, 4);
  put(1, 2);
  put(2, 2);
  put(kRate, 4);
  put(kRate * 4, 4);
  put(4, 2);
  put(16, 2);
  tag("data");
  put(nBytes, 4);
  uint32_t seed = 7;
  const auto sample = [&](float x) {
    const double dither = 0.5 * (Noise(seed) + Noise(seed));
    const long v = std::clamp(std::lround(x * 32767.0 + dither), -32768L, 32767L);
    put(static_cast<uint64_t>(v) & 0xffff, 2);
  };
  for (size_t i = 0; i < sound.Frames(); ++i) {
    sample(sound.l[i]);
    sample(sound.r[i]);
  }
  FILE* pFile = std::fopen(szPath.c_str(), "wb");
  if (pFile == nullptr) return false;
  const bool bWritten = std::fwrite(file.data(), 1, file.size(), pFile) == file.size();
  return std::fclose(pFile) == 0 && bWritten;
}

}  // namespace demo
