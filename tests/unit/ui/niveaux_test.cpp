#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QSlider>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/mixout.h"
#include "audio/pcm.h"
#include "core/appcfg.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/pcmanalysis.h"
#include "tests/support/tempdir.h"
#include "ui/look/vumeter.h"
#include "ui/mixergui.h"
#include "ui/niveauxdlg.h"

namespace tonara::test {
namespace {

constexpr QColor kFond(10, 20, 30);
constexpr QColor kBarre(40, 200, 60);

/// One bar, alone in a window, as it is painted: how many columns (rows) of it are coloured.
class CBarre final : public QWidget {
 public:
  CBarre(QSize taille, int iSens) {
    resize(taille);
    m_metre.Attach(this, rect(), kBarre, kFond, iSens);
  }
  QImage Image() {
    QImage image(size(), QImage::Format_RGB32);
    QPainter peintre(&image);
    m_metre.Peint(peintre);
    return image;
  }
  CVuMeter m_metre;
};

TEST(VuMeter, BarFollowsThePeakAndTurnsToAlarm) {
  CBarre barre({100, 10}, CVuMeter::kVersLaDroite);
  const struct {
    float fPic;
    int nLongueur;
  } cas[] = {{1.0F, 100}, {2.0F, 100}, {0.5F, 45}, {0.0F, 0}};
  for (const auto& c : cas) {
    const float fDb = GainToDb(c.fPic);
    barre.m_metre.Draw(fDb, kNiveauRepos);
    const QImage image = barre.Image();
    int n = 0;
    while (n < 100 && image.pixelColor(n, 5) != kFond) ++n;
    EXPECT_EQ(n, c.nLongueur) << "peak " << c.fPic;
    if (n > 0) {
      EXPECT_EQ(image.pixelColor(n - 1, 5), QColor(Qt::black));
    }
    if (n > 1) {
      EXPECT_EQ(image.pixelColor(0, 5), kBarre);
    }
  }
  EXPECT_FALSE(barre.m_metre.Update(-std::numeric_limits<float>::infinity(), kNiveauRepos)) << "drawn already";
  EXPECT_TRUE(barre.m_metre.Update(-10.0F, 0.0F));
  EXPECT_EQ(barre.Image().pixelColor(0, 5), QColor(255, 0, 0));
  EXPECT_TRUE(barre.m_metre.Update(-10.0F, -0.1F));
  EXPECT_EQ(barre.Image().pixelColor(0, 5), kBarre);
  barre.m_metre.Detach();
  EXPECT_FALSE(barre.m_metre.Update(-20.0F, -20.0F));
}

TEST(VuMeter, UpwardBarStandsOnItsBottom) {
  CBarre barre({10, 100}, 0);
  barre.m_metre.Draw(GainToDb(0.5F), kNiveauRepos);
  const QImage image = barre.Image();
  EXPECT_EQ(image.pixelColor(2, 99), kBarre);
  EXPECT_EQ(image.pixelColor(2, 100 - 45), QColor(Qt::black));
  EXPECT_EQ(image.pixelColor(2, 100 - 46), kFond);
  EXPECT_EQ(image.pixelColor(9, 99), kFond) << "the right edge is pulled in by one";
}

TEST(VuMeter, KeyboardComesByWhileThereIsAnAlarmToClear) {
  CZoneVuMetres zone(2, nullptr);
  int nClics = 0;
  QObject::connect(&zone, &CZoneVuMetres::Clic, [&] { ++nClics; });
  EXPECT_EQ(zone.focusPolicy(), Qt::NoFocus);
  zone.Update(1, -3.0F, 1.0F);
  EXPECT_EQ(zone.focusPolicy(), Qt::TabFocus);
  QTest::keyClick(&zone, Qt::Key_Space);
  EXPECT_EQ(nClics, 1);
  zone.Update(1, -3.0F, kNiveauRepos);
  EXPECT_EQ(zone.focusPolicy(), Qt::NoFocus);
}

class NiveauxTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_Appcfg = CAppcfg();
    g_Appcfg.m_szIniPath = m_dir / "tonara.ini";
    m_mixout.AddGroupe("MESSAGE", 0.0F, 0.0F);
    m_mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
    m_mixout.StartSansThread(0, 10, 50, 0);
  }
  void TearDown() override {
    m_panneau.Close();
    m_mixout.StopAll();
    m_mixout.Stop();
  }
  CNiveauxDlg* Dialogue() {
    for (QWidget* pFenetre : QApplication::topLevelWidgets()) {
      if (auto* pDialogue = qobject_cast<CNiveauxDlg*>(pFenetre); pDialogue && pDialogue->isVisible()) return pDialogue;
    }
    return nullptr;
  }
  /// Level of the music, in dB, of what has been mixed when all queued blocks have played.
  double Musique() {
    for (int i = 0; i < 12; ++i) {
      m_onde.Play(1);
      m_mixout.Tick();
    }
    m_onde.TakePlayed16();
    m_onde.Play(2);
    m_mixout.Tick();
    return Db(m_onde.TakePlayed16());
  }
  static double Db(const std::vector<int16_t>& pcm) {
    double fSomme = 0.0;
    for (const int16_t n : pcm) fSomme += static_cast<double>(n) * n;
    return 10.0 * std::log10(fSomme / static_cast<double>(pcm.size()));
  }

  CTempDir m_dir;
  CFakeWave m_onde;
  CMixout m_mixout;
  CMixerGUI m_panneau;
};

TEST_F(NiveauxTest, SlidersAreHeardShownAndSaved) {
  const std::string szBoucle = m_dir.Write("boucle.wav", MakeWav({}, MakeTone(44100, 2, 16, 2000, 500.0)));
  ASSERT_NE(m_mixout.PlayFichier(szBoucle, kPlayMixe, 0, 0, 0, 0, 0.0F, true, 0, 0, "MUSIQUE"), 0);
  g_Appcfg.Music = -3.7F;
  const double fPlein = Musique();
  ASSERT_TRUE(m_panneau.Open(nullptr, &m_mixout));
  EXPECT_FALSE(m_panneau.Open(nullptr, &m_mixout)) << "one panel is enough";
  CNiveauxDlg* pDialogue = Dialogue();
  ASSERT_NE(pDialogue, nullptr);

  // Whole dB, cut toward zero, and in force from the opening.
  EXPECT_EQ(m_panneau.GetValeur(CMixerGUI::kMusique), -3);
  EXPECT_NEAR(Musique(), fPlein - 3.0, 0.05);
  const QList<QSlider*> sliders = pDialogue->findChildren<QSlider*>();
  ASSERT_EQ(sliders.size(), 4);
  EXPECT_FALSE(sliders[0]->isEnabled());
  EXPECT_TRUE(sliders[1]->isEnabled());

  sliders[2]->setValue(-20);
  EXPECT_NEAR(Musique(), fPlein - 20.0, 0.05);
  const QList<QLabel*> textes = pDialogue->findChildren<QLabel*>();
  EXPECT_TRUE(std::any_of(textes.begin(), textes.end(),
                          [](const QLabel* pTexte) { return pTexte->text() == QStringLiteral("-20 dB"); }));

  // While the Autofade is in force its own slider is the one that is heard.
  m_mixout.SetEtatGroupe("MUSIQUE", 1);
  m_mixout.FadeAll(0, g_Appcfg.AutoFade, 1);
  sliders[3]->setValue(-30);
  EXPECT_NEAR(Musique(), fPlein - 30.0, 0.05);
  sliders[2]->setValue(-6);
  EXPECT_NEAR(Musique(), fPlein - 30.0, 0.05) << "the music's own level waits";
  m_mixout.SetEtatGroupe("MUSIQUE", 0);
  m_mixout.FadeAll(0, 0.0F, 0);
  EXPECT_NEAR(Musique(), fPlein - 6.0, 0.05);

  EXPECT_FALSE(m_dir.Exists("tonara.ini"));
  pDialogue->reject();
  EXPECT_FALSE(m_panneau.IsOpen());
  EXPECT_NE(m_dir.Read("tonara.ini").find("Music=-6.0"), std::string::npos);
  EXPECT_NE(m_dir.Read("tonara.ini").find("AutoFade=-30.0"), std::string::npos);
}

TEST_F(NiveauxTest, NothingToActOn) {
  EXPECT_FALSE(m_panneau.Open(nullptr, nullptr));
  EXPECT_FALSE(m_panneau.IsOpen());
  m_panneau.SetValeur(CMixerGUI::kMusique, -10);
  EXPECT_EQ(static_cast<float>(g_Appcfg.Music), 0.0F);
}

}  // namespace
}  // namespace tonara::test
