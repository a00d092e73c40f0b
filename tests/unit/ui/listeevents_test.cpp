#include "ui/listeevents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDialog>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>
#include <memory>
#include <string>
#include <vector>

#include "core/appcfg.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "tests/support/msgqueue.h"
#include "tests/support/tempdir.h"
#include "tests/unit/ui/hands.h"
#include "ui/look/iconbutton.h"
#include "ui/look/look.h"
#include "ui/ruleeditor.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;

class ListeEventsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_Appcfg = CAppcfg();
    m_dir.Write("Regles.ini", "");
    g_Grille.Load(m_dir.Dir());
    Plan().PurgeEvents(false);
    m_pParent = std::make_unique<QWidget>();
  }
  void TearDown() override {
    m_pParent.reset();
    Plan().PurgeEvents(false);
    g_Grille.Remplace({});
  }

  static CJournee& Plan() { return g_Calendrier.m_Journee; }
  static CEvent* Ajoute(int nType, int nHeure, int nMinute, const char* szPath) {
    CEvent* pEvent = Plan().AddEvent(nType, static_cast<uint16_t>(nHeure), static_cast<uint16_t>(nMinute), 0);
    pEvent->SetPath(szPath);
    return pEvent;
  }
  /// One audio message a minute from midnight on.
  static void AjouteMinutes(int nNombre) {
    for (int n = 0; n < nNombre; ++n) Ajoute(1, n / 60, n % 60, ("m" + std::to_string(n) + ".mp3").c_str());
  }
  static void Termine(size_t nPremier, size_t nFin) {
    for (size_t n = nPremier; n < nFin; ++n) Plan().GetEventAt(n)->m_bTermine = true;
  }

  void Ouvre() {
    ASSERT_TRUE(g_ListeEvents.Open(m_pParent.get()));
    QApplication::processEvents();
  }
  QDialog* Dialogue() { return m_pParent->findChild<QDialog*>(); }
  QTableView* Liste() { return Dialogue()->findChild<QTableView*>(); }
  /// The highlighted row, -1 if none is.
  int Courante() {
    const QModelIndexList vChoisies = Liste()->selectionModel()->selectedRows();
    return vChoisies.isEmpty() ? -1 : vChoisies.first().row();
  }
  int Premiere() { return Liste()->verticalScrollBar()->value(); }
  int ParPage() { return Liste()->viewport()->height() / Liste()->rowHeight(0); }
  std::vector<std::string> Lignes() {
    const QAbstractItemModel* pModele = Liste()->model();
    std::vector<std::string> lignes;
    for (int n = 0; n < pModele->rowCount(); ++n) {
      QStringList ligne;
      for (int c = 0; c < 3; ++c) ligne += pModele->index(n, c).data().toString();
      lignes.push_back(ligne.join('|').toStdString());
    }
    return lignes;
  }

  CTempDir m_dir;
  CMsgQueue m_messages;
  std::unique_ptr<QWidget> m_pParent;
};

TEST_F(ListeEventsTest, ShowsMessagesAndNoStings) {
  Ajoute(9, 9, 5, "3 tons.mp3");
  Ajoute(1, 9, 5, "/m/Promotion.mp3");
  Ajoute(9, 10, 0, "3 tons.mp3");
  Ajoute(2, 10, 0, "/m/Film.v2.mp4");
  Ajoute(3, 10, 30, "/m/Affiche.png");
  Ajoute(4, 23, 59, "/m/Fin.mp3");
  Ouvre();
  EXPECT_EQ(Dialogue()->windowTitle(), QStringLiteral("Programmation du jour"));
  EXPECT_THAT(Lignes(), ElementsAre("09:05|MESSAGE AUDIO|Promotion", "10:00|MESSAGE VIDEO|Film.v2",
                                    "10:30|MESSAGE IMAGE|Affiche", "23:59|JINGLE|Fin"));
  const QAbstractItemModel* pModele = Liste()->model();
  EXPECT_EQ(pModele->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Heure"));
  EXPECT_EQ(pModele->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Type"));
  EXPECT_EQ(pModele->headerData(2, Qt::Horizontal).toString(), QString());
  const int largeurs[] = {50, 100, 150};
  for (int n = 0; n < 3; ++n) EXPECT_GE(Liste()->columnWidth(n), largeurs[n]);
  EXPECT_EQ(Courante(), 0);
  // The first listed event that has not finished, whatever its stings.
  Termine(0, 3);
  EXPECT_TRUE(g_ListeEvents.MoveHighlight());
  EXPECT_EQ(Courante(), 1);
}

TEST_F(ListeEventsTest, OnlyOneIsOpenAndAClosedOneTakesNothing) {
  EXPECT_FALSE(g_ListeEvents.Refresh());
  EXPECT_FALSE(g_ListeEvents.MoveHighlight());
  Ouvre();
  EXPECT_EQ(Courante(), -1);  // an empty plan has no highlight
  EXPECT_FALSE(g_ListeEvents.Open(m_pParent.get()));
  for (const int nTouche : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape}) {
    QTest::keyClick(Liste(), static_cast<Qt::Key>(nTouche));
    EXPECT_FALSE(g_ListeEvents.Refresh()) << nTouche;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(Dialogue(), nullptr);
    Ajoute(1, 9, 0, "a.mp3");
    Ouvre();  // shows the plan as it is by now
    EXPECT_EQ(Lignes().size(), Plan().NbEvents());
  }
  QTest::keyClick(Controle<CIconButton>(Dialogue(), "Règles des messages"), Qt::Key_Return);
  EXPECT_FALSE(g_ListeEvents.Refresh());
  Ouvre();
  m_pParent.reset();
  EXPECT_FALSE(g_ListeEvents.Refresh());
}

TEST_F(ListeEventsTest, HighlightStandsAtMidPage) {
  AjouteMinutes(300);
  Ouvre();
  const int p = ParPage();
  ASSERT_GT(p, 5);
  EXPECT_EQ(Courante(), 0);
  EXPECT_EQ(Premiere(), 0);
  Termine(0, 2);
  g_ListeEvents.MoveHighlight();
  EXPECT_EQ(Courante(), 2);
  EXPECT_EQ(Premiere(), 0);  // above the middle nothing scrolls
  Termine(2, 150);
  g_ListeEvents.MoveHighlight();
  EXPECT_EQ(Courante(), 150);
  EXPECT_EQ(Premiere(), 150 + p / 2 - p + 1);
  Termine(150, 151);
  g_ListeEvents.MoveHighlight();
  EXPECT_EQ(Premiere(), 151 + p / 2 - p + 1);
  Termine(151, 299);
  g_ListeEvents.MoveHighlight();
  EXPECT_EQ(Courante(), 299);
  EXPECT_EQ(Premiere(), 300 - p);  // the last row is in view
  // The operator's own choice doesn't last, and from wherever he looks the highlight is in sight.
  Liste()->selectRow(10);
  Liste()->scrollToTop();
  g_ListeEvents.MoveHighlight();
  EXPECT_EQ(Courante(), 299);
  EXPECT_EQ(Premiere(), 300 - p);
}

TEST_F(ListeEventsTest, RefreshKeepsTheOperatorsPlace) {
  AjouteMinutes(300);
  Termine(0, 300);
  Ouvre();
  EXPECT_EQ(Courante(), -1);  // all is over: nothing to point at
  Liste()->selectRow(120);
  Liste()->verticalScrollBar()->setValue(117);
  g_ListeEvents.Refresh();
  EXPECT_EQ(Courante(), 120);
  EXPECT_EQ(Premiere(), 117);
  EXPECT_TRUE(Liste()->selectionModel()->isRowSelected(120));
  Ajoute(1, 23, 0, "z.mp3");
  Plan().GetEventAt(300)->m_bTermine = true;
  g_ListeEvents.Refresh();
  EXPECT_EQ(Lignes().size(), 301U);
  EXPECT_EQ(Premiere(), 117);
  // A plan that has become shorter than the place.
  Plan().PurgeEvents(false);
  AjouteMinutes(3);
  Termine(0, 3);
  g_ListeEvents.Refresh();
  EXPECT_EQ(Lignes().size(), 3U);
}

TEST_F(ListeEventsTest, OpenedDuringAGenerationItShowsWhatThereIs) {
  AjouteMinutes(5);
  Ouvre();
  AjouteMinutes(40);
  Termine(0, 20);
  EXPECT_TRUE(g_ListeEvents.MoveHighlight());  // the highlight's row is not listed yet
  EXPECT_EQ(Lignes().size(), 5U);
  EXPECT_EQ(Courante(), 0);
  g_ListeEvents.Refresh();
  EXPECT_EQ(Lignes().size(), 45U);
  EXPECT_EQ(Courante(), 20);
}

TEST_F(ListeEventsTest, AppliedRulesAreSavedAndGenerated) {
  g_Calendrier.SetNotify(NewMsgTarget(), 0);
  Ouvre();
  auto* pRegles = Controle<CIconButton>(Dialogue(), "Règles des messages");
  {
    const CReponse<CRuleEditor> editeur([](CRuleEditor* pEditeur) {
      pEditeur->AjouteDossier("abandon");
      Bouton(pEditeur, "Abandonner")->click();
    });
    pRegles->click();
  }
  g_Calendrier.Tick();
  EXPECT_EQ(m_messages.TakeAll(kMsgGeneration), 0);
  EXPECT_EQ(m_dir.Read("Regles.ini"), "");
  EXPECT_TRUE(g_Grille.Copie().empty());

  const auto applique = [&](const char* szDossier) {
    const CReponse<CRuleEditor> editeur([&](CRuleEditor* pEditeur) {
      pEditeur->AjouteDossier(szDossier);
      Bouton(pEditeur, "Appliquer")->click();
    });
    pRegles->click();
  };
  applique("un");
  ASSERT_EQ(g_Grille.Copie().size(), 1U);
  EXPECT_NE(m_dir.Read("Regles.ini").find("Path=un\n"), std::string::npos);
  g_Calendrier.Tick();
  PostedMsg msg{};
  ASSERT_TRUE(m_messages.Take(&msg));
  EXPECT_EQ(msg.uMsg, kMsgGeneration);
  EXPECT_EQ(msg.wParam, kGenerationComplete);

  // That generation is under way: what is applied meanwhile comes with the next one.
  applique("deux");
  EXPECT_EQ(g_Grille.Copie().size(), 2U);
  g_Calendrier.Tick();
  EXPECT_FALSE(m_messages.Take(&msg));
  g_Calendrier.EndGeneration();
  g_Calendrier.Tick();
  EXPECT_EQ(m_messages.TakeAll(kMsgGeneration), 1);
  g_Calendrier.EndGeneration();
}

TEST_F(ListeEventsTest, GoesWithItsParentWhileTheRuleEditorIsOpen) {
  Ouvre();
  const CReponse<CRuleEditor> editeur([&](CRuleEditor* pEditeur) {
    pEditeur->AjouteDossier("x");
    m_pParent.reset();
  });
  Controle<CIconButton>(Dialogue(), "Règles des messages")->click();
  EXPECT_FALSE(g_ListeEvents.Refresh());
  EXPECT_TRUE(g_Grille.Copie().empty());
}

TEST_F(ListeEventsTest, LooksAsItShould) {
  Ajoute(1, 9, 0, "a.mp3");
  Ajoute(1, 9, 1, "b.mp3");
  Ouvre();
  const QImage image = Liste()->viewport()->grab().toImage();
  const auto couleur = [&](QPoint p) { return image.pixelColor(p * image.devicePixelRatio()); };
  const QRect ligne = Liste()->visualRect(Liste()->model()->index(1, 0));
  EXPECT_EQ(couleur(ligne.topLeft() + QPoint(2, 2)), QColor(255, 203, 76));
  EXPECT_EQ(couleur(QPoint(5, Liste()->viewport()->height() - 5)), QColor(255, 187, 17));
  EXPECT_EQ(Liste()->palette().color(QPalette::Text), QColor(33, 35, 58));
  EXPECT_EQ(Controle<CIconButton>(Dialogue(), "Règles des messages")->toolTip(), QStringLiteral("Règles des messages"));
}

}  // namespace
}  // namespace tonara::test
