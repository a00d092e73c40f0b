// The mixer with its thread, and callers on several others.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "audio/ramaudio.h"
#include "tests/support/waitfor.h"
#include "tests/unit/audio/mixoutfixture.h"

namespace tonara {
namespace {

using MixoutThread = MixoutFixture;

TEST_F(MixoutThread, StopAllBreaksABlockedRead) {
  CRAMAudio ram(2, 44100, 16, 60000);
  {
    CGuard guard(ram.m_Lock);
    const std::vector<uint8_t> deuxBlocs(2 * 8820, 1);
    ram.m_pFifo->Ecrit(deuxBlocs.data(), static_cast<uint32_t>(deuxBlocs.size()));
  }
  std::atomic<bool> bRendu{false};
  int nTranche = 0;
  std::thread lecteur([&] {
    nTranche = Play(MakeRamPath(&ram));  // blocks on the third block, under the lock
    bRendu = true;
  });
  ASSERT_TRUE(test::WaitFor([&] {
    CGuard guard(ram.m_Lock);
    return ram.m_pFifo->GetCount() == 0;
  }));
  const auto debut = std::chrono::steady_clock::now();
  m_mixout.StopAll();
  lecteur.join();
  EXPECT_TRUE(bRendu);
  EXPECT_EQ(nTranche, 1);
  // Unbroken it would have held out for five seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - debut, std::chrono::seconds(3));
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 0);
}

/// On the null device, whose thread is the real thing, with blocks so short that everything happens
/// often: files of two formats, loops, refusals, the device closed under the others' feet.
TEST_F(MixoutThread, ManyCallersWhileItPlays) {
  m_mixout.Stop();
  const std::unique_ptr<CWaveBackend> pNull = MakeWaveBackend("null");
  SetWaveBackend(pNull.get());
  ASSERT_TRUE(m_mixout.Start(0, 4, 5, 0));
  const std::string szPath = Ton("a.wav", 441, 60);
  const std::string szAutre = Ton("b.wav", 441, 60, Forme(22050, 1, 8));
  std::atomic<int> nReussis{0};
  const auto appelant = [&](int nGraine) {
    for (int n = 0; n < 300; ++n) {
      const int nTranche = m_mixout.PlayFichier(n % 10 == 9 ? szAutre : szPath, n % 50 == 7 ? kPlayExclusif : kPlayMixe,
                                                0, 0, 20, 20, -20.0F, n % 3 == 0, 0, 0, n % 2 ? "MUSIQUE" : "MESSAGE");
      nReussis += nTranche != 0 ? 1 : 0;
      m_mixout.FadeAll(100, -12.0F, n % 2);
      m_mixout.FadeTranche(nTranche, 50, -3.0F, 1);
      m_mixout.GetPosTranche(nTranche, nullptr, nullptr);
      m_mixout.SetEtatGroupe("MUSIQUE", static_cast<uint32_t>(n & 1));
      m_mixout.SetLevelGroupe("MUSIQUE", static_cast<float>(-n % 20));
      float niveaux[2];
      m_mixout.GetNiveaux(niveaux, niveaux, 2);
      PCMWAVEFORMAT format;
      m_mixout.GetFormat(n % 2 == 0, &format);
      if (n % 4 == 0) m_mixout.FinTranche(nTranche, 30);
      if (n % 6 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(3));  // let some of it play
      m_mixout.StopTranche(n % 5 == 0 ? (n + nGraine) % 11 : nTranche);
    }
  };
  std::vector<std::thread> appelants;
  appelants.reserve(3);
  for (int n = 0; n < 3; ++n) appelants.emplace_back(appelant, n);
  for (std::thread& t : appelants) t.join();
  EXPECT_GT(nReussis, 100);

  // Nothing is left in a state in which the next file would not sound.
  m_mixout.StopAll();
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 0);
  EXPECT_FALSE(m_mixout.IsActif());
  EXPECT_TRUE(test::WaitFor([&] { return FreqBus() == 0; }));  // the leftovers play out, then the device closes
  EXPECT_EQ(Play(szPath), 1);
  EXPECT_TRUE(test::WaitFor([&] { return Ecoule(1) > 0 || !Position(1); }));
  EXPECT_TRUE(test::WaitFor([&] { return FreqBus() == 0; }));
  m_mixout.StopAll();
  m_mixout.Stop();
  SetWaveBackend(&m_wave);
}

}  // namespace
}  // namespace tonara
