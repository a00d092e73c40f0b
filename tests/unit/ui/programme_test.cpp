// "Programme continu" and the dialogs of the audio programmes, driven as an operator would, on devices
// moved by hand.
#include "programmes/programmedlg.h"

#include <gtest/gtest.h>

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QRadioButton>
#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "platform/profile.h"
#include "programmes/audiolignedlg.h"
#include "programmes/audioligneprogram.h"
#include "programmes/audioloopfiledlg.h"
#include "programmes/audioloopfileprogram.h"
#include "programmes/audioplaylistdlg.h"
#include "programmes/audioplaylistprogram.h"
#include "programmes/essaidlg.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"
#include "tests/unit/ui/hands.h"
#include "ui/look/textbox.h"
#include "ui/look/vumeter.h"

namespace tonara::test {
namespace {

class ProgrammeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_szAppDir = m_dir.Dir();
    g_Appcfg = CAppcfg();
    g_Appcfg.m_szIniPath = m_dir / "tonara.ini";
    g_Appcfg.DeviceOut = "Fake";
    g_Appcfg.DeviceIn = "Ligne";
    g_Historique.SetPath(m_dir.Dir());
    g_Historique.Enable(true);
    const std::string son = MakeWav({}, MakeTone(44100, 2, 16, 1500));
    m_dir.Write("Demo/Loop.wav", son);
    m_dir.Write("Musiques/valse.wav", son);
    g_Mixout.StartSansThread(0, 4, 50, 0);
    g_Mixout.AddGroupe("MUSIQUE", g_Appcfg.Music, g_Appcfg.AutoFade);
  }
  void TearDown() override {
    CloseDlgProgramme();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    StopAudioProgram();
    g_Mixout.StopAll();
    g_Mixout.Stop();
    g_Historique.Enable(false);
  }

  static QDialog* Ouvre() {
    EXPECT_TRUE(OpenDlgProgramme(nullptr));
    for (QWidget* pFenetre : QApplication::topLevelWidgets()) {
      if (pFenetre->isVisible() && pFenetre->windowTitle() == QStringLiteral("Programme continu")) {
        return qobject_cast<QDialog*>(pFenetre);
      }
    }
    return nullptr;
  }
  /// The radio buttons of a group, by value.
  static QAbstractButton* Radio(QDialog* pDialogue, bool bSonore, int nValeur) {
    return pDialogue->findChildren<QButtonGroup*>()[bSonore ? 1 : 0]->button(nValeur);
  }
  /// Clicks, and waits for the change of programme.
  static void Choisit(QDialog* pDialogue, int nValeur) {
    Radio(pDialogue, true, nValeur)->click();
    IsAudioProgramActif();
  }
  static QString Titre(QDialog* pDialogue) { return Controle<CTextBox>(pDialogue, "Audio en cours")->Texte(); }
  std::string Historique() const { return m_dir.Read("Historique.txt"); }
  int Reglage(const char* szSection, const char* szCle) const {
    return ReadProfileInt(m_dir / "tonara.ini", szSection, szCle, -1);
  }
  /// Answers the file chooser that a click on "..." brings up.
  void ChoisitFichier(QWidget* pDialogue, const char* szDossier, const char* szNom) {
    const CReponse<QFileDialog> choix([&](QFileDialog* pChoix) {
      EXPECT_EQ(pChoix->windowTitle(), QStringLiteral("Choisir le fichier musique"));
      pChoix->setDirectory(QString::fromStdString(m_dir / szDossier));
      Tape(pChoix->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")), szNom);
      Bouton(pChoix, "Ouvrir")->click();
      EXPECT_FALSE(pChoix->isVisible());
      pChoix->close();
    });
    Bouton(pDialogue, "...")->click();
  }

  CTempDir m_dir;
  CFakeWave m_onde{{"Fake"}, {"Micro", "Ligne"}};
};

// --- The dialog itself ---

TEST_F(ProgrammeTest, EachChoiceIsHeardToldAndSaved) {
  ASSERT_TRUE(StartAudioProgram());
  QDialog* pDialogue = Ouvre();
  ASSERT_NE(pDialogue, nullptr);
  EXPECT_FALSE(OpenDlgProgramme(nullptr)) << "one is enough";
  EXPECT_TRUE(Radio(pDialogue, true, kPgmLoopFile)->isChecked());
  EXPECT_TRUE(Radio(pDialogue, false, 1)->isChecked());
  EXPECT_EQ(Titre(pDialogue), QStringLiteral("Loop.wav"));

  const std::string szAvant = Historique();
  Choisit(pDialogue, kPgmLoopFile);
  EXPECT_EQ(Historique(), szAvant) << "already selected: the sound goes on";

  Choisit(pDialogue, kPgmAucun);
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0);
  EXPECT_NE(Historique().find("*** Aucun programme audio\n", szAvant.size()), std::string::npos);
  EXPECT_TRUE(Attend([&] { return Titre(pDialogue) == QStringLiteral("-"); }));
  EXPECT_EQ(Reglage("Musique", "MusicSource"), kPgmAucun);

  Choisit(pDialogue, kPgmPlaylist);
  EXPECT_TRUE(Attend([&] { return Titre(pDialogue) == QStringLiteral("/valse.wav"); }));
  EXPECT_NE(Historique().find("valse.wav (Playlist)\n"), std::string::npos);
  Choisit(pDialogue, kPgmWebradio);
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0) << "no such programme yet";
  Choisit(pDialogue, kPgmLigne);
  EXPECT_TRUE(m_onde.IsInOpen());
  EXPECT_TRUE(Attend([&] { return Titre(pDialogue) == QStringLiteral("Ligne"); }));
  Choisit(pDialogue, kPgmLoopFile);
  EXPECT_FALSE(m_onde.IsInOpen());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
  EXPECT_EQ(Reglage("Musique", "MusicSource"), kPgmLoopFile);

  const std::string szSonore = Historique();
  for (const int n : {4, 0}) {
    Radio(pDialogue, false, n)->click();
    EXPECT_EQ(g_Appcfg.PgmVideoCourant, n);
    EXPECT_EQ(Reglage("Video", "PgmVideoCourant"), n);
  }
  EXPECT_EQ(Historique(), szSonore) << "the picture is not the sound";

  QTest::keyClick(pDialogue, Qt::Key_Escape);
  EXPECT_FALSE(pDialogue->isVisible());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1) << "closing only closes";
  g_Appcfg.MusicSource = 7;
  EXPECT_EQ(Ouvre()->findChildren<QButtonGroup*>()[1]->checkedButton(), nullptr);
}

TEST_F(ProgrammeTest, OnlyTheLastOfManyQuickChoicesNeedBeStarted) {
  QDialog* pDialogue = Ouvre();
  for (int i = 0; i < 40; ++i) Radio(pDialogue, true, i % 2 == 0 ? kPgmPlaylist : kPgmAucun)->click();
  Choisit(pDialogue, kPgmLoopFile);
  std::string szTitre;
  ASSERT_TRUE(GetTitreAudioProgram(&szTitre));
  EXPECT_EQ(szTitre, "Loop.wav");
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
  Choisit(pDialogue, kPgmPlaylist);
  RelanceAudioProgram();
  StopAudioProgram();
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0);
  EXPECT_FALSE(IsAudioProgramActif());
}

TEST_F(ProgrammeTest, ConfiguringReachesTheSoundOnlyWhereItPlays) {
  m_dir.Write("autre.wav", MakeWav({}, MakeTone(44100, 2, 16, 700)));
  ASSERT_TRUE(StartAudioProgram());
  QDialog* pDialogue = Ouvre();
  const auto configure = [&](const char* szNom, bool bChange) {
    const size_t nAvant = Historique().size();
    const CReponse<CReglageDlg> reponse([&](CReglageDlg* pReglage) {
      if (qobject_cast<CAudioPlaylistDlg*>(pReglage) != nullptr) {
        Bouton<QCheckBox>(pReglage, "Inclure sous-répertoires")->setChecked(bChange);
      }
      if (qobject_cast<CAudioLoopFileDlg*>(pReglage) != nullptr && bChange) ChoisitFichier(pReglage, "", "autre.wav");
      pReglage->close();
    });
    Controle<QPushButton>(pDialogue, szNom)->click();
    IsAudioProgramActif();
    return Historique().substr(nAvant);
  };
  EXPECT_EQ(configure("Configurer Playlist", true), "") << "not what plays";
  EXPECT_EQ(Reglage("AudioPlaylist", "IncludeSubFolders"), 1);
  EXPECT_EQ(configure("Configurer PAD audio", false), "") << "nothing changed";
  const std::string szSuite = configure("Configurer PAD audio", true);
  EXPECT_NE(szSuite.find("*** Start Programme PAD audio (" + m_dir / "autre.wav" + ")\n"), std::string::npos);
  EXPECT_EQ(configure("Configurer Source externe", false), "");
  EXPECT_FALSE(Controle<QPushButton>(pDialogue, "Configurer Webradio")->isEnabled());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
}

TEST_F(ProgrammeTest, ParentThatGoesTakesTheModalDialogAlong) {
  for (const int nType : {kPgmLigne, kPgmLoopFile, kPgmPlaylist}) {
    const QPointer<QWidget> pParent = std::make_unique<QWidget>().release();
    const CReponse<CReglageDlg> reponse([&](CReglageDlg* /*pReglage*/) { delete pParent.data(); });
    EXPECT_FALSE(CreateAudioProgram(nType, g_Appcfg.m_szIniPath)->Configure(pParent, false)) << nType;
  }
}

TEST_F(ProgrammeTest, MnemonicsDoNotCollide) {
  CAudioLoopFileDlg fichier("", nullptr);
  CAudioPlaylistDlg liste({}, nullptr);
  CAudioLigneDlg ligne("", nullptr);
  for (QDialog* pDialogue : std::initializer_list<QDialog*>{Ouvre(), &fichier, &liste, &ligne}) {
    std::set<QString> vues;
    for (const QAbstractButton* pBouton : pDialogue->findChildren<QAbstractButton*>()) {
      const qsizetype n = pBouton->text().indexOf(QLatin1Char('&'));
      if (n < 0) continue;
      EXPECT_TRUE(vues.insert(pBouton->text().mid(n + 1, 1).toUpper()).second) << pBouton->text().toStdString();
    }
  }
}

// --- "PAD audio" ---

TEST_F(ProgrammeTest, FileTestPlaysOrLeavesNothingBehind) {
  m_dir.Write("abime.mp3", "not sound");
  const struct {
    const char* szFichier;
    bool bRefus;
    bool bJoue;
  } cas[] = {{"", false, false},
             {"absent.wav", false, false},
             {"abime.mp3", false, false},
             {"Demo/Loop.wav", true, false},
             {"Demo/Loop.wav", false, true}};
  for (const auto& c : cas) {
    m_onde.RefuseAll(c.bRefus);
    CAudioLoopFileDlg dialogue(*c.szFichier == '\0' ? "" : m_dir / c.szFichier, nullptr);
    auto* pTester = dialogue.findChild<CBoutonEssai*>();
    for (int i = 0; i < 2; ++i) {  // once more: what failed may have left something
      pTester->click();
      EXPECT_TRUE(Attend([&] { return pTester->cursor().shape() != Qt::BusyCursor; }));
      EXPECT_EQ(pTester->text(), c.bJoue ? QStringLiteral("&Stop") : QStringLiteral("&Tester")) << c.szFichier;
      EXPECT_EQ(m_onde.IsOpen(), c.bJoue) << c.szFichier;
      if (c.bJoue) pTester->click();
      EXPECT_EQ(pTester->text(), QStringLiteral("&Tester"));
      EXPECT_TRUE(Attend([&] { return !m_onde.IsOpen(); }));
    }
  }
}

TEST_F(ProgrammeTest, TestIsHeardOnTopAndEndsWithItsDialog) {
  ASSERT_TRUE(StartAudioProgram());
  CAudioLoopFileProgram programme(g_Appcfg.m_szIniPath);
  const int nOuvertures = m_onde.Opens();
  const CReponse<CAudioLoopFileDlg> reponse([&](CAudioLoopFileDlg* pDialogue) {
    auto* pTester = pDialogue->findChild<CBoutonEssai*>();
    // As fast as a hand that can't decide: what counts is the last click.
    for (int i = 0; i < 7; ++i) pTester->click();
    EXPECT_TRUE(Attend([&] { return pTester->IsJoue(); }));
    EXPECT_TRUE(g_Mixout.IsActif());
    EXPECT_GT(m_onde.Opens(), nOuvertures) << "on a device of its own";
    // The file that plays on the air is a new one from here on.
    ChoisitFichier(pDialogue, "Musiques", "valse.wav");
    EXPECT_TRUE(pTester->IsJoue());
    QTest::keyClick(pDialogue, Qt::Key_Escape);
  });
  EXPECT_TRUE(programme.Configure(nullptr, true));
  EXPECT_EQ(programme.m_szPath, m_dir / "Musiques/valse.wav");
  EXPECT_EQ(ReadProfileString(m_dir / "tonara.ini", "LoopFile", "PathLoopFile", ""), programme.m_szPath);
  StopAudioProgram();
  g_Mixout.Stop();
  EXPECT_FALSE(m_onde.IsOpen());
}

// --- "Playlist audio" ---

TEST_F(ProgrammeTest, PlaylistSettingsAreShownAndKept) {
  m_dir.Write("Eté/a.wav", "x");
  const QString szCourant = QDir::currentPath();
  QDir::setCurrent(QString::fromStdString(m_dir / "Eté"));  // where the folder browser begins
  CAudioPlaylistProgram programme(g_Appcfg.m_szIniPath);
  {
    const CReponse<CAudioPlaylistDlg> reponse([&](CAudioPlaylistDlg* pDialogue) {
      EXPECT_EQ(Controle<CTextBox>(pDialogue, "Répertoire")->Texte().toStdString(), m_dir / "Musiques");
      EXPECT_TRUE(Bouton<QCheckBox>(pDialogue, "Fondus enchainés")->isChecked());
      pDialogue->close();
    });
    EXPECT_FALSE(programme.Configure(nullptr, true));
    EXPECT_EQ(Reglage("AudioPlaylist", "Fondus"), 1) << "saved also when nothing changed";
  }
  const CReponse<CAudioPlaylistDlg> reponse([&](CAudioPlaylistDlg* pDialogue) {
    const CReponse<QDialog> choix([&](QDialog* pChoix) {
      EXPECT_EQ(pChoix->windowTitle(), QStringLiteral("Répertoire des fichiers son"));
      EXPECT_TRUE(Attend([&] { return Bouton(pChoix, "OK")->isEnabled(); }));
      Bouton(pChoix, "OK")->click();
    });
    auto* pChoisir = Bouton(pDialogue, "...");
    pChoisir->setFocus();
    QTest::keyClick(pDialogue, Qt::Key_Return);
    EXPECT_EQ(Controle<CTextBox>(pDialogue, "Répertoire")->Texte().toStdString(), m_dir / "Eté");
    Bouton<QCheckBox>(pDialogue, "Aléatoire")->click();
    Bouton<QCheckBox>(pDialogue, "Fondus enchainés")->click();
    pDialogue->close();
  });
  EXPECT_TRUE(programme.Configure(nullptr, true));
  QDir::setCurrent(szCourant);
  const CAudioPlaylistProgram relu(g_Appcfg.m_szIniPath);
  EXPECT_EQ(relu.m_szPath, m_dir / "Eté");
  EXPECT_TRUE(relu.m_bRandom);
  EXPECT_FALSE(relu.m_bFondus || relu.m_bSousRep);
}

// --- "Source externe" ---

class LigneDlgTest : public ProgrammeTest {
 protected:
  /// Gives the input that was opened last blocks of a tone until the condition holds.
  bool Alimente(const std::function<bool()>& fnVrai) {
    const std::string pcm = MakeTone(44100, 2, 16, 200);
    return Attend([&] {
      m_onde.Record(pcm.data(), static_cast<uint32_t>(pcm.size()));
      return fnVrai();
    });
  }
  static QComboBox* Entrees(CAudioLigneDlg* pDialogue) {
    auto* pEntrees = pDialogue->findChild<QComboBox*>();
    EXPECT_TRUE(Attend([&] { return pEntrees->count() > 0; }));
    return pEntrees;
  }
};

TEST_F(LigneDlgTest, InputIsTestedWhileItIsOnTheAirAndTaken) {
  g_Appcfg.MusicSource = kPgmLigne;
  ASSERT_TRUE(StartAudioProgram());
  const std::string szHistorique = Historique();
  const CReponse<CAudioLigneDlg> reponse([&](CAudioLigneDlg* pDialogue) {
    EXPECT_EQ(Entrees(pDialogue)->currentText(), QStringLiteral("Ligne"));
    auto* pTester = pDialogue->findChild<CBoutonEssai*>();
    auto* pMetres = pDialogue->findChild<CZoneVuMetres*>();
    const QImage repos = pMetres->grab().toImage();
    for (int i = 0; i < 2; ++i) {
      pTester->click();
      EXPECT_TRUE(Alimente([&] { return pTester->IsJoue(); }));
      EXPECT_TRUE(Alimente([&] { return pMetres->grab().toImage() != repos; }));
      pTester->click();
      EXPECT_EQ(pMetres->grab().toImage(), repos);
    }
    EXPECT_TRUE(m_onde.IsInOpen()) << "the programme's own";
    Entrees(pDialogue)->setCurrentIndex(0);
    pDialogue->close();
  });
  EXPECT_TRUE(CAudioLigneProgram(g_Appcfg.m_szIniPath).Configure(nullptr, true));
  EXPECT_EQ(g_Appcfg.DeviceIn, "Micro");
  EXPECT_EQ(ReadProfileString(m_dir / "tonara.ini", "Ligne", "DeviceIn", ""), "Micro");
  EXPECT_EQ(Historique(), szHistorique) << "the programme that plays was left alone";
  StopAudioProgram();
  g_Mixout.Stop();
  EXPECT_FALSE(m_onde.IsOpen() || m_onde.IsInOpen());
}

TEST_F(LigneDlgTest, InputThatCannotBeHadIsToldAndLeavesNothing) {
  CAudioLigneDlg dialogue("Ligne", nullptr);
  dialogue.show();
  Entrees(&dialogue);
  auto* pTester = dialogue.findChild<CBoutonEssai*>();
  m_onde.RefuseAll(true);
  pTester->click();
  QMessageBox* pBoite = nullptr;
  EXPECT_TRUE(Attend([&] { return (pBoite = dialogue.findChild<QMessageBox*>()) != nullptr; }));
  EXPECT_EQ(pBoite->windowTitle(), QStringLiteral("Record"));
  EXPECT_EQ(pTester->text(), QStringLiteral("&Tester"));
  EXPECT_FALSE(m_onde.IsInOpen() || m_onde.IsOpen());
}

TEST_F(LigneDlgTest, DeafInputDoesNotHoldUpTheClosing) {
  const CReponse<CAudioLigneDlg> reponse([&](CAudioLigneDlg* pDialogue) {
    Entrees(pDialogue);
    pDialogue->findChild<CBoutonEssai*>()->click();
    // The mixer waits for the input's first sound, for seconds.
    EXPECT_TRUE(Attend([&] { return m_onde.IsOpen(); }));
    const auto debut = std::chrono::steady_clock::now();
    pDialogue->close();
    EXPECT_LT(std::chrono::steady_clock::now() - debut, std::chrono::seconds(3));
  });
  EXPECT_FALSE(CAudioLigneProgram(g_Appcfg.m_szIniPath).Configure(nullptr, false));
  EXPECT_FALSE(m_onde.IsInOpen() || m_onde.IsOpen());
  EXPECT_EQ(g_Appcfg.DeviceIn, "Ligne");
}

TEST(LigneDlg, WithoutInputsNothingIsTestedOrTaken) {
  CFakeWave onde({"Fake"}, {});
  g_Appcfg.DeviceIn = "Parti";
  const CReponse<CAudioLigneDlg> reponse([&](CAudioLigneDlg* pDialogue) {
    pDialogue->findChild<CBoutonEssai*>()->click();
    EXPECT_EQ(pDialogue->findChild<CBoutonEssai*>()->text(), QStringLiteral("&Tester"));
    pDialogue->close();
  });
  EXPECT_FALSE(CAudioLigneProgram({}).Configure(nullptr, false));
  EXPECT_EQ(g_Appcfg.DeviceIn, "Parti");
  EXPECT_FALSE(onde.IsOpen());
}

}  // namespace
}  // namespace tonara::test
