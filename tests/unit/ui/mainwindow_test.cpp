#include "ui/mainwindow.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QImage>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>
#include <iterator>
#include <memory>
#include <thread>

#include "core/appcfg.h"
#include "schedule/calendrier.h"
#include "tests/support/fakeclock.h"
#include "tests/support/tempdir.h"
#include "ui/look/iconbutton.h"
#include "ui/look/look.h"
#include "ui/look/textbox.h"

namespace tonara::test {
namespace {

/// Counts the paint events of a widget.
class CPeintures final : public QObject {
 public:
  explicit CPeintures(QWidget* pWidget) { pWidget->installEventFilter(this); }
  bool eventFilter(QObject* pObjet, QEvent* pEvent) override {
    if (pEvent->type() == QEvent::Paint) ++m_n;
    return QObject::eventFilter(pObjet, pEvent);
  }
  int Prend() {
    QApplication::processEvents();
    return std::exchange(m_n, 0);
  }

 private:
  int m_n = 0;
};

void Touche(QWidget* pWidget, int nTouche) {
  for (const QEvent::Type eType : {QEvent::KeyPress, QEvent::KeyRelease}) {
    QKeyEvent evenement(eType, nTouche, Qt::NoModifier, nTouche == Qt::Key_Space ? QStringLiteral(" ") : QString());
    QApplication::sendEvent(pWidget, &evenement);
  }
}

class MainWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_Appcfg = CAppcfg();
    g_Appcfg.m_szIniPath = m_dir / "tonara.ini";
    g_pWarning = &m_avertissement;
    m_pFenetre = std::make_unique<CMainWindow>(m_horloge);
    m_avertissement.SetButton(m_pFenetre->UiAvertissement());
    m_pFenetre->CreeBulles();
    m_pFenetre->show();
    QApplication::processEvents();
    QObject::connect(m_pFenetre.get(), &CMainWindow::Fermeture, m_pFenetre.get(), [this] { ++m_nFermetures; });
  }
  void TearDown() override {
    m_pFenetre.reset();
    g_pWarning = nullptr;
    g_Calendrier.SetMessagesActifs(false);
  }
  /// The control that a screen reader knows under that name.
  template <class T>
  T* Controle(const char* szNom) {
    for (T* pControle : m_pFenetre->findChildren<T*>()) {
      if (pControle->accessibleName() == QString::fromUtf8(szNom)) return pControle;
    }
    ADD_FAILURE() << "no control " << szNom;
    return nullptr;
  }
  CIconButton* Bascule() { return Controle<CIconButton>("Diffusion des messages programmés"); }
  CIconButton* Avertissement() { return Controle<CIconButton>("Avertissement"); }
  CTextBox* Heure() { return Controle<CTextBox>("Heure"); }
  CTextBox* Status() { return Controle<CTextBox>("État de la programmation"); }
  QList<QMessageBox*> Boites() { return m_pFenetre->findChildren<QMessageBox*>(); }

  CTempDir m_dir;
  CFakeClock m_horloge{2026, 3, 2, 9, 5, 7};
  CWarning m_avertissement;
  std::unique_ptr<CMainWindow> m_pFenetre;
  int m_nFermetures = 0;
};

TEST_F(MainWindowTest, ToggleChangesSettingsFileAndCalendar) {
  m_pFenetre->AfficheMessagesActifs(true);
  EXPECT_FALSE(m_dir.Exists("tonara.ini"));  // showing the state saves nothing
  g_Calendrier.SetMessagesActifs(true);

  Bascule()->click();
  EXPECT_FALSE(g_Appcfg.MessagesActifs);
  EXPECT_NE(m_dir.Read("tonara.ini").find("MessagesActifs=0\n"), std::string::npos);
  g_Calendrier.Tick();
  m_pFenetre->Rafraichit();
  EXPECT_EQ(Status()->Texte(), QStringLiteral("Messages désactivés"));

  Touche(Bascule(), Qt::Key_Space);
  EXPECT_TRUE(g_Appcfg.MessagesActifs);
  EXPECT_NE(m_dir.Read("tonara.ini").find("MessagesActifs=1\n"), std::string::npos);
  g_Calendrier.Tick();
  m_pFenetre->Rafraichit();
  EXPECT_EQ(Status()->Texte(), QStringLiteral("Plus d'événement aujourd'hui"));
}

TEST_F(MainWindowTest, TheTwoStatesOfTheToggleLookDifferent) {
  m_pFenetre->AfficheMessagesActifs(true);
  const QImage on = Bascule()->grab().toImage();
  m_pFenetre->AfficheMessagesActifs(false);
  EXPECT_NE(on, Bascule()->grab().toImage());
}

TEST_F(MainWindowTest, EnterClosesFromAnyControlAndEscapeFromNone) {
  QWidget* controles[] = {m_pFenetre.get(), Bascule(), Controle<CIconButton>("Accès au site internet tonara"),
                          Status()};
  for (QWidget* pControle : controles) {
    for (const int nTouche : {Qt::Key_Return, Qt::Key_Enter}) {
      m_nFermetures = 0;
      Touche(pControle, nTouche);
      EXPECT_EQ(m_nFermetures, 1) << pControle->accessibleName().toStdString();
    }
    Touche(pControle, Qt::Key_Escape);
    EXPECT_EQ(m_nFermetures, 1);
  }
  m_nFermetures = 0;
  m_pFenetre->close();
  EXPECT_EQ(m_nFermetures, 1);
  EXPECT_TRUE(m_pFenetre->isVisible());      // until all behind it is down
  EXPECT_FALSE(m_dir.Exists("tonara.ini"));  // no key has touched the toggle
}

TEST_F(MainWindowTest, RefreshRepaintsOnlyWhatChanged) {
  m_pFenetre->Rafraichit();
  EXPECT_EQ(Heure()->Texte(), QStringLiteral("09:05:07"));
  CPeintures heure(Heure());
  CPeintures status(Status());
  CPeintures fenetre(m_pFenetre.get());
  heure.Prend(), status.Prend(), fenetre.Prend();

  m_horloge.Advance(400);
  m_pFenetre->Rafraichit();
  EXPECT_EQ(heure.Prend(), 0);
  m_horloge.Advance(600);
  m_pFenetre->Rafraichit();
  EXPECT_EQ(Heure()->Texte(), QStringLiteral("09:05:08"));
  EXPECT_EQ(heure.Prend(), 1);
  EXPECT_EQ(status.Prend(), 0);
  EXPECT_EQ(fenetre.Prend(), 0);
}

TEST_F(MainWindowTest, WarningFromAThreadShowsItsButtonOnceAndIsForgottenWhenSeen) {
  m_pFenetre->Rafraichit();
  EXPECT_FALSE(Avertissement()->isVisible());
  const QPoint placeHeure = Heure()->pos();
  std::thread([this] { m_avertissement.SetText("film.wmv : Codec vidéo absent"); }).join();
  m_pFenetre->Rafraichit();
  QApplication::processEvents();
  EXPECT_TRUE(Avertissement()->isVisible());
  EXPECT_EQ(Heure()->pos(), placeHeure);  // nothing moves to make room

  Avertissement()->click();
  ASSERT_EQ(Boites().size(), 1);
  EXPECT_EQ(Boites()[0]->windowTitle(), QStringLiteral("ATTENTION"));
  EXPECT_EQ(Boites()[0]->text(), QStringLiteral("film.wmv : Codec vidéo absent"));
  m_pFenetre->Rafraichit();
  EXPECT_FALSE(Avertissement()->isVisible());

  // A new warning while the box is still up waits for its own click.
  m_avertissement.SetText("autre.wmv : Codec vidéo absent");
  m_pFenetre->Rafraichit();
  EXPECT_TRUE(Avertissement()->isVisible());
}

TEST_F(MainWindowTest, UnattendedBoxesDoNotPileUp) {
  for (int i = 0; i < 50; ++i) m_pFenetre->AvertitFichiersManquants();
  ASSERT_EQ(Boites().size(), 1);
  EXPECT_EQ(Boites()[0]->windowTitle(), QStringLiteral("Gérération de la programmation du jour"));
  EXPECT_EQ(Boites()[0]->text(),
            QStringLiteral("Des fichiers ou répertoires ne sont plus accessibles et n'ont pas été pris en compte.\n"
                           "Consulter les règles de diffusion des messages."));
  // The operator's answer makes room for the next one.
  Boites()[0]->close();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(Boites().isEmpty());
  m_pFenetre->AvertitFichiersManquants();
  ASSERT_EQ(Boites().size(), 1);
  // And one that nobody answers goes with the window.
  const QPointer<QMessageBox> pBoite = Boites()[0];
  m_pFenetre.reset();
  EXPECT_TRUE(pBoite.isNull());
}

TEST_F(MainWindowTest, StatusShowsTwoLinesAndCutsWhatIsTooLong) {
  Status()->SetTexte(QStringLiteral("Promotion en cours\r\n(Fermeture juste après)"));
  EXPECT_TRUE(Status()->toolTip().isEmpty());
  EXPECT_GE(Status()->contentsRect().height(), 2 * Status()->fontMetrics().lineSpacing());
  const QSize taille = m_pFenetre->size();
  Status()->SetTexte(QString(200, QLatin1Char('M')) + QStringLiteral(" dans 3 s"));
  QApplication::processEvents();
  EXPECT_EQ(m_pFenetre->size(), taille);
  EXPECT_EQ(Status()->toolTip(), Status()->Texte());
  Status()->SetTexte(QStringLiteral("Messages désactivés"));
  EXPECT_TRUE(Status()->toolTip().isEmpty());
}

TEST_F(MainWindowTest, FixedSizeSharedColoursAndToolTips) {
  EXPECT_EQ(m_pFenetre->minimumSize(), m_pFenetre->maximumSize());
  EXPECT_FALSE(m_pFenetre->windowFlags() & Qt::WindowMaximizeButtonHint);
  EXPECT_TRUE(m_pFenetre->windowFlags() & Qt::WindowMinimizeButtonHint);
  const QImage image = m_pFenetre->grab().toImage();
  const auto couleur = [&](QPoint p) { return image.pixelColor(p * image.devicePixelRatio()); };
  EXPECT_EQ(couleur({3, 3}), QColor(255, 187, 17));
  EXPECT_EQ(couleur(Heure()->mapTo(m_pFenetre.get(), QPoint(4, 4))), QColor(255, 203, 76));
  EXPECT_EQ(couleur(Status()->mapTo(m_pFenetre.get(), QPoint(4, 4))), QColor(255, 203, 76));
  EXPECT_EQ(Controle<CIconButton>("Accès au site internet tonara")->toolTip(),
            QStringLiteral("Accès au site internet tonara"));
  EXPECT_EQ(Bascule()->toolTip(), QStringLiteral("Autoriser / Interdire la diffusion des messages programmés"));
  EXPECT_TRUE(m_pFenetre->testAttribute(Qt::WA_AlwaysShowToolTips));
  // Never shown, and wired.
  auto* pManuel = Controle<CIconButton>("Diffusion manuelle");
  int nDemandes = 0;
  QObject::connect(m_pFenetre.get(), &CMainWindow::DiffusionManuelle, [&] { ++nDemandes; });
  EXPECT_TRUE(pManuel->isHidden() && pManuel->parentWidget()->isHidden());
  pManuel->click();
  EXPECT_EQ(nDemandes, 1);
}

TEST_F(MainWindowTest, TabGoesThroughTheControlsInReadingOrder) {
  m_avertissement.SetText("x");
  m_pFenetre->Rafraichit();
  QWidget* const attendus[] = {Controle<CIconButton>("Accès au site internet tonara"),
                               Avertissement(),
                               Controle<CIconButton>("Régler les niveaux audio"),
                               Controle<CIconButton>("Configurer tonara"),
                               Bascule(),
                               Controle<CIconButton>("Programmer les messages"),
                               Controle<CIconButton>("Diffusion des textes défilants"),
                               Controle<CIconButton>("Gérer les textes défilants"),
                               Controle<CIconButton>("Définir le programme continu")};
  QWidget* pWidget = m_pFenetre.get();
  for (QWidget* pAttendu : attendus) {
    do {
      pWidget = pWidget->nextInFocusChain();
      ASSERT_NE(pWidget, m_pFenetre.get());
    } while ((pWidget->focusPolicy() & Qt::TabFocus) == 0);
    EXPECT_EQ(pWidget, pAttendu);
  }
}

TEST_F(MainWindowTest, ScreenReaderFindsClockAndStatus) {
  m_pFenetre->Rafraichit();
  QAccessibleInterface* pHeure = QAccessible::queryAccessibleInterface(Heure());
  ASSERT_NE(pHeure, nullptr);
  EXPECT_EQ(pHeure->role(), QAccessible::StaticText);
  EXPECT_EQ(pHeure->text(QAccessible::Name), QStringLiteral("Heure"));
  EXPECT_EQ(pHeure->text(QAccessible::Value), QStringLiteral("09:05:07"));
  QAccessibleInterface* pBascule = QAccessible::queryAccessibleInterface(Bascule());
  ASSERT_NE(pBascule, nullptr);
  EXPECT_TRUE(pBascule->state().checkable);
}

TEST(Look, FocusIsSeenOnEveryKindOfControl) {
  QWidget fenetre;
  auto* pColonne = new QVBoxLayout(&fenetre);
  QWidget* const controles[] = {new QPushButton(QStringLiteral("Tester")),
                                new QCheckBox(QStringLiteral("Lundi")),
                                new QRadioButton(QStringLiteral("Aucun")),
                                new QComboBox,
                                new QLineEdit,
                                new QDateEdit,
                                new QSlider(Qt::Horizontal),
                                new QListWidget,
                                new CIconButton(QStringLiteral("plan"), {30, 30}, nullptr)};
  for (QWidget* pControle : controles) pColonne->addWidget(pControle);
  fenetre.show();
  QApplication::setActiveWindow(&fenetre);
  const auto sombres = [](QWidget* pControle) {
    const QImage image = pControle->grab().toImage();
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) n += image.pixelColor(x, y).lightness() < 80 ? 1 : 0;
    }
    return n;
  };
  for (size_t n = 0; n < std::size(controles); ++n) {
    QWidget* pControle = controles[n];
    controles[(n + 1) % std::size(controles)]->setFocus();
    const int nSans = sombres(pControle);
    pControle->setFocus();
    ASSERT_TRUE(pControle->hasFocus()) << n;
    // A line around its text, or around itself.
    EXPECT_GT(sombres(pControle), nSans + 2 * pControle->fontMetrics().height())
        << pControle->metaObject()->className();
  }
}

TEST(Look, DrawingsAreSharpAtAnyScale) {
  for (const char* szNom : {"logo", "tonara", "toggle-on", "toggle-off", "warning"}) {
    for (const qreal fRatio : {1.0, 1.5, 2.0, 3.0}) {
      const QPixmap image = DessineIcone(QString::fromLatin1(szNom), {40, 24}, fRatio);
      ASSERT_FALSE(image.isNull()) << szNom;
      EXPECT_EQ(image.size(), (QSizeF(40, 24) * fRatio).toSize());
      EXPECT_EQ(image.deviceIndependentSize().toSize(), QSize(40, 24));
      const QImage points = image.toImage();
      int nPeints = 0;
      for (int y = 0; y < points.height(); ++y) {
        for (int x = 0; x < points.width(); ++x) nPeints += points.pixelColor(x, y).alpha() == 255 ? 1 : 0;
      }
      EXPECT_GT(nPeints, 50 * fRatio * fRatio) << szNom;
    }
  }
  EXPECT_TRUE(DessineIcone(QStringLiteral("no such drawing"), {40, 24}, 1.0).isNull());
}

}  // namespace
}  // namespace tonara::test
