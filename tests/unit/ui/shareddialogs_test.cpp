#include "ui/look/shareddialogs.h"

#include <gtest/gtest.h>

#include <QColorDialog>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QTranslator>
#include <QTreeView>
#include <set>

#include "tests/support/tempdir.h"
#include "tests/unit/ui/hands.h"
#include "ui/look/chartedlg.h"
#include "ui/look/francais.h"

namespace tonara::test {
namespace {

const QString kFiltre = QStringLiteral("Tous (*.*)|*.*|Audio (*.mp3;*.wav)|*.mp3;*.wav|");

QLineEdit* Nom(QFileDialog* pChoix) {
  return pChoix->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
}

TEST(FileChooser, FilterIsCutAtItsLastCharacter) {
  EXPECT_EQ(FiltresFichiers(kFiltre), QStringList({"Tous (*.*) (*)", "Audio (*.mp3;*.wav) (*.mp3 *.wav)"}));
  EXPECT_EQ(FiltresFichiers(QStringLiteral("Texte#*.txt#")), QStringList{"Texte (*.txt)"});
  EXPECT_EQ(FiltresFichiers({}), QStringList{"Tous (*)"});
  EXPECT_EQ(FiltresFichiers(QStringLiteral("|")), QStringList());
}

TEST(FileChooser, NoPlaceForTheAnswerNoDialog) {
  EXPECT_FALSE(ChoisirFichier(nullptr, nullptr, {}, {}, kFichierExistant, {}));
  EXPECT_FALSE(ChoisirDossier(nullptr, {}, {}, nullptr));
}

TEST(FileChooser, ListsByTheFilterInAnyCase) {
  const CTempDir dir;
  for (const char* szNom : {"a.MP3", "b.txt", "sans point"}) dir.Write(szNom, "x");
  std::string szOut = "avant";
  const CReponse<QFileDialog> reponse([&](QFileDialog* pChoix) {
    EXPECT_EQ(pChoix->windowTitle(), QStringLiteral("Choix Fichier"));
    auto* pTypes = pChoix->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
    EXPECT_EQ(pTypes->itemText(0), QStringLiteral("Tous (*.*)"));
    EXPECT_EQ(pTypes->itemText(1), QStringLiteral("Audio (*.mp3;*.wav)"));
    const QAbstractItemView* pListe = pChoix->findChild<QListView*>(QStringLiteral("listView"));
    const auto nombre = [&] { return pListe->model()->rowCount(pListe->rootIndex()); };
    EXPECT_TRUE(Attend([&] { return nombre() == 3; }));
    pTypes->setFocus();
    QTest::keyClick(pTypes, Qt::Key_Down);
    emit pTypes->activated(1);
    EXPECT_TRUE(Attend([&] { return nombre() == 1; }));
    pChoix->close();
  });
  EXPECT_FALSE(ChoisirFichier(nullptr, &szOut, kFiltre, {}, kFichierExistant, dir.Dir()));
  EXPECT_EQ(szOut, "avant");
}

TEST(FileChooser, ModeSaysWhatMustExist) {
  const CTempDir dir;
  dir.Write("la.mp3", "x");
  std::string szOut;
  const auto choisit = [&](int nMode, const QString& szNom) {
    const CReponse<QFileDialog> reponse([&](QFileDialog* pChoix) {
      // What is refused is told, and the dialog stays.
      QTimer refus;
      refus.callOnTimeout([&] {
        for (QMessageBox* pBoite : pChoix->findChildren<QMessageBox*>()) pBoite->close();
      });
      refus.start(5);
      Nom(pChoix)->setText(szNom);
      Bouton(pChoix, "Ouvrir")->click();
      if (pChoix->isVisible()) pChoix->reject();
    });
    szOut.clear();
    return ChoisirFichier(nullptr, &szOut, kFiltre, QStringLiteral("Choix"), nMode, dir.Dir());
  };
  EXPECT_TRUE(choisit(kFichierExistant, "la.mp3"));
  EXPECT_EQ(szOut, dir / "la.mp3");
  EXPECT_FALSE(choisit(kFichierExistant, "pas la.mp3"));
  EXPECT_TRUE(choisit(kDossierExistant, "pas la.mp3"));
  EXPECT_EQ(szOut, dir / "pas la.mp3");
  EXPECT_FALSE(choisit(kDossierExistant, "pas/la.mp3"));
}

TEST(FileChooser, FolderWhoseDiskIsDeadIsNotGoneTo) {
  const CTempDir dir;
  const std::string szMort = dir / "mort";
  std::filesystem::create_directories(szMort);
  auto pDisque = std::make_shared<CBarriere>();
  SetSondeDossier([pDisque, szMort](const std::string& szPath) {
    if (szPath == szMort) pDisque->Passe();
  });
  std::string szOut;
  QPointer<QFileDialog> pFerme;
  {
    const CReponse<QFileDialog> reponse([&](QFileDialog* pChoix) {
      EXPECT_EQ(pChoix->directory().path(), QDir::currentPath());
      pChoix->setDirectory(QString::fromStdString(dir.Dir()));
      auto* pListe = pChoix->findChild<QListView*>(QStringLiteral("listView"));
      EXPECT_TRUE(Attend([&] { return pListe->model()->rowCount(pListe->rootIndex()) == 1; }));
      const auto entre = [&] { emit pListe->activated(pListe->model()->index(0, 0, pListe->rootIndex())); };
      entre();
      const auto boites = pChoix->findChildren<QMessageBox*>();
      EXPECT_TRUE(!boites.isEmpty() && boites[0]->text() == QStringLiteral("Ce dossier ne répond pas."));
      for (QMessageBox* pBoite : boites) pBoite->close();
      EXPECT_EQ(pChoix->directory().path().toStdString() + "/", dir.Dir());
      pDisque->Ouvre();
      entre();
      EXPECT_EQ(pChoix->directory().path().toStdString(), szMort);
      // It dies while it is on the screen.
      pDisque = std::make_shared<CBarriere>();
      SetSondeDossier([pDisque](const std::string&) { pDisque->Passe(); });
      pFerme = pChoix;
      pChoix->reject();
    });
    EXPECT_FALSE(ChoisirFichier(nullptr, &szOut, kFiltre, {}, kFichierExistant, szMort));
  }
  ASSERT_FALSE(pFerme.isNull()) << "its thread may hang in that disk";
  EXPECT_FALSE(pFerme->isVisible());
  pDisque->Ouvre();
  EXPECT_TRUE(Attend([&] { return pFerme.isNull(); }));
  SetSondeDossier({});
}

TEST(FolderBrowser, BeginsElsewhereThanOnADeadDisk) {
  const CTempDir dir;
  auto pDisque = std::make_shared<CBarriere>();
  SetSondeDossier([pDisque, szMort = dir.Dir()](const std::string& szPath) {
    if (szPath == szMort) pDisque->Passe();
  });
  std::string szOut;
  const CReponse<QDialog> reponse([&](QDialog* pChoix) {
    EXPECT_TRUE(Attend([&] { return Bouton(pChoix, "OK")->isEnabled(); }));
    QTest::keyClick(pChoix, Qt::Key_Return);
  });
  EXPECT_TRUE(ChoisirDossier(nullptr, dir.Dir(), {}, &szOut));
  EXPECT_EQ(szOut, QDir::currentPath().toStdString());
  pDisque->Ouvre();
  SetSondeDossier({});
}

TEST(FolderBrowser, OffersFoldersThatExist) {
  const CTempDir dir;
  std::filesystem::create_directories(dir / "messages/été");
  dir.Write("fichier.txt", "x");
  std::string szOut;
  {
    const CReponse<QDialog> reponse([&](QDialog* pChoix) {
      EXPECT_EQ(pChoix->windowTitle(), QStringLiteral("Répertoire des messages"));
      auto* pArbre = pChoix->findChild<QTreeView*>();
      auto* pOk = Bouton(pChoix, "OK");
      EXPECT_TRUE(Attend([&] { return pOk->isEnabled(); }));  // the folder given
      EXPECT_TRUE(Attend([&] { return pArbre->model()->rowCount(pArbre->currentIndex()) == 1; }));
      const QModelIndex messages = pArbre->model()->index(0, 0, pArbre->currentIndex());
      EXPECT_EQ(messages.data().toString(), QStringLiteral("messages"));
      // A folder that goes while the dialog is open, then nothing at all.
      std::filesystem::remove_all(dir / "messages");
      pArbre->setCurrentIndex(messages);
      EXPECT_FALSE(pOk->isEnabled());
      pArbre->setCurrentIndex({});
      QTest::qWait(20);
      EXPECT_FALSE(pOk->isEnabled());
      std::filesystem::create_directories(dir / "messages/été");
      EXPECT_TRUE(Attend([&] { return pArbre->model()->rowCount(pArbre->rootIndex()) > 0; }));
      pChoix->reject();
    });
    EXPECT_FALSE(ChoisirDossier(nullptr, dir.Dir(), QStringLiteral("Répertoire des messages"), &szOut));
  }
  const CReponse<QDialog> reponse([&](QDialog* pChoix) {
    EXPECT_TRUE(Attend([&] { return Bouton(pChoix, "OK")->isEnabled(); }));
    QTest::keyClick(pChoix, Qt::Key_Return);
  });
  EXPECT_TRUE(ChoisirDossier(nullptr, dir / "messages/été", {}, &szOut));
  EXPECT_EQ(szOut, dir / "messages/été");
}

TEST(FolderBrowser, NameCanBeTypedWhereAsked) {
  const CTempDir dir;
  std::string szOut;
  const CReponse<QDialog> reponse([&](QDialog* pChoix) {
    auto* pNom = pChoix->findChild<QLineEdit*>();
    Tape(pNom, (dir / "absent").c_str());
    auto* pOk = Bouton(pChoix, "OK");
    EXPECT_FALSE(pOk->isEnabled());
    Tape(pNom, dir.Dir().c_str());
    EXPECT_TRUE(Attend([&] { return pOk->isEnabled(); }));
    pOk->click();
  });
  EXPECT_TRUE(ChoisirDossier(nullptr, {}, {}, &szOut, true));
  EXPECT_EQ(szOut + "/", dir.Dir());
}

// --- Text style ---

class CharteTest : public ::testing::Test {
 protected:
  static QListWidget* Fontes(QDialog* pDialogue) { return pDialogue->findChild<QListWidget*>(); }
  static QLineEdit* Opacite(QDialog* pDialogue) { return pDialogue->findChild<QLineEdit*>(); }
  static QImage Apercu(QDialog* pDialogue) {
    return Controle<QLabel>(pDialogue, "Aperçu")->pixmap(Qt::ReturnByValue).toImage();
  }
  Charte m_charte{0x112233, 0xFFFFFF, 60, "DejaVu Sans"};
};

TEST_F(CharteTest, AppliesFontColoursAndOpacity) {
  std::string szPremiere;
  const CReponse<CCharteDlg> reponse([&](CCharteDlg* pDialogue) {
    EXPECT_EQ(pDialogue->windowTitle(), QStringLiteral("Charte Texte"));
    EXPECT_EQ(Opacite(pDialogue)->text(), QStringLiteral("60"));
    EXPECT_EQ(Apercu(pDialogue).pixelColor(2, 2), QColor(0x33, 0x22, 0x11));
    QStringList vNoms;
    for (int n = 0; n < Fontes(pDialogue)->count(); ++n) vNoms += Fontes(pDialogue)->item(n)->text();
    EXPECT_FALSE(vNoms.isEmpty());
    // As readers of the language sort.
    const auto devant = [](const QString& a, const QString& b) { return QString::localeAwareCompare(a, b) < 0; };
    EXPECT_TRUE(std::is_sorted(vNoms.begin(), vNoms.end(), devant)) << vNoms.join('|').toStdString();
    szPremiere = vNoms.first().toStdString();
    // Each once, under the name that settings and other machines know it by.
    EXPECT_EQ(vNoms.removeDuplicates(), 0);
    EXPECT_TRUE(vNoms.filter(QStringLiteral("[")).isEmpty());
    const QImage avant = Apercu(pDialogue);
    {
      const CReponse<QColorDialog> couleur([](QColorDialog* pCouleurs) {
        EXPECT_EQ(pCouleurs->currentColor(), QColor(0x33, 0x22, 0x11));
        pCouleurs->setCurrentColor(QColor(1, 2, 3));
        pCouleurs->accept();
      });
      Bouton(pDialogue, "Couleur fond")->click();
    }
    EXPECT_EQ(Apercu(pDialogue).pixelColor(2, 2), QColor(1, 2, 3));
    {
      const CReponse<QColorDialog> couleur([](QColorDialog* pCouleurs) { pCouleurs->reject(); });
      Bouton(pDialogue, "Couleur texte")->click();
    }
    Fontes(pDialogue)->setCurrentRow(0);
    Tape(Opacite(pDialogue), "150");
    Bouton(pDialogue, "Appliquer")->click();
  });
  EXPECT_TRUE(ChoisirCharte(nullptr, &m_charte));
  EXPECT_EQ(m_charte, (Charte{0x030201, 0xFFFFFF, 150, szPremiere}));
}

TEST_F(CharteTest, UnknownFontIsKeptUntilAnotherIsPicked) {
  m_charte.m_szFont = "Police que personne n'a";
  const Charte avant = m_charte;
  {
    const CReponse<CCharteDlg> reponse([](CCharteDlg* pDialogue) {
      EXPECT_EQ(Fontes(pDialogue)->currentRow(), 0);
      Bouton(pDialogue, "Appliquer")->click();
    });
    EXPECT_TRUE(ChoisirCharte(nullptr, &m_charte));
  }
  EXPECT_EQ(m_charte, avant);
  const CReponse<CCharteDlg> reponse([](CCharteDlg* pDialogue) {
    Tape(Opacite(pDialogue), "1");
    QTest::keyClick(pDialogue, Qt::Key_Escape);
  });
  EXPECT_FALSE(ChoisirCharte(nullptr, &m_charte));
  EXPECT_EQ(m_charte, avant);
}

// --- The toolkit's own texts ---

/// Notes what the toolkit asks to have translated.
class CEcoute final : public QTranslator {
 public:
  QString translate(const char* szContexte, const char* szTexte, const char* /*szPrecision*/,
                    int /*n*/) const override {
    m_textes.insert({szContexte, szTexte});
    return {};
  }
  [[nodiscard]] bool isEmpty() const override { return false; }

  mutable std::set<std::pair<std::string, std::string>> m_textes;
};

TEST(Francais, SpeaksForTheToolkit) {
  CEcoute ecoute;
  QCoreApplication::installTranslator(&ecoute);
  const CTempDir dir;
  dir.Write("a.mp3", std::string(5000, 'x'));
  std::string szOut;
  {
    const CReponse<QFileDialog> reponse([&](QFileDialog* pChoix) {
      pChoix->setViewMode(QFileDialog::Detail);
      EXPECT_TRUE(Attend([&] { return ecoute.m_textes.contains({"QFileSystemModel", "Date Modified"}); }));
      Nom(pChoix)->setText(QStringLiteral("absent"));
      QTimer refus;
      refus.callOnTimeout([&] {
        for (QMessageBox* pBoite : pChoix->findChildren<QMessageBox*>()) pBoite->close();
      });
      refus.start(5);
      Bouton(pChoix, "Ouvrir")->click();
      pChoix->reject();
    });
    ChoisirFichier(nullptr, &szOut, kFiltre, {}, kFichierExistant, dir.Dir());
  }
  {
    QColorDialog couleurs;
    couleurs.setOption(QColorDialog::DontUseNativeDialog);
    couleurs.show();
    QApplication::processEvents();
  }
  QCoreApplication::removeTranslator(&ecoute);
  EXPECT_GT(ecoute.m_textes.size(), 30U);
  // Key names aren't read by an operator, and the direction of writing is that of French unless told.
  const CFrancais francais;
  for (const auto& [szContexte, szTexte] : ecoute.m_textes) {
    if (szContexte == "QShortcut" || szTexte.starts_with("Alt+") || szTexte == "QT_LAYOUT_DIRECTION") continue;
    EXPECT_FALSE(francais.translate(szContexte.c_str(), szTexte.c_str(), nullptr, -1).isEmpty())
        << szContexte << ": " << szTexte;
  }
}

}  // namespace
}  // namespace tonara::test
