#include "ui/ruleeditor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QMessageBox>
#include <QTreeWidget>
#include <atomic>

#include "app/qtmessagesink.h"
#include "audio/preview.h"
#include "core/appcfg.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"
#include "tests/unit/ui/hands.h"
#include "ui/look/champnombre.h"
#include "ui/look/iconbutton.h"
#include "ui/ruletext.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;

Rule Regle(std::string szPath) {
  Rule rule;
  rule.Path = std::move(szPath);
  return rule;
}

// --- Texts and changes, without widgets ---

TEST(RuleText, TellsTimesAndTheModeOfAFolder) {
  Rule rule = Regle("a.mp3");
  rule.TimeFrequency = 30;
  rule.TimeBegin = 905;
  rule.TimeEnd = 1800;
  EXPECT_EQ(TexteRegle(rule), "Toutes les 30 mns entre 09h05 et 18h00");
  rule.TimeUnit = 1;
  EXPECT_EQ(TexteRegle(rule), "Toutes les 30 heures entre 09h05 et 18h00");
  rule.TimeMode = 1;
  EXPECT_EQ(TexteRegle(rule), "A 09h05");
  rule.TimeMode = 2;
  EXPECT_EQ(TexteRegle(rule), "");
  rule.TimeMode = 1;
  rule.Folder = true;
  const char* const attendus[] = {"Un au hasard - A 09h05", "L'un après l'autre - A 09h05",
                                  "Tous à chaque fois - A 09h05", "Mode inconnu - A 09h05"};
  for (uint8_t iMode = 0; iMode < 4; ++iMode) {
    rule.DirSelectMode = iMode;
    EXPECT_EQ(TexteRegle(rule), attendus[iMode]);
  }
}

TEST(RuleText, FirstStateThatAppliesGivesTheImage) {
  Rule rule = Regle("a.MP3");
  EXPECT_EQ(EtatRegle(rule, true), 2);
  EXPECT_EQ(EtatRegle(Regle("a.mkv"), true), 3);
  EXPECT_EQ(EtatRegle(Regle("a.png"), true), 4);
  EXPECT_EQ(EtatRegle(Regle("a.txt"), true), 5);
  rule.Folder = true;
  EXPECT_EQ(EtatRegle(rule, true), 5);
  EXPECT_EQ(EtatRegle(rule, false), 6);
  rule.Enabled = false;
  EXPECT_EQ(EtatRegle(rule, false), 7);
}

// --- The dialog ---

class RuleEditorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_Appcfg = CAppcfg();
    SetMsgConnector({[this](MsgTarget cible, MsgRecepteur fn) { m_sink.Connecte(cible, std::move(fn)); },
                     [this](MsgTarget cible) { m_sink.Deconnecte(cible); }});
    m_sondes.fnAccessible = [](const std::string&) { return true; };
  }
  void TearDown() override {
    m_pEditeur.reset();
    SetMsgConnector({});
  }

  void Ouvre(std::vector<Rule> vRules) {
    m_pEditeur = std::make_unique<CRuleEditor>(std::move(vRules), nullptr, m_sondes);
    m_pEditeur->show();
    QApplication::processEvents();
  }
  /// Questions of either kind wait at the barrier that is returned; formats are good behind it.
  std::shared_ptr<CBarriere> Bloque() {
    auto pBarriere = std::make_shared<CBarriere>();
    m_sondes.fnAccessible = [pBarriere](const std::string&) { return pBarriere->Passe(), false; };
    m_sondes.fnFormat = [pBarriere](const std::string&) { return pBarriere->Passe(), EtatFormat::Bon; };
    return pBarriere;
  }
  QTreeWidget* Arbre() { return m_pEditeur->findChild<QTreeWidget*>(); }
  template <class T>
  T* C(const char* szNom) {
    return Controle<T>(m_pEditeur.get(), szNom);
  }
  QCheckBox* Case(const char* szTexte) { return Bouton<QCheckBox>(m_pEditeur.get(), szTexte); }
  const Rule& R(size_t n) { return m_pEditeur->Regles().at(n); }
  /// The tree's lines, rules indented.
  std::vector<std::string> Lignes() {
    std::vector<std::string> lignes;
    for (QTreeWidgetItemIterator it(Arbre()); *it != nullptr; ++it) {
      lignes.push_back(((*it)->parent() != nullptr ? "  " : "") + (*it)->text(0).toStdString());
    }
    return lignes;
  }
  /// Selects a rule's line by its file and its place under it.
  void Va(int nFichier, int nRegle = 0) { Arbre()->setCurrentItem(Arbre()->topLevelItem(nFichier)->child(nRegle)); }
  std::string LigneCourante() {
    const QTreeWidgetItem* pLigne = Arbre()->currentItem();
    return pLigne != nullptr ? pLigne->text(0).toStdString() : "";
  }
  /// Text of the message box that is up, which is then closed.
  std::string Boite() {
    for (QMessageBox* pBoite : m_pEditeur->findChildren<QMessageBox*>()) {
      if (!pBoite->isVisible()) continue;
      const std::string szTexte = pBoite->windowTitle().toStdString() + ": " + pBoite->text().toStdString();
      pBoite->close();
      return szTexte;
    }
    return "";
  }
  /// Adds a file and waits until it is in the list or refused.
  std::string Ajoute(const std::string& szPath) {
    const size_t nAvant = m_pEditeur->Regles().size();
    m_pEditeur->AjouteFichier(szPath);
    std::string szBoite;
    EXPECT_TRUE(Attend([&] {
      szBoite = Boite();
      return !szBoite.empty() || m_pEditeur->Regles().size() > nAvant;
    }));
    return szBoite;
  }
  /// Chooses an entry of a list by keys.
  static void Choisis(QComboBox* pListe, int nEntree) {
    pListe->setFocus();
    QTest::keyClick(pListe, nEntree == 0 ? Qt::Key_Home : Qt::Key_End);
    EXPECT_EQ(pListe->currentIndex(), nEntree);
  }

  CTempDir m_dir;
  CFakeWave m_wave;
  CQtMessageSink m_sink;
  SondesRegles m_sondes;
  std::unique_ptr<CRuleEditor> m_pEditeur;
};

Rule Fixe(std::string szPath, uint32_t dwTemps) {
  Rule rule = Regle(std::move(szPath));
  rule.TimeMode = 1;
  rule.TimeBegin = dwTemps;
  return rule;
}

TEST_F(RuleEditorTest, RulesOfOneFileStandTogether) {
  Ouvre({Fixe("a.mp3", 1), Fixe("b.mp3", 2), Fixe("a.mp3", 3)});
  EXPECT_THAT(Lignes(), ElementsAre("a.mp3", "  A 00h01", "  A 00h03", "b.mp3", "  A 00h02"));
  EXPECT_EQ(LigneCourante(), "A 00h01");
  // A' under A's line is still the third rule.
  Va(0, 1);
  Tape(C<QLineEdit>("Heure de diffusion"), "7");
  EXPECT_EQ(R(2).TimeBegin, 703U);
  EXPECT_EQ(LigneCourante(), "A 07h03");
  EXPECT_EQ(R(0).TimeBegin, 1U);
}

TEST_F(RuleEditorTest, AFilesLineLeadsToItsFirstRule) {
  Ouvre({Fixe("a.mp3", 1), Fixe("b.mp3", 2), Fixe("a.mp3", 3)});
  QTreeWidgetItem* pB = Arbre()->topLevelItem(1);
  QTest::mouseClick(Arbre()->viewport(), Qt::LeftButton, {}, Arbre()->visualItemRect(pB).center());
  EXPECT_TRUE(Attend([&] { return LigneCourante() == "A 00h02"; }));
  EXPECT_EQ(C<QLineEdit>("Minute de diffusion")->text(), QStringLiteral("02"));
  EXPECT_TRUE(pB->child(0)->isSelected());
  // Keys pass over the lines of files, both ways.
  std::vector<std::string> vues;
  for (const int nTouche :
       {Qt::Key_Up, Qt::Key_Up, Qt::Key_Up, Qt::Key_Down, Qt::Key_Down, Qt::Key_Home, Qt::Key_End}) {
    QTest::keyClick(Arbre(), static_cast<Qt::Key>(nTouche));
    QApplication::processEvents();
    vues.push_back(LigneCourante());
  }
  EXPECT_THAT(vues, ElementsAre("A 00h03", "A 00h01", "A 00h01", "A 00h03", "A 00h02", "A 00h01", "A 00h02"));
}

TEST_F(RuleEditorTest, NumbersGoIntoTheRuleKeyByKey) {
  Ouvre({Regle("a.mp3")});
  auto* pHeure = C<CChampNombre>("Heure du début");
  auto* pMinute = C<CChampNombre>("Minute du début");
  Tape(C<QLineEdit>("Période"), "30x");
  EXPECT_EQ(R(0).TimeFrequency, 30U);
  Tape(pMinute, "75");
  Tape(pHeure, "9");
  EXPECT_EQ(LigneCourante(), "Toutes les 30 mns entre 09h75 et 23h59");
  // An emptied field stays empty and changes nothing.
  Tape(pHeure, "");
  EXPECT_EQ(pHeure->text(), QString());
  EXPECT_EQ(R(0).TimeBegin, 975U);
  EXPECT_FALSE(pHeure->IsAlerte());

  Tape(C<QLineEdit>("Heure de la fin"), "8");
  EXPECT_EQ(R(0).TimeEnd, 859U);
  for (const char* szNom : {"Heure du début", "Minute du début", "Heure de la fin", "Minute de la fin"}) {
    EXPECT_EQ(C<QWidget>(szNom)->palette().color(QPalette::Base), QColor(255, 0, 0)) << szNom;
    EXPECT_EQ(C<QWidget>(szNom)->palette().color(QPalette::Text), QColor(Qt::white)) << szNom;
  }
  EXPECT_TRUE(Bouton(m_pEditeur.get(), "Appliquer")->isEnabled());
  Tape(C<QLineEdit>("Heure de la fin"), "10");
  EXPECT_EQ(pHeure->palette().color(QPalette::Base), m_pEditeur->palette().color(QPalette::Base));

  // The other mode shows the same time in fields of its own.
  Choisis(C<QComboBox>("Mode de diffusion"), 1);
  EXPECT_EQ(R(0).TimeMode, 1);
  EXPECT_EQ(LigneCourante(), "A 09h75");
  EXPECT_TRUE(C<QLineEdit>("Heure de diffusion")->isVisible());
  EXPECT_EQ(C<QLineEdit>("Minute de diffusion")->text(), QStringLiteral("75"));
  EXPECT_FALSE(C<QLineEdit>("Période")->isVisible());
}

TEST_F(RuleEditorTest, DaysAndSwitchChangeTheirOwnBit) {
  Ouvre({Regle("a.mp3")});
  const std::pair<const char*, uint32_t> jours[] = {{"Lundi", 2},     {"Mardi", 4},   {"Mercredi", 8}, {"Jeudi", 16},
                                                    {"Vendredi", 32}, {"Samedi", 64}, {"Dimanche", 1}};
  for (const auto& [szJour, dwBit] : jours) {
    Case(szJour)->click();
    EXPECT_EQ(R(0).TimeDaysMask, 127 - dwBit) << szJour;
    Case(szJour)->click();
  }
  EXPECT_EQ(R(0).TimeDaysMask, 127U);
  Case("Activée")->click();
  EXPECT_FALSE(R(0).Enabled);
}

TEST_F(RuleEditorTest, WhatTheListsDontOfferIsShownAndKept) {
  Rule rule = Regle("dossier");
  rule.Folder = true;
  rule.DirSelectMode = 1;
  rule.TimeUnit = 1;
  rule.TimeBegin = 123456;
  Ouvre({rule, Regle("a.mp3")});
  EXPECT_EQ(LigneCourante(), "L'un après l'autre - Toutes les 15 heures entre 1234h56 et 23h59");
  EXPECT_EQ(C<QComboBox>("Choix du fichier")->currentIndex(), -1);
  EXPECT_EQ(C<QComboBox>("Unité de la période")->currentIndex(), -1);
  EXPECT_EQ(C<QLineEdit>("Heure du début")->text(), QStringLiteral("1234"));
  QTest::keyClick(Arbre(), Qt::Key_End);
  EXPECT_FALSE(C<QComboBox>("Choix du fichier")->isVisible());
  QTest::keyClick(Arbre(), Qt::Key_Home);
  EXPECT_TRUE(C<QComboBox>("Choix du fichier")->isVisible());
  EXPECT_EQ(R(0), rule);  // looking changes nothing
}

TEST_F(RuleEditorTest, DatesStayInOrder) {
  const QDate jour = QDate::currentDate();
  const uint32_t dwJour = CodeDate(jour.year(), jour.month(), jour.day());
  Ouvre({Regle("a.mp3")});
  EXPECT_FALSE(C<QDateEdit>("Premier jour")->isVisible());
  Choisis(C<QComboBox>("Validité"), 1);
  EXPECT_EQ(R(0).ValidityMode, 1);
  EXPECT_EQ(R(0).ValidityBegin, dwJour);
  EXPECT_EQ(R(0).ValidityEnd, dwJour);

  const auto tape = [&](const char* szNom, const char* szDate) {
    auto* pDate = C<QDateEdit>(szNom);
    pDate->setFocus();
    pDate->setSelectedSection(QDateTimeEdit::DaySection);
    QTest::keyClicks(pDate, QString::fromUtf8(szDate));
    pDate->interpretText();
  };
  tape("Premier jour", "24122030");
  EXPECT_EQ(R(0).ValidityBegin, 20301224U);
  EXPECT_EQ(R(0).ValidityEnd, 20301224U);
  tape("Dernier jour", "28122030");
  EXPECT_EQ(R(0).ValidityBegin, 20301224U);  // not dragged along by the "2" of "28"
  EXPECT_EQ(R(0).ValidityEnd, 20301228U);
  tape("Dernier jour", "01022030");
  EXPECT_EQ(R(0).ValidityBegin, 20300201U);
  EXPECT_EQ(R(0).ValidityEnd, 20300201U);
  EXPECT_EQ(C<QDateEdit>("Premier jour")->date(), QDate(2030, 2, 1));
  EXPECT_EQ(C<QDateEdit>("Premier jour")->locale().language(), QLocale::French);
  // Back and forth keeps the dates.
  Choisis(C<QComboBox>("Validité"), 0);
  Choisis(C<QComboBox>("Validité"), 1);
  EXPECT_EQ(R(0).ValidityBegin, 20300201U);
}

TEST_F(RuleEditorTest, ADateBeingTypedCountsWhenApplied) {
  Rule rule = Regle("a.mp3");
  rule.ValidityMode = 1;
  rule.ValidityBegin = 20300101;
  rule.ValidityEnd = 20301231;
  Ouvre({rule});
  auto* pDate = C<QDateEdit>("Dernier jour");
  pDate->setFocus();
  pDate->setSelectedSection(QDateTimeEdit::DaySection);
  QTest::keyClicks(pDate, QStringLiteral("15"));
  EXPECT_EQ(R(0).ValidityEnd, 20301231U);
  Bouton(m_pEditeur.get(), "Appliquer")->click();
  EXPECT_EQ(m_pEditeur->result(), QDialog::Accepted);
  EXPECT_EQ(R(0).ValidityEnd, 20301215U);
}

TEST_F(RuleEditorTest, DeletesDownToNone) {
  Ouvre({Fixe("a.mp3", 1), Fixe("b.mp3", 2), Fixe("a.mp3", 3)});
  auto* pSupprimer = C<CIconButton>("Supprimer la règle");
  Va(1);
  {
    const CReponse<QMessageBox> reponse([](QMessageBox* pBoite) {
      EXPECT_EQ(pBoite->windowTitle(), QStringLiteral("Suppression de règles"));
      EXPECT_EQ(pBoite->text(), QStringLiteral("Confirmez-vous la suppression de la règle ?"));
      EXPECT_EQ(pBoite->standardButtons(), QMessageBox::Ok | QMessageBox::Cancel);
      QTest::keyClick(pBoite, Qt::Key_Escape);
    });
    pSupprimer->click();
  }
  EXPECT_EQ(m_pEditeur->Regles().size(), 3U);
  EXPECT_EQ(LigneCourante(), "A 00h01");  // either way the first line is selected
  Va(1);
  for (const size_t nReste : {2U, 1U, 0U}) {
    const CReponse<QMessageBox> reponse([](QMessageBox* pBoite) { pBoite->button(QMessageBox::Ok)->click(); });
    pSupprimer->click();
    EXPECT_EQ(m_pEditeur->Regles().size(), nReste);
    if (nReste == 2) {
      EXPECT_THAT(Lignes(), ElementsAre("a.mp3", "  A 00h01", "  A 00h03"));  // b's line went too
      EXPECT_EQ(m_pEditeur->focusWidget(), pSupprimer);
    }
  }
  EXPECT_THAT(Lignes(), ElementsAre());
  EXPECT_FALSE(C<QComboBox>("Mode de diffusion")->isEnabled());
  EXPECT_FALSE(Case("Activée")->isEnabled());
  m_pEditeur->SupprimeRegle();  // asks nothing
  EXPECT_TRUE(Bouton(m_pEditeur.get(), "Appliquer")->isEnabled());
}

TEST_F(RuleEditorTest, EachUnfitFileHasItsMessage) {
  CWavShape shape;
  const auto wav = [&](const char* szNom, uint16_t wCanaux) {
    shape.wChannels = wCanaux;
    return m_dir.Write(szNom, MakeWav(shape, MakeNoise(44100, wCanaux, 16, 20)));
  };
  Ouvre({});
  EXPECT_EQ(Ajoute("notes.txt"), "Choix du média: Type de média non géré");
  EXPECT_EQ(Ajoute(wav("mono.wav", 1)), "Choix du média: Seuls les fichiers stéréo sont supportés");
  EXPECT_EQ(Ajoute(wav("5.1.WAV", 6)), "Choix du média: Seuls les fichiers stéréo sont supportés");
  EXPECT_EQ(Ajoute(m_dir.Write("court.wav", "RIFF")), "Choix du média: Format du fichier non déterminé ou invalide");
  EXPECT_EQ(Ajoute(m_dir / "absent.mp3"), "Choix du média: Format du fichier non déterminé ou invalide");
  EXPECT_TRUE(m_pEditeur->Regles().empty());

  const std::string szBon = wav("bon.wav", 2);
  EXPECT_EQ(Ajoute(szBon), "");
  ASSERT_EQ(m_pEditeur->Regles().size(), 1U);
  EXPECT_EQ(R(0), Regle(szBon));
  EXPECT_EQ(m_pEditeur->focusWidget(), Arbre());
  EXPECT_EQ(LigneCourante(), "Toutes les 15 mns entre 00h00 et 23h59");
  EXPECT_TRUE(C<QComboBox>("Mode de diffusion")->isEnabled());
}

TEST_F(RuleEditorTest, PicturesAndFilmsAreNotProbed) {
  std::atomic<int> nSondes = 0;
  m_sondes.fnFormat = [&](const std::string&) {
    ++nSondes;
    return EtatFormat::Illisible;
  };
  Ouvre({Fixe("a.mp3", 1)});
  m_pEditeur->AjouteFichier("film.mp4");
  m_pEditeur->AjouteFichier("photo.JPG");
  m_pEditeur->AjouteDossier("messages");
  ASSERT_EQ(m_pEditeur->Regles().size(), 4U);
  EXPECT_EQ(nSondes, 0);
  EXPECT_TRUE(R(3).Folder);
  EXPECT_EQ(LigneCourante(), "Un au hasard - Toutes les 15 mns entre 00h00 et 23h59");
}

TEST_F(RuleEditorTest, DiskThatDoesNotAnswerHoldsNothingUp) {
  auto pBarriere = std::make_shared<CBarriere>();
  m_sondes.fnAccessible = [pBarriere](const std::string& szPath) {
    if (szPath.starts_with("/reseau/")) pBarriere->Passe();
    return szPath == "/local/la.mp3";
  };
  Ouvre({Fixe("/reseau/a.mp3", 1), Fixe("/local/parti.mp3", 2), Fixe("/local/la.mp3", 3)});
  // The local files are answered while the network hangs, which counts as there.
  EXPECT_TRUE(
      Attend([&] { return Arbre()->topLevelItem(1)->text(0).endsWith(QStringLiteral(", *** INACCESSIBLE ***")); }));
  EXPECT_THAT(Lignes(), ElementsAre("/reseau/a.mp3", "  A 00h01", "/local/parti.mp3, *** INACCESSIBLE ***", "  A 00h02",
                                    "/local/la.mp3", "  A 00h03"));
  Tape(C<QLineEdit>("Heure de diffusion"), "5");
  EXPECT_EQ(R(0).TimeBegin, 501U);
  EXPECT_EQ(R(1).Path, "/local/parti.mp3");  // the suffix is the line's, not the path's
  pBarriere->Ouvre();
  EXPECT_TRUE(Attend([&] { return Lignes()[0] == "/reseau/a.mp3, *** INACCESSIBLE ***"; }));
}

TEST_F(RuleEditorTest, AnswersToADialogThatHasGoneAreLost) {
  const auto pBarriere = Bloque();
  Ouvre({Fixe("a.mp3", 1)});
  m_pEditeur->AjouteFichier("b.mp3");
  EXPECT_TRUE(Attend([&] { return pBarriere->EnAttente() == 2; }));
  m_pEditeur.reset();
  pBarriere->Ouvre();
  // The last to hold the barrier is the last thread.
  EXPECT_TRUE(Attend([&] { return pBarriere.use_count() <= 3; }));
}

TEST_F(RuleEditorTest, FileWhoseFormatDoesNotComeIsRefused) {
  const auto pBarriere = Bloque();
  m_sondes.nDelaiMs = 50;
  Ouvre({Fixe("a.mp3", 1)});
  m_pEditeur->AjouteFichier("b.mp3");
  EXPECT_FALSE(Bouton(m_pEditeur.get(), "Appliquer")->isEnabled());
  EXPECT_TRUE(Bouton(m_pEditeur.get(), "Abandonner")->isEnabled());
  std::string szBoite;
  EXPECT_TRUE(Attend([&] { return !(szBoite = Boite()).empty(); }));
  EXPECT_EQ(szBoite, "Choix du média: Format du fichier non déterminé ou invalide");
  EXPECT_TRUE(Bouton(m_pEditeur.get(), "Appliquer")->isEnabled());
  pBarriere->Ouvre();
  m_pEditeur->AjouteFichier("c.mp3");
  EXPECT_TRUE(Attend([&] { return m_pEditeur->Regles().size() == 2; }));
  EXPECT_EQ(R(1).Path, "c.mp3");  // b's late answer adds nothing
}

// --- Pre-listening, through the real preview on a fake device ---

class PreviewTest : public RuleEditorTest {
 protected:
  void SetUp() override {
    RuleEditorTest::SetUp();
    m_szSon = m_dir.Write("son.wav", MakeWav({}, MakeTone(44100, 2, 16, 300)));
  }
  void TearDown() override {
    RuleEditorTest::TearDown();
    EXPECT_FALSE(g_Preview.IsLecture());
    EXPECT_FALSE(m_wave.IsOpen());
  }
  CIconButton* Ecouter() { return C<CIconButton>("Préécouter (message audio seulement)"); }
  void Lance() {
    Ecouter()->click();
    EXPECT_TRUE(Ecouter()->isChecked());
    EXPECT_TRUE(Attend([] { return g_Preview.IsLecture(); }));
  }

  std::string m_szSon;
};

TEST_F(PreviewTest, PlaysToTheEndOfTheFile) {
  Ouvre({Fixe(m_szSon, 1)});
  for (int nFois = 0; nFois < 2; ++nFois) {
    Lance();
    EXPECT_TRUE(Attend([&] {
      m_wave.Play(1);
      return !g_Preview.IsLecture();
    }));
    EXPECT_FALSE(Ecouter()->isChecked());
  }
}

TEST_F(PreviewTest, StopsOnASecondClickAndOnEveryWayOut) {
  Ouvre({Fixe(m_szSon, 1)});
  Lance();
  Ecouter()->click();
  EXPECT_FALSE(Ecouter()->isChecked());
  EXPECT_FALSE(g_Preview.IsLecture());
  const std::function<void()> sorties[] = {
      [&] { Bouton(m_pEditeur.get(), "Appliquer")->click(); }, [&] { Bouton(m_pEditeur.get(), "Abandonner")->click(); },
      [&] { m_pEditeur->close(); }, [&] { QTest::keyClick(m_pEditeur.get(), Qt::Key_Escape); },
      [&] { m_pEditeur.reset(); }};
  for (const auto& fnSort : sorties) {
    Ouvre({Fixe(m_szSon, 1)});
    Lance();
    fnSort();
    EXPECT_FALSE(g_Preview.IsLecture());
  }
}

TEST_F(PreviewTest, FileThatAnswersAfterTheOperatorHasGoneOnStaysSilent) {
  auto pLent = std::make_shared<CBarriere>();
  auto pAutre = std::make_shared<CBarriere>();
  m_sondes.fnFormat = [pLent, pAutre, szSon = m_szSon](const std::string& szPath) {
    (szPath == szSon ? pLent : pAutre)->Passe();
    return EtatFormat::Bon;
  };
  Ouvre({Fixe(m_szSon, 1), Fixe("autre.wav", 2)});
  Ecouter()->click();
  EXPECT_TRUE(Attend([&] { return pLent->EnAttente() == 1; }));
  Ecouter()->click();
  EXPECT_FALSE(Ecouter()->isChecked());
  QTest::keyClick(Arbre(), Qt::Key_End);
  Ecouter()->click();
  EXPECT_TRUE(Attend([&] { return pAutre->EnAttente() == 1; }));  // the first one's thread holds it up no more
  pLent->Ouvre();
  QTest::qWait(50);
  EXPECT_FALSE(g_Preview.IsLecture());
  EXPECT_TRUE(Ecouter()->isChecked());
  m_pEditeur.reset();
  pAutre->Ouvre();
}

TEST_F(PreviewTest, OnlyAudioFilesThatCanBePlayed) {
  Rule dossier = Fixe("dossier.mp3", 2);
  dossier.Folder = true;
  Ouvre({Fixe("film.mp4", 1), dossier, Fixe(m_dir / "absent.wav", 3)});
  for (int n = 0; n < 3; ++n) {
    Va(n);
    Ecouter()->click();
    EXPECT_TRUE(Attend([&] { return !Ecouter()->isChecked(); }));
    EXPECT_FALSE(g_Preview.IsLecture());
  }
}

// --- The whole dialog, as the day plan runs it ---

TEST_F(RuleEditorTest, AbandoningUndoesEverything) {
  const std::vector<Rule> vAvant{Fixe("a.mp3", 1), Fixe("b.mp3", 2)};
  const std::function<void(CRuleEditor*)> sorties[] = {
      [](CRuleEditor* p) { Bouton(p, "Abandonner")->click(); },
      [](CRuleEditor* p) { p->close(); },
      [](CRuleEditor* p) { QTest::keyClick(p, Qt::Key_Escape); },
  };
  for (const auto& fnSort : sorties) {
    std::vector<Rule> vRules = vAvant;
    const CReponse<CRuleEditor> editeur([&](CRuleEditor* pEditeur) {
      pEditeur->AjouteDossier("d");
      Bouton<QCheckBox>(pEditeur, "Lundi")->click();
      EXPECT_NE(pEditeur->Regles(), vAvant);
      fnSort(pEditeur);
    });
    EXPECT_EQ(EditRules(nullptr, &vRules), 0);
    EXPECT_EQ(vRules, vAvant);
  }
}

TEST_F(RuleEditorTest, EndsWithItsParentAndAQuestionOpen) {
  auto pParent = std::make_unique<QWidget>();
  std::vector<Rule> vRules{Fixe("a.mp3", 1)};
  const std::vector<Rule> vAvant = vRules;
  const CReponse<CRuleEditor> editeur([&](CRuleEditor* pEditeur) {
    const CReponse<QMessageBox> question([&](QMessageBox*) { pParent.reset(); });
    pEditeur->SupprimeRegle();
  });
  EXPECT_EQ(EditRules(pParent.get(), &vRules), 0);
  EXPECT_EQ(vRules, vAvant);
  EXPECT_EQ(pParent, nullptr);
}

TEST_F(RuleEditorTest, TabPassesThroughEveryControlInReadingOrder) {
  Rule rule = Regle("dossier");
  rule.Folder = true;
  rule.ValidityMode = 1;
  Ouvre({rule});
  std::vector<std::string> noms;
  QWidget* pWidget = Arbre();
  do {
    noms.push_back((pWidget->accessibleName().isEmpty() ? pWidget->property("text").toString().remove('&')
                                                        : pWidget->accessibleName())
                       .toStdString());
    do {
      pWidget = pWidget->nextInFocusChain();
    } while ((pWidget->focusPolicy() & Qt::TabFocus) == 0 || !pWidget->isVisible() || pWidget->focusProxy() != nullptr);
  } while (pWidget != Arbre() && noms.size() < 50);
  EXPECT_THAT(noms, ElementsAre("Règles", "Ajouter une règle pour un fichier message",
                                "Ajouter une règle pour tous les fichiers messages d'un répertoire",
                                "Préécouter (message audio seulement)", "Supprimer la règle", "Mode de diffusion",
                                "Période", "Unité de la période", "Heure du début", "Minute du début",
                                "Heure de la fin", "Minute de la fin", "Lundi", "Mardi", "Mercredi", "Jeudi",
                                "Vendredi", "Samedi", "Dimanche", "Choix du fichier", "Validité", "Premier jour",
                                "Dernier jour", "Activée", "Appliquer", "Abandonner"));
}

}  // namespace
}  // namespace tonara::test
