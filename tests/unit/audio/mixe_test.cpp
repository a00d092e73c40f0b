#include "audio/mixe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "audio/pcm.h"

namespace tonara {
namespace {

/// The formulas as they read, sample by sample.
void Reference(const std::vector<float>& source, int nChannels, const MIXE_RUN& run, std::vector<float>& bus,
               std::vector<float>& crete) {
  const size_t nFrames = source.size() / static_cast<size_t>(nChannels);
  for (size_t k = 0; k < nFrames; ++k) {
    const uint64_t pos = run.llPos + k;
    const int64_t reste = std::max<int64_t>(run.llReste - static_cast<int64_t>(k), 0);
    const int64_t rampe = run.llRampe + static_cast<int64_t>(k);
    for (size_t c = 0; c < static_cast<size_t>(nChannels); ++c) {
      const size_t n = k * static_cast<size_t>(nChannels) + c;
      float v = source[n];
      if (run.dwFadeIn != 0 && pos < run.dwFadeIn) v = v * (static_cast<float>(pos) / static_cast<float>(run.dwFadeIn));
      if (run.dwFadeOut != 0 && reste < run.dwFadeOut)
        v = v * (static_cast<float>(reste) / static_cast<float>(run.dwFadeOut));
      float g = run.fGain;
      if (run.llRampeFin > run.llRampeDebut && rampe >= run.llRampeDebut && rampe <= run.llRampeFin)
        g = static_cast<float>(static_cast<double>(rampe) * run.dRampePente + run.dRampeOrigine);
      const float y = run.fMaster * g * v;
      const float s = bus[n] + y;
      crete[c] = std::max(crete[c], std::fabs(s));
      bus[n] = std::clamp(s, -1.0F, 1.0F);
    }
  }
}

TEST(Mixe, RunsEqualTheFormulasToTheBit) {
  std::mt19937 alea(7);
  const auto entre = [&](int64_t a, int64_t b) { return std::uniform_int_distribution<int64_t>(a, b)(alea); };
  int nSatures = 0;
  for (int nEssai = 0; nEssai < 4000; ++nEssai) {
    const int nChannels = static_cast<int>(entre(1, 3));
    const auto nFrames = static_cast<uint32_t>(entre(0, 200));
    std::vector<int16_t> pcm(nFrames * static_cast<size_t>(nChannels));
    std::vector<float> source(pcm.size());
    for (size_t n = 0; n < pcm.size(); ++n) {
      pcm[n] = static_cast<int16_t>(entre(-32768, 32767));
      source[n] = static_cast<float>(pcm[n]) / 32768.0F;
    }
    std::vector<float> bus(pcm.size());
    for (float& f : bus) f = static_cast<float>(entre(-1000, 1000)) / 1000.0F;

    // Boundaries in, before and behind the run, also after months of playing.
    const int64_t llAge = nEssai % 3 == 0 ? int64_t{1} << 38 : entre(0, 300);
    MIXE_RUN run;
    run.fMaster = nEssai % 5 == 0 ? 0.7F : 1.0F;
    run.fGain = static_cast<float>(entre(1, 2000)) / 1000.0F;
    run.llPos = static_cast<uint64_t>(llAge);
    if (nEssai % 2 == 0) run.dwFadeIn = static_cast<uint32_t>(entre(1, 400));
    run.llReste = entre(-50, 400);
    if (nEssai % 7 != 0) run.dwFadeOut = static_cast<uint32_t>(entre(1, 400));
    run.llRampe = nEssai % 4 == 0 ? llAge : entre(-300, 300);
    run.llRampeDebut = run.llRampe + entre(-150, 150);
    run.llRampeFin = run.llRampeDebut + entre(-10, 200);
    run.dRampePente = static_cast<double>(entre(-1000, 1000)) * 1e-6;
    run.dRampeOrigine = 0.9 - static_cast<double>(run.llRampe) * run.dRampePente;

    std::vector<float> busRef = bus;
    std::vector<float> busPcm = bus;
    std::vector<float> crete(static_cast<size_t>(nChannels), 0.1F);
    std::vector<float> creteRef = crete;
    std::vector<float> cretePcm = crete;
    Reference(source, nChannels, run, busRef, creteRef);
    AjouteRun(source.data(), nFrames, nChannels, run, bus.data(), crete.data());
    AjouteRun16(reinterpret_cast<const uint8_t*>(pcm.data()), nFrames, nChannels, run, busPcm.data(), cretePcm.data());
    ASSERT_EQ(bus, busRef) << nEssai;
    ASSERT_EQ(busPcm, busRef) << nEssai;
    ASSERT_EQ(crete, creteRef) << nEssai;
    ASSERT_EQ(cretePcm, creteRef) << nEssai;
    nSatures += static_cast<int>(std::count(busRef.begin(), busRef.end(), 1.0F));
  }
  EXPECT_GT(nSatures, 1000);  // the clamp was at work
}

TEST(Mixe, BusToPcmEqualsTheSampleWriter) {
  std::mt19937 alea(3);
  std::vector<float> bus = {0.0F,     -0.0F,      1.0F,     -1.0F,        1e-38F,       -1e-38F,
                            0x1p-69F, 0x1.8p-69F, 0x1p-68F, 1.0F / 32768, -1.0F / 32768};
  for (int n = -32768; n <= 32768; n += 7)
    for (const float f : {std::nextafter(static_cast<float>(n) / 32768.0F, -1.0F), static_cast<float>(n) / 32768.0F,
                          std::nextafter(static_cast<float>(n) / 32768.0F, 1.0F)})
      bus.push_back(std::clamp(f, -1.0F, 1.0F));
  std::uniform_real_distribution<float> partout(-1.0F, 1.0F);
  while (bus.size() % 8 != 5) bus.push_back(partout(alea));  // an odd end
  for (const int iBits : {8, 16, 24}) {
    const auto nOctets = static_cast<size_t>(iBits / 8);
    std::vector<uint8_t> pcm(bus.size() * nOctets);
    std::vector<uint8_t> reference(pcm.size());
    EcrireBus(bus.data(), static_cast<uint32_t>(bus.size()), iBits, pcm.data());
    for (size_t n = 0; n < bus.size(); ++n) EcrireEch(bus[n], iBits, reference.data() + n * nOctets);
    EXPECT_EQ(pcm, reference) << iBits;
  }
}

TEST(Mixe, SourcesOfOtherShapesAreConvertedIntoTheBus) {
  using Frames = std::vector<float>;
  struct {
    uint16_t wSource;
    int nBus;
    Frames attendu;  ///< of one source frame that holds 0.25, 0.5, 0.75 ... at 8 bits
  } const table[] = {
      {1, 2, {0.25F, 0.25F}},
      {2, 1, {0.375F}},
      {3, 2, {0.25F, 0.5F}},
      {2, 4, {0.25F, 0.5F, 0.0F, 0.0F}},
  };
  const uint8_t frame[] = {160, 192, 224};
  for (const auto& cas : table) {
    std::vector<uint8_t> deux(frame, frame + cas.wSource);
    deux.insert(deux.end(), frame, frame + cas.wSource);
    Frames sortie(static_cast<size_t>(cas.nBus) * 2, -9.0F);
    ConvertitRun(deux.data(), MakePcmFormat(8000, cas.wSource, 8), 2, cas.nBus, sortie.data());
    Frames attendu = cas.attendu;
    attendu.insert(attendu.end(), cas.attendu.begin(), cas.attendu.end());
    EXPECT_EQ(sortie, attendu) << cas.wSource << " to " << cas.nBus;
  }
}

}  // namespace
}  // namespace tonara
