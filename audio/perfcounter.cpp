#include "audio/perfcounter.h"

#include <ctime>

namespace tonara {
namespace {

constexpr int64_t kFreq = 1'000'000'000;
constexpr int64_t kParMs = kFreq / 1000;

int64_t Compteur() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * kFreq + ts.tv_nsec;
}

}  // namespace

bool CPerfCounter::Start() {
  m_llFreq = GetFreq();
  m_llDebut = Compteur();
  return true;
}

double CPerfCounter::GetMs() const {
  if (m_llFreq == 0) return 0.0;
  return static_cast<double>(Compteur() - m_llDebut) / (static_cast<double>(m_llFreq) / 1000.0);
}

int64_t CPerfCounter::GetFreq() {
  return kFreq;
}

double CPerfCounter::GetNowMs() {
  return static_cast<double>(Compteur()) / static_cast<double>(kParMs);
}

}  // namespace tonara
