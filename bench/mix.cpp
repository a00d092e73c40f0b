// The mixer: ten active tranches of 44.1 kHz stereo 16-bit WAV with fades and ramps, one thread. The
// counter "times_real_time" is seconds of sound per second of the one core.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <string>

#include "audio/mixe.h"
#include "audio/mixout.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace {

using namespace tonara;

/// A device that plays a block the moment it is asked to, and keeps nothing.
class CInstantOut final : public CWaveOutDevice {
 public:
  CInstantOut(uint32_t dwAlign, WaveCallback fnDone) : m_dwAlign(dwAlign), m_fnDone(fnDone) {}
  ~CInstantOut() override { CInstantOut::Reset(); }
  bool Write(WaveHeader* pHeader) override {
    m_queue.push_back(pHeader);
    return true;
  }
  bool Pause() override { return true; }
  bool Restart() override { return true; }
  bool Reset() override {
    while (Play()) {
    }
    m_dwPos = 0;
    return true;
  }
  bool GetPosition(uint32_t* pdwFrames) override {
    *pdwFrames = m_dwPos;
    return true;
  }
  bool SetVolume(uint32_t) override { return true; }
  [[nodiscard]] std::string ErrorText() const override { return {}; }
  bool Play() {
    if (m_queue.empty()) return false;
    WaveHeader* const pHeader = m_queue.front();
    m_queue.pop_front();
    m_dwPos += pHeader->dwLength / m_dwAlign;
    m_fnDone(pHeader);
    return true;
  }

 private:
  uint32_t m_dwAlign;
  WaveCallback m_fnDone;
  std::deque<WaveHeader*> m_queue;
  uint32_t m_dwPos = 0;
};

class CInstantWave final : public CWaveBackend {
 public:
  CInstantWave() { SetWaveBackend(this); }
  ~CInstantWave() override { SetWaveBackend(nullptr); }
  [[nodiscard]] const char* Name() const override { return "instant"; }
  uint32_t OutCount() override { return 1; }
  bool OutName(uint32_t, std::string*) override { return false; }
  uint32_t InCount() override { return 0; }
  bool InName(uint32_t, std::string*) override { return false; }
  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t, const PCMWAVEFORMAT& format, bool, WaveCallback fnDone,
                                          std::string*) override {
    auto pOut = std::make_unique<CInstantOut>(format.nBlockAlign, fnDone);
    m_pOut = pOut.get();
    return pOut;
  }
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t, const PCMWAVEFORMAT&, bool, WaveCallback, std::string*) override {
    return nullptr;
  }
  CInstantOut* m_pOut = nullptr;
};

/// Ten looped files; a fade over all of them is under way all the time, the files' own fades in a part
/// of it.
void BM_MixTenTranches(benchmark::State& state) {
  const bool bFondus = state.range(0) != 0;
  test::CTempDir dir;
  CInstantWave wave;
  CMixout mixout;
  mixout.StartSansThread(0, 10, 50, 0);
  for (int n = 0; n < NB_TRANCHES; ++n) {
    const std::string szPath = dir.Write("f" + std::to_string(n) + ".wav",
                                         test::MakeWav({}, test::MakeNoise(44100, 2, 16, 10000 + 7 * n, n + 1)));
    if (mixout.PlayFichier(szPath, kPlayMixe, 0, 0, bFondus ? 2000 : 0, bFondus ? 2000 : 0, -20.0F, true, 0, 0,
                           nullptr) == 0)
      std::abort();
  }
  int nBloc = 0;
  for (auto _ : state) {
    if (bFondus && nBloc % 20 == 0) mixout.FadeAll(1000, -30.0F, nBloc % 40 == 0 ? 1 : 0);
    ++nBloc;
    if (!wave.m_pOut->Play()) std::abort();
    mixout.Tick();
  }
  state.counters["times_real_time"] =
      benchmark::Counter(0.05 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  mixout.StopAll();
  mixout.Stop();
}
BENCHMARK(BM_MixTenTranches)->ArgName("fades")->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

/// One block of the arithmetic alone: 1 fade in, 2 fade out, 4 ramp.
void BM_AjouteRun16(benchmark::State& state) {
  constexpr uint32_t kFrames = 2205;
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 50);
  std::vector<uint8_t> source(szPcm.begin(), szPcm.end());
  std::vector<float> bus(kFrames * 2);
  float crete[2] = {};
  MIXE_RUN run;
  run.fGain = 0.5F;
  run.dwFadeIn = (state.range(0) & 1) != 0 ? 100000 : 0;
  run.dwFadeOut = (state.range(0) & 2) != 0 ? 100000 : 0;
  run.llReste = 50000;
  run.llRampeFin = (state.range(0) & 4) != 0 ? 44100 : 0;
  run.dRampePente = 1e-5;
  for (auto _ : state) {
    AjouteRun16(source.data(), kFrames, 2, run, bus.data(), crete);
    benchmark::ClobberMemory();
  }
  state.counters["frames"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kFrames, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_AjouteRun16)->ArgName("kind")->DenseRange(0, 7);

}  // namespace
