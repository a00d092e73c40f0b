// Pictures of the windows with sample content: shots FOLDER [SUFFIX [POINTS [FAMILY]]]
// QT_SCALE_FACTOR sets the scale; SUFFIX ("@2x") goes behind each file's name; POINTS is the size of the font,
// FAMILY its name.
#include <unistd.h>
#include <QApplication>
#include <QCalendarWidget>
#include <QComboBox>
#include <QDateEdit>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/warning.h"
#include "programmes/audiolignedlg.h"
#include "programmes/audioloopfiledlg.h"
#include "programmes/audioplaylistdlg.h"
#include "programmes/audioprogram.h"
#include "programmes/programmedlg.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "ui/listeevents.h"
#include "ui/look/chartedlg.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"
#include "ui/look/vumeter.h"
#include "ui/mainwindow.h"
#include "ui/mixergui.h"
#include "ui/ruleeditor.h"

namespace tonara {
namespace {

QString s_szDossier;
QString s_szSuffixe;
bool s_bTout = true;

void Photo(QWidget* pFenetre, const char* szNom) {
  // Time for what comes from other threads.
  QEventLoop boucle;
  QTimer::singleShot(300, &boucle, &QEventLoop::quit);
  boucle.exec();
  const QString szFichier =
      s_szDossier + QLatin1Char('/') + QLatin1String(szNom) + s_szSuffixe + QStringLiteral(".png");
  if (!pFenetre->grab().save(szFichier)) {
    std::fprintf(stderr, "%s can't be written\n", qPrintable(szFichier));
    s_bTout = false;
  }
}

std::vector<Rule> Exemples() {
  const std::string szMagasin = "/srv/magasin/";
  std::vector<Rule> vRules(7);
  vRules[0].Path = szMagasin + "Messages/Promotion du jour.mp3";
  vRules[0].TimeFrequency = 30;
  vRules[0].TimeBegin = 930;
  vRules[0].TimeEnd = 1830;
  vRules[0].TimeDaysMask = 126;
  vRules[1] = vRules[0];
  vRules[1].TimeMode = 1;
  vRules[1].TimeBegin = 1215;
  vRules[2].Path = szMagasin + "Messages/Fermeture du magasin.wav";
  vRules[2].TimeMode = 1;
  vRules[2].TimeBegin = 1845;
  vRules[3].Path = szMagasin + "Annonces de la semaine";
  vRules[3].Folder = true;
  vRules[3].TimeFrequency = 45;
  vRules[3].TimeBegin = 1000;
  vRules[3].TimeEnd = 1900;
  vRules[3].TimeDaysMask = 62;
  vRules[3].ValidityMode = 1;
  vRules[3].ValidityBegin = 20261201;
  vRules[3].ValidityEnd = 20261224;
  vRules[4].Path = szMagasin + "Vidéos/Nouvelle collection.mp4";
  vRules[4].TimeFrequency = 20;
  vRules[4].TimeBegin = 1000;
  vRules[4].TimeEnd = 1900;
  vRules[5].Path = szMagasin + "Affiches/Soldes.png";
  vRules[5].Enabled = false;
  vRules[6].Path = szMagasin + "Messages/Ancienne annonce.mp3";
  return vRules;
}

void Editeur() {
  SondesRegles sondes;
  sondes.fnAccessible = [](const std::string& szPath) { return szPath.find("Ancienne") == std::string::npos; };
  const auto montre = [&](std::vector<Rule> vRules, int nBas, const char* szNom) {
    CRuleEditor editeur(std::move(vRules), nullptr, sondes);
    editeur.show();
    auto* pArbre = editeur.findChild<QTreeWidget*>();
    for (int n = 0; n < nBas; ++n) {
      QKeyEvent touche(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
      QApplication::sendEvent(pArbre, &touche);
    }
    Photo(&editeur, szNom);
  };
  montre(Exemples(), 3, "rule-editor");
  std::vector<Rule> vInverses = Exemples();
  vInverses[0].TimeBegin = 1930;
  montre(vInverses, 0, "rule-editor-warning");
  montre(Exemples(), 1, "rule-editor-fixed");
  montre({}, 0, "rule-editor-empty");
}

void Plan() {
  const std::filesystem::path dossier = std::filesystem::temp_directory_path() / ("shots-" + std::to_string(getpid()));
  std::filesystem::create_directories(dossier / "Annonces");
  for (const char* szNom : {"Foie gras et champagne", "Jouets de Noël", "Carte de fidélité"}) {
    std::ofstream(dossier / "Annonces" / (std::string(szNom) + ".mp3")) << "x";
  }
  std::vector<Rule> vRules = Exemples();
  vRules.resize(4);
  vRules[3].Path = (dossier / "Annonces").string();
  for (Rule& rule : vRules) rule.TimeDaysMask = 127, rule.ValidityMode = 0;
  g_Grille.Remplace(std::move(vRules));
  CJournee& plan = g_Calendrier.m_Journee;
  plan.SetDate(SystemClock().LocalTime());
  plan.Generer(kGenerationJour);
  for (size_t n = 0; n < 20; ++n) plan.GetEventAt(n)->m_bTermine = true;
  QWidget fenetre;
  g_ListeEvents.Open(&fenetre);
  for (QWidget* pDialogue : QApplication::topLevelWidgets()) {
    if (pDialogue != &fenetre && pDialogue->isVisible()) Photo(pDialogue, "day-plan");
  }
  g_ListeEvents.Close();
  std::filesystem::remove_all(dossier);
}

/// Photographs the modal dialog that comes up next, and closes it.
void PhotoModale(const char* szNom) {
  QTimer::singleShot(300, [szNom] {
    QWidget* pDialogue = QApplication::activeModalWidget();
    if (pDialogue == nullptr) {
      s_bTout = false;
      return;
    }
    Photo(pDialogue, szNom);
    pDialogue->close();
  });
}

/// A button of a window by its text.
QPushButton* Bouton(QWidget* pFenetre, const QString& szTexte) {
  for (QPushButton* pBouton : pFenetre->findChildren<QPushButton*>()) {
    if (pBouton->text().remove(QLatin1Char('&')) == szTexte) return pBouton;
  }
  return nullptr;
}

/// The choosers show where their folder stands: SHOTS_FOLDER gives one that may be seen.
void Choix() {
  const char* szVoulu = std::getenv("SHOTS_FOLDER");
  const std::filesystem::path dossier =
      szVoulu != nullptr ? std::filesystem::path(szVoulu)
                         : std::filesystem::temp_directory_path() / ("shots-" + std::to_string(getpid()));
  const std::filesystem::path messages = dossier / "Messages";
  // So many that nothing else of the disk is in the picture.
  for (int n = 1; n <= 52; ++n)
    std::filesystem::create_directories(messages / QString::asprintf("Semaine %02d", n).toStdString());
  for (const char* szNom : {"Promotion du jour.mp3", "Fermeture du magasin.wav"})
    std::ofstream(messages / "Semaine 26" / szNom) << "x";
  std::string szOut;
  PhotoModale("file-chooser");
  ChoisirFichier(nullptr, &szOut, QStringLiteral("Tous (*.*)|*.*|"), QStringLiteral("Ajouter un message"),
                 kFichierExistant, (messages / "Semaine 26").string());
  PhotoModale("folder-browser");
  ChoisirDossier(nullptr, (messages / "Semaine 26").string(), QStringLiteral("Répertoire des messages"), &szOut);
  PhotoModale("question");
  Confirme(nullptr, QStringLiteral("Confirmez-vous la suppression de la règle ?"),
           QStringLiteral("Suppression de règles"));
  std::filesystem::remove_all(messages);
  if (szVoulu == nullptr) std::filesystem::remove_all(dossier);
}

/// Shows a dialog and photographs it.
void PhotoDe(QDialog&& dialogue, const char* szNom) {
  dialogue.show();
  Photo(&dialogue, szNom);
}

void Programmes() {
  const std::string szMusiques = "/srv/magasin/Musiques";
  PhotoDe(CAudioLoopFileDlg(szMusiques + "/Ambiance du matin.mp3", nullptr), "looped-file");
  PhotoDe(CAudioLoopFileDlg("/media/magasin/disque des musiques/Ambiances/Été 2026/Une chanson au titre assez long.mp3",
                            nullptr),
          "looped-file-long");
  PhotoDe(CAudioPlaylistDlg({szMusiques, true, false, true}, nullptr), "playlist");

  CAudioLigneDlg ligne("Null", nullptr);
  ligne.show();
  auto* pEntrees = ligne.findChild<QComboBox*>();
  while (pEntrees->count() == 0) QApplication::processEvents();
  pEntrees->setItemText(0, QStringLiteral("Audio interne Stéréo analogique"));
  ligne.findChild<CZoneVuMetres*>()->Update(0, -4.0F, -2.0F);
  ligne.findChild<CZoneVuMetres*>()->Update(1, -5.5F, -2.0F);
  Photo(&ligne, "line-input");

  // A programme whose file isn't there keeps its title on show.
  g_Appcfg.m_szIniPath = (std::filesystem::temp_directory_path() / ("shots-" + std::to_string(getpid()))).string();
  std::ofstream(g_Appcfg.m_szIniPath) << "[LoopFile]\nPathLoopFile=" << szMusiques << "/Ambiance du matin.mp3\n";
  g_Appcfg.MusicSource = kPgmLoopFile;
  StartAudioProgram();
  QWidget fenetre;
  OpenDlgProgramme(&fenetre);
  for (QWidget* pDialogue : QApplication::topLevelWidgets()) {
    if (pDialogue->windowTitle() == QLatin1String("Programme continu")) Photo(pDialogue, "programme");
  }
  CloseDlgProgramme();
  StopAudioProgram();
  std::filesystem::remove(g_Appcfg.m_szIniPath);
}

void Niveaux() {
  g_Appcfg.Music = -6.0F;
  QWidget fenetre;
  g_MixerGUI.Open(&fenetre, &g_Mixout);
  for (QWidget* pDialogue : QApplication::topLevelWidgets()) {
    if (pDialogue != &fenetre && pDialogue->isVisible()) Photo(pDialogue, "levels");
  }
  g_MixerGUI.Close();
}

void Principale() {
  CWarning avertissement;
  g_pWarning = &avertissement;
  CMainWindow fenetre;
  avertissement.SetButton(fenetre.UiAvertissement());
  fenetre.setWindowTitle(QStringLiteral("tonara 2.05a"));
  fenetre.AfficheMessagesActifs(true);
  fenetre.AfficheTextesActifs(true);
  fenetre.show();
  avertissement.SetText("Nouvelle collection.mp4 : Codec vidéo absent");
  g_Calendrier.SetMessagesActifs(true);
  g_Calendrier.Tick();
  fenetre.Rafraichit();
  auto* pMetres = fenetre.findChild<CZoneVuMetres*>();
  pMetres->Update(0, -3.0F, kNiveauRepos);
  pMetres->Update(1, -4.0F, 0.5F);
  Photo(&fenetre, "main-window-warning");
  g_pWarning = nullptr;
}

void Style() {
  const Charte charte{0xFF8040, 0xFFFFFF, 60, "DejaVu Sans"};
  CCharteDlg dialogue(charte, nullptr);
  dialogue.show();
  Photo(&dialogue, "text-style");
  PhotoModale("colour-chooser");
  Bouton(&dialogue, QStringLiteral("Couleur fond"))->click();
}

/// What comes up from fields.
void Champs() {
  const SondesRegles sondes;
  CRuleEditor editeur(Exemples(), nullptr, sondes);
  editeur.show();
  auto* pDate = editeur.findChild<QDateEdit*>();
  pDate->setDate(QDate(2026, 12, 1));
  pDate->calendarWidget()->window()->show();
  Photo(pDate->calendarWidget()->window(), "calendar");
  const std::unique_ptr<QMenu> pMenu(editeur.findChild<QLineEdit*>()->createStandardContextMenu());
  pMenu->popup({0, 0});
  Photo(pMenu.get(), "field-menu");
}

void Avis() {
  QWidget fenetre;
  fenetre.show();
  QMessageBox* pBoite = ShowBox(&fenetre,
                                QStringLiteral("Des fichiers ou répertoires ne sont plus accessibles et n'ont pas été "
                                               "pris en compte.\r\nConsulter les règles de diffusion des messages."),
                                QStringLiteral("Gérération de la programmation du jour"));
  Photo(pBoite, "notice");
  pBoite->close();
}

}  // namespace
}  // namespace tonara

int main(int argc, char** argv) {
  using namespace tonara;
  if (argc < 2) {
    std::fprintf(stderr, "shots FOLDER [SUFFIX [POINTS [FAMILY]]]\n");
    return 2;
  }
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  setenv("TONARA_AUDIO", "null", 0);
  QApplication app(argc, argv);
  ApplyLook(app);
  s_szDossier = QString::fromLocal8Bit(argv[1]);
  if (argc > 2) s_szSuffixe = QString::fromLocal8Bit(argv[2]);
  if (argc > 3) {
    QFont fonte = QApplication::font();
    fonte.setPointSize(std::atoi(argv[3]));
    if (argc > 4) fonte.setFamily(QString::fromLocal8Bit(argv[4]));
    QApplication::setFont(fonte);
  }
  Editeur();
  Plan();
  Choix();
  Programmes();
  // The panel saves the settings as it closes.
  g_Appcfg.m_szIniPath = "/dev/null";
  Niveaux();
  Avis();
  Style();
  Champs();
  Principale();
  return s_bTout ? 0 : 1;
}
