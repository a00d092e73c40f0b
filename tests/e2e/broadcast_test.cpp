// The real program at work: what leaves it, sample by sample, and what it writes.
#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

#include "tests/e2e/sortie.h"
#include "tests/support/mediafiles.h"
#include "tests/support/program.h"

namespace tonara::test {
namespace {

/// A straight line through gain over time (seconds), by least squares, and the worst distance from it.
struct Droite {
  double fPente = 0.0;
  double fOrigine = 0.0;
  double fPireDb = 0.0;
};
Droite Ajuste(const CSortie& sortie, size_t nDebut, size_t nFin) {
  std::vector<double> x;
  std::vector<double> y;
  for (size_t i = nDebut; i + kFenetre <= nFin; i += kFenetre) {
    x.push_back((static_cast<double>(i) + kFenetre / 2.0) / kFreq);
    y.push_back(sortie.Niveau(kMusiqueHz, i));
  }
  double sx = 0, sy = 0, sxx = 0, sxy = 0;
  const auto n = static_cast<double>(x.size());
  for (size_t i = 0; i < x.size(); ++i) {
    sx += x[i], sy += y[i], sxx += x[i] * x[i], sxy += x[i] * y[i];
  }
  Droite droite;
  droite.fPente = (n * sxy - sx * sy) / (n * sxx - sx * sx);
  droite.fOrigine = (sy - droite.fPente * sx) / n;
  for (size_t i = 0; i < x.size(); ++i) {
    const double fAttendu = droite.fOrigine + droite.fPente * x[i];
    droite.fPireDb = std::max(droite.fPireDb, std::fabs(EnDb(y[i] / fAttendu)));
  }
  return droite;
}

TEST(Broadcast, MessageAtItsMinuteOverLoweredMusic) {
  constexpr double fMusiqueDb = -3.0;
  constexpr double fMessageDb = -1.0;
  constexpr double fAutofadeDb = -12.0;
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  EcritTon(dir, "boucle.wav", kMusiqueHz, 2000);
  EcritTon(dir, "promo.wav", kMessageHz, 3000);
  dir.Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n[LoopFile]\nPathLoopFile=" + dir.Dir() +
                              "boucle.wav\n[Levels]\nMessageAudio=-1.0\nMusic=-3.0\nAutoFade=-12.0\n");
  dir.Write("Regles.ini", RegleFixe(1, dir / "promo.wav", 1000));
  const Instant seconde0{2026, 3, 2, 10, 0, 0};
  programme.SetHeure({2026, 3, 2, 9, 59, 56});
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  programme.AttendJusque(programme.Reel(seconde0) + 8.0);
  ASSERT_TRUE(programme.EnVie());
  programme.Signal(SIGTERM);
  ASSERT_EQ(programme.Resultat(2.0), 1);

  const CSortie sortie(dir, "out-001.wav");
  ASSERT_EQ(sortie.Freq(), kFreq);
  ASSERT_FALSE(dir.Exists("out-002.wav"));

  // Its minute. The device holds half a second of sound ahead of what is heard (10 blocks of 50 ms, of
  // which one is being played), so a sample was handed over that much earlier.
  const size_t nMessage = sortie.Bord(kMessageHz, Gain(fMessageDb), 0, true);
  const size_t nFinMessage = sortie.Bord(kMessageHz, Gain(fMessageDb), nMessage + kFreq / 2, false);
  ASSERT_LT(nFinMessage, sortie.Trames());
  const double fEntendu = programme.DebutDuSon() + static_cast<double>(nMessage) / kFreq - programme.Reel(seconde0);
  const double fRemis = fEntendu - 0.450;
  std::printf("first sample of the message: heard %.0f ms after second 0, handed to the device %.0f ms after it\n",
              fEntendu * 1000, fRemis * 1000);
  RecordProperty("handed_ms", static_cast<int>(fRemis * 1000));
  EXPECT_GT(fRemis, -0.010);
  EXPECT_LT(fRemis, 0.250);
  EXPECT_NEAR(static_cast<double>(nFinMessage - nMessage) / kFreq, 3.0, 0.003);

  // The steady levels, window by window: before, under the message, and after.
  const size_t nPente = nMessage;  // the music goes down behind what is queued, and so does the message begin
  for (size_t i = kFenetre; i + kFenetre < nPente; i += kFenetre) {
    ASSERT_NEAR(sortie.Db(kMusiqueHz, i), fMusiqueDb, 0.2) << "frame " << i;
    ASSERT_LT(sortie.Db(kMessageHz, i), -60.0) << "frame " << i;
  }
  for (size_t i = nMessage + kFreq + kFenetre; i + kFenetre < nFinMessage; i += kFenetre) {
    ASSERT_NEAR(sortie.Db(kMusiqueHz, i), fAutofadeDb, 0.2) << "frame " << i;
  }
  for (size_t i = nMessage + kFenetre; i + kFenetre < nFinMessage; i += kFenetre) {
    ASSERT_NEAR(sortie.Db(kMessageHz, i), fMessageDb, 0.2) << "frame " << i;
  }
  // Down over 1000 ms, up over 2000 ms, in a straight line.
  const Droite descente = Ajuste(sortie, nPente + kFreq / 10, nPente + kFreq * 9 / 10);
  EXPECT_NEAR(descente.fPente, Gain(fAutofadeDb) - Gain(fMusiqueDb), 0.02);
  EXPECT_LT(descente.fPireDb, 0.2);
  const double fDebutDescente = (Gain(fMusiqueDb) - descente.fOrigine) / descente.fPente;
  EXPECT_NEAR(fDebutDescente, static_cast<double>(nPente) / kFreq, 0.1);
  size_t nRemontee = nFinMessage;
  while (nRemontee + kFenetre < sortie.Trames() && sortie.Db(kMusiqueHz, nRemontee) < fAutofadeDb + 0.5) {
    nRemontee += kFenetre;
  }
  std::printf("music begins to rise %.0f ms after the message's end\n",
              static_cast<double>(nRemontee - nFinMessage) * 1000 / kFreq);
  // The end is noticed at the next tick, and the line starts behind the queue.
  EXPECT_LT(nRemontee - nFinMessage, kFreq);
  ASSERT_GT(sortie.Trames(), nRemontee + 2 * kFreq + kFenetre);
  const Droite montee = Ajuste(sortie, nRemontee + kFreq / 10, nRemontee + kFreq * 17 / 10);
  EXPECT_NEAR(montee.fPente, (Gain(fMusiqueDb) - Gain(fAutofadeDb)) / 2.0, 0.01);
  EXPECT_LT(montee.fPireDb, 0.2);
  for (size_t i = nRemontee + 2 * kFreq + kFenetre; i + kFenetre < sortie.Trames(); i += kFenetre) {
    ASSERT_NEAR(sortie.Db(kMusiqueHz, i), fMusiqueDb, 0.2) << "frame " << i;
  }
  std::printf("worst 50 ms window of the lines: %.3f dB down, %.3f dB up\n", descente.fPireDb, montee.fPireDb);

  // No click: the bend of the curve from sample to sample is that of the tones. Only where a tone of
  // the message begins or ends may it be sharper: there the file itself has a corner.
  const double fPas = 2.0 * std::numbers::pi / kFreq;
  const auto courbure = [&](double fHz, double fGain) {
    return kPleineEchelle * kAmplitudeFichier * fGain * std::pow(fHz * fPas, 2);
  };
  const double fMusique = courbure(kMusiqueHz, Gain(fMusiqueDb));
  const double fMessage = courbure(kMessageHz, Gain(fMessageDb));
  const double fArrondi = 4.0;
  const std::vector<int16_t>& voie = sortie.Voie();
  for (size_t i = 1; i + 1 < voie.size(); ++i) {
    const auto loin = [&](size_t nBord) { return i + kFreq / 200 < nBord || i > nBord + kFreq / 200; };
    const bool bMessage = i + kFreq / 200 > nMessage && i < nFinMessage + kFreq / 200;
    const int nCourbure = std::abs(voie[i - 1] - 2 * voie[i] + voie[i + 1]);
    if (!loin(nMessage) || !loin(nFinMessage)) {
      const double fCoin = kPleineEchelle * kAmplitudeFichier * Gain(fMessageDb) * kMessageHz * fPas;
      ASSERT_LT(nCourbure, fMusique + fMessage + fCoin + fArrondi) << "frame " << i;
    } else {
      ASSERT_LT(nCourbure, fMusique + (bMessage ? fMessage : 0.0) + fArrondi) << "frame " << i;
    }
  }

  // What it wrote.
  AttendOrdre(dir.Read("Historique.txt"),
              {"03/02/26 09:59:5", " - <----- DEMARRAGE APPLICATION ----->\n", "03/02/26 09:59:5",
               " - *** Start Programme PAD audio (" + dir.Dir() + "boucle.wav)\n", "03/02/26 10:00:00 - ",
               "promo.wav (Message audio)\n"});
  AttendOrdre(dir.Read("tonara.log"), {"*************** Nouvelle session *******************\n", "boucle.wav",
                                       "03/02/26-10:00:00 : ---  Evènement : promo (promo) - bFinASAEOF=1\n",
                                       "Déclenche Autofade (à -12.0 dB)\n", "promo.wav", "Retour Autofade\n",
                                       "*************** Fin session *******************\n"});
}

TEST(Broadcast, MidnightRenewsThePlanAndAChainKeepsTheMusicDown) {
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  EcritTon(dir, "Demo/Loop.wav", kMusiqueHz, 2000);
  const std::string virgule = EncodeLame("-b 128 -m j", kFreq, MakeTone(kFreq, 2, 16, 1000, kVirguleHz));
  const std::string message = EncodeLame("-V 2 -m j", kFreq, MakeTone(kFreq, 2, 16, 2000, kMessageHz));
  ASSERT_FALSE(virgule.empty());
  ASSERT_FALSE(message.empty());
  dir.Write("Habillages/3 tons.mp3", virgule);
  dir.Write("Messages/Bonne Année.mp3", message);
  dir.Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n[Messages]\nVirguleAvant=1\n");
  // A path of an older machine, and a rule that only holds on the new day.
  dir.Write("Regles.ini", RegleFixe(1, dir.Dir() + "Messages\\BONNE Année.MP3", 0) +
                              "ValidityMode=1\nValidityBegin=20270101\nValidityEnd=20270101\n" +
                              RegleFixe(2, dir / "nulle part.mp3", 1));
  const Instant minuit{2027, 1, 1, 0, 0, 0};
  programme.SetHeure({2026, 12, 31, 23, 59, 57});
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  programme.AttendJusque(programme.Reel(minuit) + 8.5);
  ASSERT_TRUE(programme.EnVie());
  // The second rule's file is missing, so a message box stands open: the end must not wait for it.
  programme.Signal(SIGTERM);
  ASSERT_EQ(programme.Resultat(2.0), 1);

  const CSortie sortie(dir, "out-001.wav");
  const size_t nVirgule = sortie.Bord(kVirguleHz, 1.0, 0, true);
  const size_t nMessage = sortie.Bord(kMessageHz, 1.0, 0, true);
  ASSERT_LT(nVirgule, nMessage);
  ASSERT_LT(nMessage, sortie.Trames());
  const double fVirgule = programme.DebutDuSon() + static_cast<double>(nVirgule) / kFreq - programme.Reel(minuit);
  std::printf("sting heard %.0f ms after midnight, message %.0f ms after the sting\n", fVirgule * 1000,
              static_cast<double>(nMessage - nVirgule) * 1000 / kFreq);
  // The plan of the new day has to be worked out first.
  EXPECT_LT(fVirgule, 2.0);
  const size_t nFin = sortie.Bord(kMessageHz, 1.0, nMessage + kFreq, false);
  ASSERT_LT(nFin + 14 * kFreq / 5, sortie.Trames());
  for (size_t i = nVirgule + kFreq + kFenetre; i + kFenetre < nFin; i += kFenetre) {
    ASSERT_NEAR(sortie.Db(kMusiqueHz, i), -12.0, 0.3) << "frame " << i;
  }
  EXPECT_NEAR(sortie.Db(kMusiqueHz, sortie.Trames() - 2 * kFenetre), 0.0, 0.2);

  AttendOrdre(dir.Read("Historique.txt"),
              {"12/31/26 23:59:5", "DEMARRAGE", "12/31/26 23:59:5", "*** Start Programme PAD audio", "01/01/27 00:00:0",
               "3 tons.mp3 (Virgule audio)\n", "01/01/27 00:00:0", " (Message audio)\n"});
  AttendOrdre(dir.Read("tonara.log"), {"bFinASAEOF=0\n", "Déclenche Autofade", "bFinASAEOF=1\n", "Retour Autofade\n"});
  const std::string szHistorique = dir.Read("Historique.txt");
  EXPECT_EQ(szHistorique.find("(Message audio)"), szHistorique.rfind("(Message audio)"));
}

}  // namespace
}  // namespace tonara::test
