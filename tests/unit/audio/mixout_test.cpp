// Tranches, device and passes of the mixer.
#include "audio/mixout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "audio/pcm.h"
#include "tests/unit/audio/mixoutfixture.h"

namespace tonara {
namespace {

using Mixout = MixoutFixture;

/// Samples as they come out at unity gain: what is not below 0 loses 1.
std::vector<int16_t> Telquel(const std::string& szPcm) {
  std::vector<int16_t> samples = test::Samples16(szPcm);
  for (int16_t& s : samples) s = static_cast<int16_t>(s < 0 ? s : s - 1);
  return samples;
}

/// That sound over and over, from its beginning.
void ExpectRepete(const std::vector<int16_t>& sorti, const std::string& szPcm, size_t nBlocs) {
  const std::vector<int16_t> tour = Telquel(szPcm);
  ASSERT_EQ(sorti.size(), 2 * 2205 * nBlocs);
  for (size_t n = 0; n < sorti.size(); ++n) ASSERT_EQ(sorti[n], tour[n % tour.size()]) << n;
}

TEST_F(Mixout, AFileComesOutSampleForSampleAndTheDeviceCloses) {
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 1240);
  const int nTranche = Play(Wav("a.wav", szPcm));
  ASSERT_EQ(nTranche, 1);
  Joue(24);
  EXPECT_EQ(Ecoule(1), 1200U);
  EXPECT_EQ(Reste(1), 40U);
  Joue(1);
  // The last sound has gone: closed, and the tranche, still taken, has no position any more.
  EXPECT_FALSE(m_wave.IsOpen());
  EXPECT_FALSE(Position(1));
  EXPECT_EQ(m_wave.TakePlayed16(), Telquel(szPcm));
  EXPECT_EQ(Traced("Rupture"), 0);
}

TEST_F(Mixout, AnotherRateIsRefusedWhileATrancheHoldsASource) {
  const std::string szLent = Ton("lent.wav", 441, 300, Forme(22050));
  ASSERT_EQ(Play(Ton("a.wav", 441, 3000)), 1);
  EXPECT_EQ(Play(szLent), 0);
  // Only leftovers play: they give way at once.
  m_mixout.StopTranche(1);
  EXPECT_EQ(FreqBus(), 44100U);
  EXPECT_EQ(Play(szLent), 1);
  EXPECT_EQ(m_wave.Opens(), 2);
  EXPECT_EQ(m_wave.Format().nSamplesPerSec, 22050U);
  EXPECT_EQ(m_wave.Queued(), 7);  // 50 ms are 1102 whole frames
}

TEST_F(Mixout, GroupesSetTheGainATrancheStartsWith) {
  const std::string szPath = Wav("a.wav", std::string(44100 * 4, '\x20'));  // 8224 throughout
  const auto niveau = [&](const char* szGroupe, bool bRetour = false) {
    Play(szPath, szGroupe, false, -3.0F);
    if (bRetour) {  // what the prefilled blocks hold is gone by then
      m_mixout.FadeAll(0, 0.0F, 0);
      Joue(10);
      m_wave.TakePlayed();
    }
    m_wave.Play(1);
    const std::vector<int16_t> sorti = m_wave.TakePlayed16();
    Vide();
    return sorti.at(100);
  };
  const auto attendu = [](float fDb) { return static_cast<int16_t>(8224.0F * DbToGain(fDb) - 1.0F); };
  EXPECT_EQ(niveau(nullptr), attendu(-3.0F));
  EXPECT_EQ(niveau("MESSAGE"), attendu(-6.0F));
  m_mixout.SetEtatGroupe("MUSIQUE", 1);
  EXPECT_EQ(niveau("MUSIQUE"), attendu(-12.0F));
  m_mixout.SetAutofadeGroupe("MUSIQUE", -18.0F);
  EXPECT_EQ(niveau("MUSIQUE"), attendu(-18.0F));
  m_mixout.SetLevelGroupe("MUSIQUE", -4.0F);
  EXPECT_EQ(niveau("MUSIQUE", true), attendu(-4.0F)) << "started while lowered, it comes back to its group's level";
}

TEST_F(Mixout, ALoopHasNoGapAndItsPositionStartsAnewWhenTheTurnIsHeard) {
  // 1.23 s: the seam falls inside a block. Beside it a longer file keeps every block whole.
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 1230);
  ASSERT_EQ(Play(Wav("boucle.wav", szPcm), nullptr, true), 1);
  ASSERT_EQ(Play(Wav("muet.wav", std::string(44100 * 4 * 5, '\0'))), 2);
  Joue(24);
  EXPECT_EQ(Ecoule(1), 0U);  // the turn that is being mixed isn't heard yet
  Joue(1);
  EXPECT_EQ(Ecoule(1), 20U);
  Joue(20);
  ExpectRepete(Sorti(), szPcm, 55);
}

TEST_F(Mixout, ALoopShorterThanABlockAndOneOfNothing) {
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 7);
  ASSERT_EQ(Play(Wav("court.wav", szPcm), nullptr, true), 1);
  ASSERT_EQ(Play(Wav("vide.wav", ""), nullptr, true), 2);
  Joue(5);
  ExpectRepete(Sorti(), szPcm, 15);
}

TEST_F(Mixout, ALoopThatCanNotBeReopenedEnds) {
  const std::string szPath = Ton("boucle.wav", 441, 600);
  ASSERT_EQ(Play(szPath, nullptr, true), 1);
  std::filesystem::remove(szPath);
  Joue(5);
  EXPECT_FALSE(Position(1));
  Joue(20);
  EXPECT_FALSE(m_wave.IsOpen());
  EXPECT_GE(Traced("boucle.wav] ne peut etre rouvert"), 1);
  // The file is back: with the next opening of the device so is the loop.
  Ton("boucle.wav", 441, 600);
  ASSERT_EQ(Play(Ton("b.wav", 441, 2000)), 2);
  EXPECT_TRUE(Position(1));
}

TEST_F(Mixout, AnEndedTrancheDoesNotStartAnewWithTheNextOpening) {
  ASSERT_EQ(Play(Ton("a.wav", 441, 100)), 1);
  Joue(3);
  ASSERT_FALSE(m_wave.IsOpen());
  ASSERT_EQ(Play(Ton("b.wav", 441, 1000, Forme(22050))), 2);
  Joue(3);
  EXPECT_FALSE(Position(1));
  EXPECT_TRUE(Position(2));
}

TEST_F(Mixout, StarvationPausesRefillsTracesAndGoesOn) {
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 2000);
  Play(Wav("a.wav", szPcm));
  Joue(3);
  EXPECT_EQ(m_wave.Play(100), 10);  // nobody refills
  m_mixout.Tick();
  EXPECT_EQ(Traced("Device Wave 0 : Rupture débit\n"), 1);
  EXPECT_FALSE(m_wave.IsPaused());
  EXPECT_EQ(m_wave.Queued(), 10);
  Joue(40);
  EXPECT_EQ(m_wave.TakePlayed16(), Telquel(szPcm));
  EXPECT_EQ(Traced("Rupture"), 1);
}

TEST_F(Mixout, AFileWithoutSoundClosesTheDeviceItOpened) {
  ASSERT_EQ(Play(Wav("vide.wav", "")), 1);
  EXPECT_TRUE(m_wave.IsOpen());
  EXPECT_TRUE(m_wave.IsPaused());
  // The next file must sound, whether or not the thread has looked in between.
  ASSERT_EQ(Play(Ton("a.wav", 441, 1000)), 2);
  EXPECT_FALSE(m_wave.IsPaused());
  m_mixout.StopAll();
  Joue(11);
  ASSERT_EQ(Play(m_dir / "vide.wav"), 1);
  m_mixout.Tick();
  EXPECT_FALSE(m_wave.IsOpen());
}

TEST_F(Mixout, WritesAndPositionsThatFailEndInAClosedDevice) {
  const std::string szPath = Ton("a.wav", 441, 3000);
  Play(szPath);
  Joue(2);
  m_wave.FailWrites(true);
  Joue(30);
  EXPECT_FALSE(m_wave.IsOpen());
  m_mixout.StopAll();
  m_wave.FailWrites(false);
  ASSERT_EQ(Play(szPath), 1);
  m_wave.FailPosition(true);
  EXPECT_FALSE(Position(1));
  Joue(30);
  EXPECT_FALSE(m_wave.IsOpen());
  m_wave.FailPosition(false);
}

}  // namespace
}  // namespace tonara
