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
  EXPECT_EQ(m_wave.Queued(), 10);
  EXPECT_FALSE(m_wave.IsPaused());
  EXPECT_EQ(FreqBus(), 44100U);
  EXPECT_EQ(Reste(1), 1240U);
  Joue(24);
  EXPECT_EQ(Ecoule(1), 1200U);
  EXPECT_EQ(Reste(1), 40U);
  Joue(1);
  // The last sound has gone: closed, and the tranche, still taken, has no position any more.
  EXPECT_FALSE(m_wave.IsOpen());
  EXPECT_EQ(FreqBus(), 0U);
  EXPECT_FALSE(Position(1));
  EXPECT_TRUE(m_mixout.IsActif());
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 1);
  m_mixout.StopTranche(1);
  EXPECT_FALSE(m_mixout.IsActif());
  EXPECT_EQ(m_wave.TakePlayed16(), Telquel(szPcm));
  EXPECT_EQ(Traced("Rupture"), 0);
}

TEST_F(Mixout, TheEleventhFileIsRefused) {
  const std::string szPath = Ton("a.wav", 440, 2000);
  for (int n = 1; n <= NB_TRANCHES; ++n) EXPECT_EQ(Play(szPath), n);
  EXPECT_EQ(Play(szPath), 0);
  EXPECT_EQ(Traced("Plus de tranches de mix libres\n"), 1);
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 10);
  m_mixout.StopTranche(4);
  EXPECT_EQ(Play(szPath), 4);  // the first free one
  for (const int nTranche : {0, -1, 11}) {
    m_mixout.StopTranche(nTranche);
    EXPECT_FALSE(Position(nTranche));
    EXPECT_FALSE(m_mixout.FadeTranche(nTranche, 10, 0, 1));
    EXPECT_FALSE(m_mixout.SetGainTranche(nTranche, 0));
    EXPECT_FALSE(m_mixout.SetGainMemoTranche(nTranche, 0));
    EXPECT_FALSE(m_mixout.FinTranche(nTranche, 10));
  }
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 10);
}

TEST_F(Mixout, WhatCanNotBeOpenedIsTracedAndLeavesTheTrancheFree) {
  EXPECT_EQ(Play(""), 0);
  EXPECT_EQ(Play(m_dir / "absent.wav"), 0);
  EXPECT_EQ(Traced("[" + m_dir.Dir() + "absent.wav] ne peut etre ouvert\n"), 1);
  m_wave.RefuseAll(true);
  const std::string szPath = Ton("a.wav", 440, 500);
  EXPECT_EQ(Play(szPath), 0);
  EXPECT_EQ(Traced("Erreur ouverture Wave\n"), 1);
  EXPECT_EQ(FreqBus(), 0U);
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 0);
  m_wave.RefuseAll(false);
  EXPECT_EQ(Play(szPath), 1);
}

TEST_F(Mixout, AnotherRateIsRefusedWhileATrancheHoldsASource) {
  const std::string szLent = Ton("lent.wav", 441, 300, Forme(22050));
  ASSERT_EQ(Play(Ton("a.wav", 441, 3000)), 1);
  EXPECT_EQ(Play(szLent), 0);
  EXPECT_EQ(Traced("lent.wav] Refusé (fréquence différente)\n"), 1);
  EXPECT_EQ(Traced("Freq Play = 44100, Freq fichier = 22050\n"), 1);
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 1);

  // Only leftovers play: they give way at once.
  m_mixout.StopTranche(1);
  EXPECT_EQ(FreqBus(), 44100U);
  EXPECT_EQ(Play(szLent), 1);
  EXPECT_EQ(m_wave.Opens(), 2);
  EXPECT_EQ(m_wave.Format().nSamplesPerSec, 22050U);
  EXPECT_EQ(m_wave.Queued(), 7);  // 50 ms are 1102 whole frames
  EXPECT_FALSE(m_wave.IsPaused());
  m_wave.TakePlayed();
  Joue(7);
  EXPECT_EQ(m_wave.TakePlayed16().size(), 2 * 6615U);
}

TEST_F(Mixout, TheSameFormatGoesOnOnTheDrainingDevice) {
  ASSERT_EQ(Play(Ton("a.wav", 441, 3000)), 1);
  Joue(3);
  m_mixout.StopTranche(1);
  Joue(4);  // six leftover blocks to go
  const std::string szPcm = test::MakeNoise(44100, 2, 16, 500);
  ASSERT_EQ(Play(Wav("b.wav", szPcm)), 1);
  EXPECT_EQ(m_wave.Opens(), 1);
  EXPECT_EQ(Ecoule(1), 0U);
  Joue(6);
  EXPECT_EQ(Ecoule(1), 0U);  // its first sample is next
  Joue(1);
  EXPECT_EQ(Ecoule(1), 50U);
  Joue(9);
  EXPECT_FALSE(m_wave.IsOpen());
  const std::vector<int16_t> sorti = m_wave.TakePlayed16();
  const std::vector<int16_t> attendu = Telquel(szPcm);
  ASSERT_EQ(sorti.size(), 2 * kBloc * 23);
  EXPECT_TRUE(std::equal(attendu.begin(), attendu.end(), sorti.begin() + 2 * kBloc * 13));
}

TEST_F(Mixout, ExclusiveFreesAllTranchesFirst) {
  const std::string szPath = Ton("a.wav", 441, 3000);
  Play(szPath);
  Play(szPath);
  EXPECT_EQ(m_mixout.PlayFichier(szPath, kPlayExclusif, 0, 0, 0, 0, 0.0F, false, 0, 0, nullptr), 1);
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 1);
  EXPECT_EQ(m_wave.Opens(), 1);
  // Also when there is no tranche left for it, and for another rate.
  for (int n = 2; n <= NB_TRANCHES; ++n) Play(szPath);
  const std::string szLent = Ton("b.wav", 441, 300, Forme(22050));
  EXPECT_EQ(m_mixout.PlayFichier(szLent, kPlayExclusif, 0, 0, 0, 0, 0.0F, false, 0, 0, nullptr), 1);
  EXPECT_EQ(m_mixout.NbTranchesPrises(), 1);
  EXPECT_EQ(m_wave.Format().nSamplesPerSec, 22050U);
}

TEST_F(Mixout, TheEndIsPostedAtEachPassUntilStopped) {
  const MsgTarget fenetre = NewMsgTarget();
  const std::string szMusique = Ton("m.wav", 441, 5000);
  Play(szMusique);
  const int nTranche =
      m_mixout.PlayFichier(Ton("a.wav", 441, 100), kPlayMixe, 0, 0, 0, 0, 0.0F, false, fenetre, 1026, nullptr);
  ASSERT_EQ(nTranche, 2);
  Joue(2);
  EXPECT_EQ(m_messages.TakeAll(1026), 0);
  Joue(1);
  test::PostedMsg msg{};
  ASSERT_TRUE(m_messages.Take(&msg));
  EXPECT_EQ(msg.target, fenetre);
  EXPECT_EQ(msg.wParam, 2U);
  Joue(5);
  EXPECT_EQ(m_messages.TakeAll(1026), 5);
  m_mixout.StopTranche(2);
  Joue(2);
  EXPECT_EQ(m_messages.TakeAll(1026), 0);
}

TEST_F(Mixout, SilenceIsMinusOneAndTheSumClipsBehindTheMeters) {
  Play(Wav("plein.wav", std::string(44100 * 8, '\x7F')), nullptr, false, 0.0F);
  Play(Wav("plein2.wav", std::string(44100 * 8, '\x7F')), nullptr, false, 0.0F);
  Joue(10);  // the first file alone was prefilled
  m_wave.TakePlayed();
  Joue(1);
  const std::vector<int16_t> sorti = m_wave.TakePlayed16();
  EXPECT_EQ(*std::min_element(sorti.begin(), sorti.end()), 32767);
  float f1[3] = {9.0F, 9.0F, 9.0F};
  float f2[3] = {9.0F, 9.0F, 9.0F};
  EXPECT_TRUE(m_mixout.GetNiveaux(f1, f2, 3));
  const float fSomme = 2.0F * 32639.0F / 32768.0F;
  EXPECT_FLOAT_EQ(f1[0], GainToDb(fSomme));
  EXPECT_GT(f1[1], 0.0F);
  EXPECT_EQ(f1[2], 9.0F);  // no such channel
  EXPECT_EQ(f2[1], f1[1]);

  // The second level keeps the highest until it is read.
  m_mixout.StopTranche(2);
  Joue(1);
  m_mixout.GetNiveaux(f1, nullptr, 2);
  EXPECT_FLOAT_EQ(f1[0], GainToDb(fSomme / 2));
  Joue(1);
  m_mixout.GetNiveaux(nullptr, f2, 2);
  EXPECT_FLOAT_EQ(f2[0], GainToDb(fSomme / 2));
  m_mixout.GetNiveaux(nullptr, f2, 2);
  EXPECT_TRUE(std::isinf(f2[0]));

  Vide();
  Play(Wav("muet.wav", std::string(44100 * 4, '\0')));
  Joue(1);
  for (const int16_t s : m_wave.TakePlayed16()) ASSERT_EQ(s, -1);
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
  EXPECT_EQ(niveau("INCONNU"), attendu(-3.0F));
  EXPECT_EQ(niveau("MESSAGE"), attendu(-6.0F));
  m_mixout.SetEtatGroupe("MUSIQUE", 1);
  EXPECT_EQ(niveau("MUSIQUE"), attendu(-12.0F));
  m_mixout.SetAutofadeGroupe("MUSIQUE", -18.0F);
  EXPECT_EQ(niveau("MUSIQUE"), attendu(-18.0F));
  m_mixout.SetLevelGroupe("MUSIQUE", -4.0F);
  EXPECT_EQ(niveau("MUSIQUE", true), attendu(-4.0F)) << "started while lowered, it comes back to its group's level";

  const char* const szLong = "UN NOM DE PLUS DE DIX-NEUF OCTETS";
  EXPECT_TRUE(m_mixout.AddGroupe(szLong, 0.0F, 0.0F));
  EXPECT_FALSE(m_mixout.AddGroupe("TROP", 0.0F, 0.0F));
  EXPECT_EQ(Traced("Plus de groupes libres\n"), 1);
  EXPECT_TRUE(m_mixout.SetLevelGroupe(szLong, -9.0F));
  EXPECT_EQ(niveau(szLong), attendu(-9.0F));
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
  EXPECT_EQ(Reste(1), 1210U);
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
  EXPECT_FALSE(m_wave.IsOpen());
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
  EXPECT_GE(Traced("waveOutWrite a échoué 0\n"), 1);
  m_mixout.StopAll();
  m_wave.FailWrites(false);
  ASSERT_EQ(Play(szPath), 1);
  m_wave.FailPosition(true);
  EXPECT_FALSE(Position(1));
  Joue(30);
  EXPECT_FALSE(m_wave.IsOpen());
  m_wave.FailPosition(false);
}

TEST_F(Mixout, InAndOutPointsAndTheLimitMakeTheTotal) {
  const std::string szPath = Ton("a.wav", 441, 3000);
  const int nTranche = m_mixout.PlayFichier(szPath, kPlayMixe, 500, 1500, 0, 0, 0.0F, false, 0, 0, nullptr);
  EXPECT_EQ(Reste(nTranche), 1000U);
  m_mixout.Stop();
  m_mixout.StopAll();
  m_mixout.StartSansThread(0, 10, 50, 400);
  Play(szPath);
  EXPECT_EQ(Reste(1), 400U);
  Joue(8);
  EXPECT_EQ(Reste(1), 0U);
  EXPECT_EQ(Ecoule(1), 400U);
  Joue(5);
  EXPECT_EQ(Ecoule(1), 400U);
  EXPECT_TRUE(Position(1));
}

TEST_F(Mixout, OtherChannelsAndWidthsPlayAtTheirPitchAndLength) {
  Play(Wav("muet.wav", std::string(44100 * 4 * 3, '\0')));
  const int nTranche = Play(Ton("mono8.wav", 400, 1000, Forme(44100, 1, 8)));
  ASSERT_EQ(nTranche, 2);
  EXPECT_EQ(Reste(2), 1000U);
  Joue(20);
  const std::vector<int16_t> sorti = Sorti();
  for (const int nCanal : {0, 1}) {
    const std::vector<int16_t> canal = test::Channel(sorti, 2, nCanal);
    const std::span<const int16_t> milieu(canal.data() + 12 * kBloc, 10 * kBloc);
    EXPECT_NEAR(test::ToneDb(milieu, 44100, 400), -6.02, 0.1) << nCanal;
  }
}

}  // namespace
}  // namespace tonara
