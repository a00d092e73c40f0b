// Fades, ramps and the Autofade, measured in what comes out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>

#include "audio/pcm.h"
#include "tests/unit/audio/mixoutfixture.h"

namespace tonara {
namespace {

/// Largest step of a sine at that level (dB).
double PasMax(double dHz, double dDb) {
  return 32768.0 * std::pow(10.0, dDb / 20.0) * 2.0 * std::numbers::pi * dHz / 44100.0;
}

constexpr double kDemi = -6.0206;  // the tones' own level

class MixoutFade : public MixoutFixture {
 protected:
  /// A constant of 16384: what comes out is the gain, frame by frame.
  std::string Constante(const std::string& szNom, uint32_t dwMs) {
    std::string szPcm;
    for (uint32_t n = 0; n < dwMs * 441 / 10 * 2; ++n) szPcm += std::string("\x00\x40", 2);
    return Wav(szNom, szPcm);
  }
  /// A stretch of frames in which the gain goes in a straight line from one value to another.
  struct Trait {
    size_t nDebut, nFin;
    double dDe, dA;
  };
  /// Each frame's gain as it came out, against the lines wanted, within what 16 bits can tell.
  static void Compare(const std::vector<int16_t>& gauche, std::initializer_list<Trait> traits) {
    for (const auto& [nDebut, nFin, dDe, dA] : traits) {
      for (size_t n = nDebut; n < nFin; ++n) {
        const double dGain = dDe + (dA - dDe) * static_cast<double>(n - nDebut) / static_cast<double>(nFin - nDebut);
        ASSERT_NEAR(gauche.at(n), std::max(16384.0 * dGain - 1.5, -0.5), 0.51) << n;
      }
    }
  }
  /// Frame at which the next block mixed will stand in what comes out, from the first one on.
  size_t Prochain() const { return m_nJoues * kBloc + 10 * kBloc; }
  void Passe(int nBlocs, int nParPasse = 1) {
    Joue(nBlocs, nParPasse);
    m_nJoues += static_cast<size_t>(nBlocs);
  }

  size_t m_nJoues = 0;
};

TEST_F(MixoutFade, AutofadeFromMusicToMessageAndBack) {
  const int nMusique = Play(Ton("musique.wav", 100, 20000), "MUSIQUE", true);
  Passe(20);
  // What an event does: the music down, the message at once.
  const size_t nBaisse = Prochain();
  m_mixout.SetEtatGroupe("MUSIQUE", 1);
  m_mixout.FadeAll(1000, -12.0F, 1);
  const int nMessage = Play(Ton("message.wav", 1000, 3000), "MESSAGE");
  while (Reste(nMessage) != 0) Passe(1);
  m_mixout.StopTranche(nMessage);
  const size_t nMontee = Prochain();
  m_mixout.SetEtatGroupe("MUSIQUE", 0);
  m_mixout.FadeAll(2000, 0.0F, 0);
  Passe(60);
  ASSERT_TRUE(Position(nMusique));

  const std::vector<int16_t> sorti = Sorti();
  const std::vector<int16_t> gauche = test::Channel(sorti, 2, 0);
  ASSERT_EQ(gauche, test::Channel(sorti, 2, 1));
  const double dBas = DbToGain(-12.0F);
  const auto gain = [&](double t) {  // linear, of the music, at a frame
    const auto b = static_cast<double>(nBaisse);
    const auto m = static_cast<double>(nMontee);
    if (t < b) return 1.0;
    if (t < b + 44100) return 1.0 + (dBas - 1.0) * (t - b) / 44100;
    if (t < m) return dBas;
    if (t < m + 88200) return dBas + (1.0 - dBas) * (t - m) / 88200;
    return 1.0;
  };
  // 50 ms hold whole periods of both tones.
  for (size_t n = 0; n + kBloc <= gauche.size(); n += kBloc) {
    const std::span<const int16_t> fenetre(gauche.data() + n, kBloc);
    const double dMusique = 20.0 * std::log10(gain(static_cast<double>(n) + kBloc / 2.0));
    ASSERT_NEAR(test::ToneDb(fenetre, 44100, 100), kDemi + dMusique, 0.2) << n;
    const double dMessage = test::ToneDb(fenetre, 44100, 1000);
    if (n >= nBaisse && n < nBaisse + size_t{3} * 44100)
      ASSERT_NEAR(dMessage, kDemi - 6.0, 0.1) << n;
    else
      ASSERT_LT(dMessage, -80.0) << n;
  }
  EXPECT_LE(test::SlewMax(gauche), PasMax(100, kDemi) + PasMax(1000, kDemi - 6.0) + 3);
  // Where the music is alone even a step of a thousandth would show.
  for (const auto& [nDe, nA] : {std::pair<size_t, size_t>{0, nBaisse}, {nMontee - 20, gauche.size()}})
    EXPECT_LE(test::CurveMax(std::span(gauche).subspan(nDe, nA - nDe)), 8);
}

TEST_F(MixoutFade, SeveralBlocksInAPassDrawTheSameLine) {
  std::vector<int16_t> unParUn;
  for (const int nParPasse : {1, 5, 10}) {
    Play(Constante("c.wav", 9000));
    m_nJoues = 0;
    Passe(10, nParPasse);
    m_mixout.FadeAll(1000, -12.0F, 1);
    Passe(30, nParPasse);
    m_mixout.FadeAll(2000, 0.0F, 0);
    Passe(10, nParPasse);
    m_mixout.FinTranche(1, 3000);
    Passe(70, nParPasse);
    const std::vector<int16_t> gauche = Gauche();
    Vide();
    if (nParPasse == 1) {
      unParUn = gauche;
      EXPECT_GT(*std::max_element(gauche.begin(), gauche.end()), 16000);
      continue;
    }
    ASSERT_EQ(gauche, unParUn);
  }
}

TEST_F(MixoutFade, TheLineGoesOnAcrossALoopsSeamAndAfterMonths) {
  // One tone, once as a long file, once as a loop whose seam falls into the fade, once on a device that
  // has been open for 2^37 frames (36 days).
  std::vector<int16_t> reference;
  for (const auto& [szNom, dwMs, llAge] : {std::tuple<const char*, uint32_t, uint64_t>{"long.wav", 9000, 0},
                                           {"boucle.wav", 1230, 0},
                                           {"vieux.wav", 9000, uint64_t{1} << 37}}) {
    Play(Ton(szNom, 100, dwMs), nullptr, true);
    if (llAge != 0) CMixoutEssai::Vieillit(m_mixout, m_wave, llAge);
    Joue(12);
    m_mixout.FadeAll(1500, -12.0F, 1);
    Joue(40);
    m_mixout.FadeAll(700, 0.0F, 0);
    Joue(40);
    if (llAge != 0) {
      EXPECT_EQ(Ecoule(1), 9000U) << "its total, long past";
    }
    const std::vector<int16_t> gauche = Gauche();
    Vide();
    if (reference.empty()) {
      reference = gauche;
      continue;
    }
    ASSERT_EQ(gauche.size(), reference.size());
    // The line's origin moves with the seam: a last bit may round otherwise.
    for (size_t n = 0; n < gauche.size(); ++n) ASSERT_NEAR(gauche[n], reference[n], 1) << szNom << " " << n;
  }
  EXPECT_LE(test::CurveMax(reference), 8);
}

TEST_F(MixoutFade, AtOnceWithoutADurationAndASecondWayBackGoesToUnity) {
  Play(Constante("c.wav", 9000));
  m_mixout.SetGainTranche(1, -6.0F);
  Passe(1);
  const size_t n1 = Prochain();
  m_mixout.FadeAll(0, -20.0F, 1);
  Passe(4);
  const size_t n2 = Prochain();
  m_mixout.FadeAll(0, 0.0F, 0);  // back to the remembered gain
  Passe(4);
  const size_t n3 = Prochain();
  m_mixout.FadeAll(0, 0.0F, 0);  // nothing is remembered any more
  Passe(4);
  const std::vector<int16_t> gauche = Gauche();
  const double dSix = DbToGain(-6.0F);
  Compare(gauche, {{10 * kBloc, n1, dSix, dSix}, {n1, n2, 0.1, 0.1}, {n2, n3, dSix, dSix}, {n3, gauche.size(), 1, 1}});
}

TEST_F(MixoutFade, AFadeInTheMiddleOfAnotherStartsWhereThatStands) {
  Play(Constante("c.wav", 9000));
  Passe(5);
  const size_t nBaisse = Prochain();
  m_mixout.FadeAll(1000, -20.0F, 1);
  Passe(8);
  const size_t nRetour = Prochain();
  m_mixout.FadeAll(1000, 0.0F, 0);
  Passe(30);
  const size_t nDouble = Prochain();
  m_mixout.FadeAll(1000, -20.0F, 1);  // a message that could not be opened: down and back in one go
  m_mixout.FadeAll(2000, 0.0F, 0);
  Passe(40);
  const std::vector<int16_t> gauche = Gauche();
  const double dAtteint = 1.0 - 0.9 * static_cast<double>(nRetour - nBaisse) / 44100;
  Compare(gauche,
          {{nBaisse, nRetour, 1, dAtteint}, {nRetour, nRetour + 44100, dAtteint, 1}, {nDouble, gauche.size(), 1, 1}});
}

TEST_F(MixoutFade, LevelsOfAGroupeActOnItsTranches) {
  Play(Constante("c.wav", 9000), "MUSIQUE");
  Play(Ton("d.wav", 100, 9000), "MESSAGE");
  m_mixout.SetGainTranche(2, -200.0F);
  Passe(1);
  const size_t n1 = Prochain();
  m_mixout.SetLevelGroupe("MUSIQUE", -6.0F);
  Passe(2);
  const size_t n2 = Prochain();
  m_mixout.SetEtatGroupe("MUSIQUE", 1);
  m_mixout.FadeTranche(1, 0, -20.0F, 1);
  m_mixout.SetLevelGroupe("MUSIQUE", -3.0F);  // heard on the way back only
  Passe(2);
  const size_t n3 = Prochain();
  m_mixout.SetAutofadeGroupe("MUSIQUE", -10.0F);  // heard at once
  Passe(2);
  const size_t n4 = Prochain();
  m_mixout.SetEtatGroupe("MUSIQUE", 0);
  m_mixout.SetAutofadeGroupe("MUSIQUE", -30.0F);  // not faded: later
  m_mixout.FadeTranche(1, 0, 0.0F, 0);
  Passe(2);
  const std::vector<int16_t> gauche = Gauche();
  const double d3 = DbToGain(-3.0F);
  const double d6 = DbToGain(-6.0F);
  const double d10 = DbToGain(-10.0F);
  Compare(gauche, {{n1, n2, d6, d6}, {n2, n3, 0.1, 0.1}, {n3, n4, d10, d10}, {n4, gauche.size(), d3, d3}});
}

TEST_F(MixoutFade, FileFadesFollowWhatIsHeard) {
  // In over 1 s, out over 2 s, of 6 s.
  m_mixout.PlayFichier(Constante("c.wav", 6000), kPlayMixe, 0, 0, 1000, 2000, 0.0F, false, 0, 0, nullptr);
  Passe(110);
  const std::vector<int16_t> gauche = Gauche();
  ASSERT_EQ(gauche.size(), size_t{6} * 44100);
  // The prefilled blocks each begin the line again; behind them it rises, a queue's length late.
  for (size_t b = 0; b < 10; ++b) Compare(gauche, {{b * kBloc, (b + 1) * kBloc, 0, 0.05}});
  const size_t nRetard = 9 * kBloc;
  Compare(gauche, {{10 * kBloc, nRetard + 44100, 0.05, 1},
                   {nRetard + 44100, nRetard + 4 * 44100, 1, 1},
                   {nRetard + 4 * 44100, gauche.size(), 1, 9 * 0.05 / 2}});
}

TEST_F(MixoutFade, TheEndOfATrancheIsAWholeFadeOut) {
  const int nTranche = Play(Constante("c.wav", 9000), nullptr, true);
  Passe(30);
  const size_t nFin = Prochain();
  EXPECT_TRUE(m_mixout.FinTranche(nTranche, 2000));
  EXPECT_EQ(Reste(nTranche), 2000U);
  Passe(40);
  EXPECT_EQ(Reste(nTranche), 0U);
  Passe(5);
  const std::vector<int16_t> gauche = Gauche();
  Compare(gauche, {{0, nFin, 1, 1}, {nFin, nFin + 88200, 1, 0}, {nFin + 88200, gauche.size(), 0, 0}});
  // A loop whose turn ends within the fade doesn't begin another.
  Vide();
  Play(Constante("court.wav", 1230), nullptr, true);
  Passe(5);
  EXPECT_TRUE(m_mixout.FinTranche(1, 2000));
  Passe(60);
  EXPECT_EQ(Gauche().size(), 54243U);
}

}  // namespace
}  // namespace tonara
