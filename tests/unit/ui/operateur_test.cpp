// The operator at the day's plan while the calendar works: real calendar, generation thread and mixer, a
// device moved by hand.
#include <gtest/gtest.h>

#include <QDialog>
#include <QLineEdit>
#include <QScrollBar>
#include <QTableView>
#include <algorithm>
#include <memory>
#include <string>

#include "app/qtmessagesink.h"
#include "audio/mixout.h"
#include "core/appcfg.h"
#include "platform/clock.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "tests/support/fakescreen.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"
#include "tests/unit/ui/hands.h"
#include "ui/listeevents.h"
#include "ui/look/iconbutton.h"
#include "ui/look/msgtarget.h"
#include "ui/ruleeditor.h"

namespace tonara::test {
namespace {

/// Private messages go where the main window's go.
class OperateurTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_Appcfg = CAppcfg();
    SetMsgConnector({[this](MsgTarget cible, MsgRecepteur fn) { m_sink.Connecte(cible, std::move(fn)); },
                     [this](MsgTarget cible) { m_sink.Deconnecte(cible); }});
    m_pRecepteur = std::make_unique<CMsgReceiver>([this](uint32_t uMsg, uintptr_t wParam, intptr_t /*lParam*/) {
      if (uMsg == kMsgGeneration) g_Calendrier.OnMsgGeneration(static_cast<uint32_t>(wParam));
      if (uMsg == kMsgTick) g_ListeEvents.MoveHighlight();
      if (uMsg != kMsgFinGeneration) return;
      ++m_nGenerations;
      g_Calendrier.EndGeneration();
      g_ListeEvents.Refresh();
    });
    m_dir.Write("Regles.ini", "");
    g_Grille.Load(m_dir.Dir());
    g_Calendrier.SetNotify(m_pRecepteur->Target(), kMsgTick);
    g_Calendrier.SetMessagesActifs(true);
  }
  void TearDown() override {
    g_ListeEvents.Close();
    g_Calendrier.SetMessagesActifs(false);
    g_Calendrier.m_Journee.WaitGeneration();
    g_Calendrier.EndGeneration();
    g_Calendrier.SetNotify(0, 0);
    g_Calendrier.m_Journee.PurgeEvents(false);
    g_Grille.Remplace({});
    m_pRecepteur.reset();
    SetMsgConnector({});
  }

  /// Lets the calendar tick until the condition holds.
  static bool Tourne(const std::function<bool()>& fnVrai) {
    return Attend([&] {
      g_Calendrier.Tick();
      return fnVrai();
    });
  }
  void Ouvre() {
    ASSERT_TRUE(g_ListeEvents.Open(&m_parent));
    QApplication::processEvents();
  }
  QTableView* Liste() { return m_parent.findChild<QTableView*>(); }
  int NbLignes() { return Liste()->model()->rowCount(); }
  QString Texte(int nLigne, int nColonne) { return Liste()->model()->index(nLigne, nColonne).data().toString(); }
  int Choisie() {
    const QModelIndexList vChoisies = Liste()->selectionModel()->selectedRows();
    return vChoisies.isEmpty() ? -1 : vChoisies.first().row();
  }
  int ParPage() { return Liste()->viewport()->height() / Liste()->rowHeight(0); }
  bool EnVue(int nLigne) {
    const QRect rect = Liste()->visualRect(Liste()->model()->index(nLigne, 0));
    return Liste()->viewport()->rect().contains(rect.adjusted(0, 0, -1, -1));
  }

  CTempDir m_dir;
  CFakeWave m_wave;
  CQtMessageSink m_sink;
  std::unique_ptr<CMsgReceiver> m_pRecepteur;
  QWidget m_parent;
  int m_nGenerations = 0;
};

/// A screen that tells what it can do only when the test wants it, which holds up the generation.
class CEcranLent final : public CFakeScreen {
 public:
  bool HasDirect3D() override {
    m_barriere.Passe();
    return true;
  }
  CBarriere m_barriere;
};

TEST_F(OperateurTest, AppliesWhileAGenerationRuns) {
  CEcranLent ecran;
  Rule rule;
  rule.TimeMode = 1;
  std::vector<Rule> vRules;
  for (const char* szNom : {"un.mp3", "film.mp4", "trois.mp3"}) {
    rule.Path = m_dir.Write(szNom, "");
    vRules.push_back(rule);
  }
  m_dir.Write("promo/promo.mp3", "");
  g_Grille.Remplace(vRules);
  g_Calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  ASSERT_TRUE(Tourne([&] { return ecran.m_barriere.EnAttente() == 1; }));

  Ouvre();
  EXPECT_EQ(NbLignes(), 1);  // what there is so far
  const CReponse<CRuleEditor> editeur([&](CRuleEditor* pEditeur) {
    pEditeur->AjouteDossier(m_dir / "promo");
    Tape(Controle<QLineEdit>(pEditeur, "Période"), "1");
    Bouton(pEditeur, "Appliquer")->click();
  });
  Controle<CIconButton>(Liste()->window(), "Règles des messages")->click();
  ASSERT_TRUE(g_Calendrier.m_Journee.IsGeneration());
  EXPECT_EQ(g_Grille.Copie().size(), 4U);

  // The plan under way is that of the old rules; the applied one comes with the next.
  ecran.m_barriere.Ouvre();
  EXPECT_TRUE(Tourne([this] { return m_nGenerations == 1; }));
  EXPECT_EQ(NbLignes(), 3);
  const CCivilTime avant = SystemClock().LocalTime();
  EXPECT_TRUE(Tourne([this] { return m_nGenerations == 2; }));
  ASSERT_EQ(NbLignes(), 3 + 1440);
  EXPECT_EQ(Texte(3 + 1439, 0), QStringLiteral("23:59"));
  EXPECT_EQ(Texte(3 + 1439, 2), QStringLiteral("promo"));
  // The highlight is on the next message, about the middle of the page.
  const CCivilTime apres = SystemClock().LocalTime();
  const int nTermines = 3 + avant.wHour * 60 + avant.wMinute + 1;
  if (avant.SameDate(apres) && avant.wMinute == apres.wMinute && nTermines < NbLignes()) {
    EXPECT_EQ(Choisie(), nTermines);
    EXPECT_TRUE(EnVue(Choisie()));
    EXPECT_TRUE(EnVue(std::min(Choisie() + ParPage() / 2, NbLignes() - 1)));
  }
}

TEST_F(OperateurTest, HighlightFollowsWhatIsOnTheAir) {
  g_Mixout.AddGroupe("MESSAGE", 0.0F, 0.0F);
  g_Mixout.StartSansThread(0, 10, 50, 0);
  const std::string szSon = m_dir.Write("son.wav", MakeWav({}, MakeTone(44100, 2, 16, 300)));
  CJournee& plan = g_Calendrier.m_Journee;
  plan.SetDate(SystemClock().LocalTime());
  constexpr int kFinis = 100;
  constexpr int kDus = 3;
  constexpr int kAVenir = 100;
  const CCivilTime t = SystemClock().LocalTime();
  for (int n = 0; n < kFinis + kDus; ++n) {
    // A message and the sting before it, which the list doesn't show.
    for (const int nType : {9, 1}) {
      CEvent* pEvent = plan.AddEvent(nType, t.wHour, t.wMinute, 0);
      pEvent->SetPath(szSon.c_str());
      pEvent->m_bTermine = n < kFinis;
    }
  }
  for (int n = 0; n < kAVenir; ++n) plan.AddEvent(1, 23, 59, 1)->SetPath("absent.wav");
  Ouvre();
  EXPECT_EQ(Choisie(), kFinis);
  for (int n = 0; n < kDus; ++n) {
    // Wherever the operator has gone meanwhile, at the next tick the list shows what is on the air.
    Liste()->selectRow(3);
    Liste()->scrollToTop();
    EXPECT_TRUE(Tourne([&] { return Choisie() == kFinis + n; })) << Choisie();
    EXPECT_TRUE(g_Calendrier.IsMessageEnCours());
    EXPECT_TRUE(EnVue(kFinis + n));
    EXPECT_TRUE(EnVue(kFinis + n + ParPage() / 2));
    // The sting and the message, to their ends.
    EXPECT_TRUE(Tourne([&] {
      m_wave.Play(1);
      g_Mixout.Tick();
      size_t nFinis = 0;
      plan.FindNext(false, nullptr, &nFinis);
      return nFinis > static_cast<size_t>(kFinis + n);
    }));
  }
  g_Mixout.StopAll();
  g_Mixout.Stop();
}

}  // namespace
}  // namespace tonara::test
