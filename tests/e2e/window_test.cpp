// The real program through its real windows, on a display of the test's own, by keys.
#include <gtest/gtest.h>

#include <signal.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/e2e/affichage.h"
#include "tests/e2e/sortie.h"
#include "tests/support/program.h"

namespace tonara::test {
namespace {

constexpr double kDelai = 20.0;  // for what takes a moment on a machine at rest
constexpr char kPrincipale[] = "tonara 2.05a";
constexpr char kPlan[] = "Programmation du jour";
constexpr char kRegles[] = "Règles de diffusion des messages";
constexpr char kChoix[] = "Ajouter un message";
constexpr char kQuestion[] = "Suppression de règles";
constexpr char kNiveaux[] = "Réglage des niveaux audio";

/// The program in the hands of an operator.
class WindowTest : public ::testing::Test {
 public:
  [[nodiscard]] const CTempDir& Dir() const { return m_programme.Dir(); }
  CProgram& Programme() { return m_programme; }
  CAffichage& Affichage() { return m_affichage; }
  [[nodiscard]] bool Ecrit(const char* szFichier, const std::string& szTexte) const {
    return Dir().Read(szFichier).find(szTexte) != std::string::npos;
  }
  void AttendEcrit(const char* szFichier, const std::string& szTexte) {
    ASSERT_TRUE(m_programme.Attend(kDelai, [&] { return Ecrit(szFichier, szTexte); })) << szTexte;
  }

  /// Keys go to that window from here on.
  void Va(const char* szTitre) {
    ASSERT_FALSE(m_affichage.Fenetre(szTitre).empty()) << "no window " << szTitre << "\n" << Dir().Read("stderr.txt");
  }
  void AttendFermee(const char* szTitre) {
    ASSERT_TRUE(m_programme.Attend(kDelai, [&] { return !m_affichage.Montree(szTitre); })) << szTitre;
  }
  void Touches(const std::vector<std::string>& vTouches) { m_affichage.Touches(vTouches); }
  /// Presses the n-th control from where the keyboard is; one that is disabled doesn't count.
  void Presse(int nControle) {
    std::vector<std::string> vTouches(static_cast<size_t>(nControle), "Tab");
    vTouches.emplace_back("space");
    Touches(vTouches);
  }
  void Lance() {
    ASSERT_TRUE(m_programme.Start(TONARA_PROGRAM));
    Va(kPrincipale);
  }
  void OuvreNiveaux() {
    Va(kPrincipale);
    Presse(2);
    Va(kNiveaux);
  }
  /// nControle: from where the keyboard is in the main window; the fourth at first.
  void OuvrePlan(int nControle) {
    Va(kPrincipale);
    Presse(nControle);
    Va(kPlan);
  }
  void OuvreRegles() {
    Va(kPlan);
    Presse(1);
    Va(kRegles);
  }

 protected:
  void SetUp() override {
    if (!CAffichage::Possible()) GTEST_SKIP() << "needs Xvfb, openbox and xdotool";
    ASSERT_TRUE(m_affichage.Demarre());
    m_programme.SetAffichage(m_affichage.Nom());
    EcritTon(Dir(), "Demo/Loop.wav", kMusiqueHz, 2000);
  }

 private:
  CAffichage m_affichage;
  CProgram m_programme;
};

TEST_F(WindowTest, RuleAddedByHandSoundsAtItsMinute) {
  const double fMessageS = 2.0;
  EcritTon(Dir(), "annonce.wav", kMessageHz, 2000);
  Dir().Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n");
  Dir().Write("Regles.ini", RegleFixe(1, Dir() / "annonce.wav", 0));
  Programme().SetHeure({2026, 3, 2, 9, 59, 53});
  ASSERT_NO_FATAL_FAILURE(Lance());
  ASSERT_NO_FATAL_FAILURE(OuvrePlan(4));
  ASSERT_NO_FATAL_FAILURE(OuvreRegles());
  Presse(1);
  ASSERT_NO_FATAL_FAILURE(Va(kChoix));
  // The chooser starts in the program's folder.
  Affichage().Tape("annonce.wav");
  Touches({"Return"});
  ASSERT_NO_FATAL_FAILURE(AttendFermee(kChoix));
  ASSERT_NO_FATAL_FAILURE(Va(kRegles));
  ASSERT_NO_FATAL_FAILURE(AttendEcrit("tonara.log", "annonce.wav examiné"));

  // From the new rule's line, past the four buttons, to the mode; then the next minute that can be met.
  Touches({"Tab", "Tab", "Tab", "Tab", "Tab", "End", "Tab"});
  const double fMinute = std::ceil((Programme().Maintenant() + 4.0) / 60.0);
  const int nMinute = static_cast<int>(std::fmod(fMinute, 24.0 * 60.0));
  const int nHeure = nMinute / 60;
  Affichage().Tape(std::to_string(nHeure));
  Touches({"Tab"});
  Affichage().Tape(std::to_string(nMinute % 60));
  EXPECT_FALSE(Ecrit("Regles.ini", "[Rule_2]")) << "before it is applied";
  Touches({"alt+a"});
  ASSERT_NO_FATAL_FAILURE(AttendFermee(kRegles));
  ASSERT_NO_FATAL_FAILURE(AttendEcrit("Regles.ini", "[Rule_2]"));
  AttendOrdre(Dir().Read("Regles.ini"), {"[Rule_2]", "Path=" + Dir().Dir() + "annonce.wav\n", "TimeMode=1\n",
                                         "TimeBegin=" + std::to_string(nHeure * 100 + nMinute % 60) + "\n"});

  const double fSeconde0 = RealNow() + fMinute * 60.0 - Programme().Maintenant();
  ASSERT_GT(fSeconde0, RealNow()) << "the hands were too slow";
  std::printf("applied %.1f s before the minute\n", fSeconde0 - RealNow());
  Programme().AttendJusque(fSeconde0 + fMessageS + 2.0);
  ASSERT_TRUE(Programme().EnVie());
  Programme().Signal(SIGTERM);
  EXPECT_EQ(Programme().Resultat(2.0), 1);

  const auto deux = [](int n) { return (n < 10 ? "0" : "") + std::to_string(n); };
  AttendOrdre(Dir().Read("Historique.txt"),
              {"03/02/26 " + deux(nHeure) + ":" + deux(nMinute % 60) + ":00 - ", "annonce.wav (Message audio)\n"});
  const CSortie sortie(Dir(), "out-001.wav");
  const size_t nDebut = sortie.Bord(kMessageHz, 1.0, 0, true);
  const size_t nFin = sortie.Bord(kMessageHz, 1.0, nDebut + kFreq / 2, false);
  ASSERT_LT(nFin, sortie.Trames());
  EXPECT_NEAR(static_cast<double>(nFin - nDebut) / kFreq, fMessageS, 0.003);
  const double fEntendu = Programme().DebutDuSon() + static_cast<double>(nDebut) / kFreq - fSeconde0;
  std::printf("message heard %.0f ms after second 0\n", fEntendu * 1000);
  EXPECT_GT(fEntendu, 0.440);  // half a second of sound is always queued ahead
  EXPECT_LT(fEntendu, 0.700);
}

TEST_F(WindowTest, ComesBackWhereItStood) {
  const auto place = [this] {
    return Affichage().Commande({"getwindowgeometry", "--shell", Affichage().Fenetre(kPrincipale)});
  };
  const auto ligne = [](const std::string& szTexte, const std::string& szCle) {
    const size_t n = szTexte.find(szCle);
    return n == std::string::npos ? "" : szTexte.substr(n, szTexte.find('\n', n) - n);
  };
  Dir().Write("Regles.ini", "");  // the rules of a first start would bring up a box, their files being absent
  ASSERT_NO_FATAL_FAILURE(Lance());
  Affichage().Commande({"windowmove", "--sync", Affichage().Fenetre(kPrincipale), "333", "222"});
  const std::string szPlace = place();
  for (int nTour = 0; nTour < 2; ++nTour) {
    Programme().Signal(SIGTERM);
    ASSERT_EQ(Programme().Resultat(2.0), 1);
    ASSERT_NO_FATAL_FAILURE(Lance());
    // Its frame comes a moment after it, and must not push it away.
    for (const char* szCle : {"X=", "Y="}) {
      EXPECT_TRUE(Programme().Attend(kDelai, [&] { return ligne(place(), szCle) == ligne(szPlace, szCle); }))
          << szPlace << "\n"
          << place();
    }
  }
}

// --- Closing, whatever is open or under way ---

constexpr int kNbLents = 1000;

// The levels panel is open beside, with a level changed; the main window's keyboard is at its button.

void RienDePlus(WindowTest& /*mains*/) {}

void ReglesOuvertes(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.OuvrePlan(2));
  ASSERT_NO_FATAL_FAILURE(mains.OuvreRegles());
  mains.Touches({"Tab", "Tab", "Tab", "Tab", "Tab", "End"});  // a change that is lost
}

void ChoixOuvert(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.OuvrePlan(2));
  ASSERT_NO_FATAL_FAILURE(mains.OuvreRegles());
  mains.Presse(1);
  ASSERT_NO_FATAL_FAILURE(mains.Va(kChoix));
}

void QuestionOuverte(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.OuvrePlan(2));
  ASSERT_NO_FATAL_FAILURE(mains.OuvreRegles());
  mains.Presse(4);
  ASSERT_NO_FATAL_FAILURE(mains.Va(kQuestion));
}

void EcouteEnCours(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.OuvrePlan(2));
  ASSERT_NO_FATAL_FAILURE(mains.OuvreRegles());
  mains.Presse(3);
  ASSERT_TRUE(mains.Programme().Attend(kDelai, [&] { return mains.Dir().Exists("out-002.wav"); }));
}

/// Files on a slow disk: seconds of work. Where it stands shows in the log, for none of them is there.
void GenerationEnCours(WindowTest& mains) {
  std::string szRegles;
  for (int n = 1; n <= kNbLents; ++n) szRegles += RegleFixe(n, mains.Dir() / "disque lent/absent.mp3", 1200);
  mains.Dir().Write("Regles.ini", szRegles);
  mains.Programme().Precharge(TONARA_DEADDISK);
}

void GenerationVue(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.OuvrePlan(2));
  ASSERT_NO_FATAL_FAILURE(mains.AttendEcrit("tonara.log", "Règle 1 : inaccessible"));
  mains.Va(kPrincipale);
}

void MessageEnCours(WindowTest& mains) {
  ASSERT_NO_FATAL_FAILURE(mains.AttendEcrit("Historique.txt", "annonce.wav (Message audio)"));
  mains.Va(kPrincipale);
}

void Signal(WindowTest& mains) {
  mains.Programme().Signal(SIGTERM);
}
void Entree(WindowTest& mains) {
  mains.Touches({"Return"});
}
/// What the window manager does for its close box, too.
void CaseDeFermeture(WindowTest& mains) {
  mains.Touches({"alt+F4"});
}

struct Fermeture {
  const char* szNom;
  void (*fnAvant)(WindowTest&);    ///< before the start
  void (*fnPrepare)(WindowTest&);  ///< brings the program to the state in which it is closed
  void (*fnFerme)(WindowTest&);
};
void PrintTo(const Fermeture& fermeture, std::ostream* pSortie) {
  *pSortie << fermeture.szNom;
}

class ClosingTest : public WindowTest, public ::testing::WithParamInterface<Fermeture> {};

TEST_P(ClosingTest, EndsInOrderAndSaves) {
  Dir().Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n[Interface]\nPosMain_Left=40\n");
  EcritTon(Dir(), "annonce.wav", kMessageHz, 60000);
  const std::string szRegles = RegleFixe(1, Dir() / "annonce.wav", 1000);
  Dir().Write("Regles.ini", szRegles);
  GetParam().fnAvant(*this);
  Programme().SetHeure({2026, 3, 2, 9, 59, 56});
  ASSERT_NO_FATAL_FAILURE(Lance());
  Affichage().Commande({"windowmove", "--sync", Affichage().Fenetre(kPrincipale), "333", "222"});
  ASSERT_NO_FATAL_FAILURE(OuvreNiveaux());
  Touches({"Next", "Down"});
  ASSERT_NO_FATAL_FAILURE(GetParam().fnPrepare(*this));

  const double fDemande = RealNow();
  GetParam().fnFerme(*this);
  EXPECT_EQ(Programme().Resultat(2.0), 1);
  std::printf("closed in %.0f ms\n", (RealNow() - fDemande) * 1000);
  const std::string szLog = Dir().Read("tonara.log");
  EXPECT_TRUE(szLog.ends_with("*************** Fin session *******************\n\n")) << szLog;
  EXPECT_EQ(szLog.find("Règle " + std::to_string(kNbLents) + " :"), std::string::npos) << "it was over already";
  const std::string szReglages = Dir().Read("tonara.ini");
  EXPECT_NE(szReglages.find("\nMusic=-7.0\n"), std::string::npos) << szReglages;
  EXPECT_NE(szReglages.find("\nPosMain_Left=33"), std::string::npos) << szReglages;
  if (GetParam().fnAvant == RienDePlus) {
    EXPECT_EQ(Dir().Read("Regles.ini"), szRegles);
  }
}

INSTANTIATE_TEST_SUITE_P(Window, ClosingTest,
                         ::testing::Values(Fermeture{"RuleEditorOpen", RienDePlus, ReglesOuvertes, Signal},
                                           Fermeture{"FileChooserOpen", RienDePlus, ChoixOuvert, Signal},
                                           Fermeture{"QuestionOpen", RienDePlus, QuestionOuverte, Signal},
                                           Fermeture{"PreviewPlaying", RienDePlus, EcouteEnCours, Signal},
                                           Fermeture{"GenerationRunning", GenerationEnCours, GenerationVue,
                                                     CaseDeFermeture},
                                           Fermeture{"MessageOnTheAir", RienDePlus, MessageEnCours, Entree}),
                         [](const auto& cas) { return cas.param.szNom; });

}  // namespace
}  // namespace tonara::test
