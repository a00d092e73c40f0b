// Process entry.

#include <QApplication>
#include <QGuiApplication>
#include <QLocale>
#include <QScreen>
#include <QSessionManager>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/application.h"
#include "app/signals.h"
#include "core/appcfg.h"
#include "core/log.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/singleinstance.h"
#include "platform/wavedevice.h"
#include "ui/look/look.h"

namespace {

constexpr int kFinPrematuree = 0;  // there is another instance

bool Defini(const char* szVariable) {
  const char* szValeur = std::getenv(szVariable);
  return szValeur != nullptr && *szValeur != '\0';
}

// Which display to take when the environment doesn't say it, as Qt's argument "-platform" wants it. Each
// list ends with the platform that needs none: a shop without a screen, or whose display server isn't up,
// is to have its music all the same.
const char* Affichages() {
  if (Defini("DISPLAY")) {
    // Also under a Wayland session, through its X server: only there does a window know its place.
    return Defini("WAYLAND_DISPLAY") ? "xcb;wayland;offscreen" : "xcb;offscreen";
  }
  return Defini("WAYLAND_DISPLAY") ? "wayland;offscreen" : "offscreen";
}

std::vector<tonara::MonitorSize> Ecrans() {
  std::vector<tonara::MonitorSize> vEcrans;
  for (const QScreen* pEcran : QGuiApplication::screens()) {
    vEcrans.push_back({pEcran->geometry().width(), pEcran->geometry().height()});
  }
  return vEcrans;
}

// What Qt has to say goes to the session log too. Two remarks of every start without a display or
// without a log-in session are no news to anybody.
void AvisDeQt(QtMsgType eType, const QMessageLogContext& /*contexte*/, const QString& szTexte) {
  if (eType == QtDebugMsg || szTexte.startsWith(QLatin1String("This plugin does not support propagateSizeHints")) ||
      szTexte.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set"))) {
    return;
  }
  const QByteArray ligne = szTexte.toUtf8();
  std::fprintf(stderr, "%s\n", ligne.constData());
  tonara::Trace(1, "Qt : %s\n", ligne.constData());
  // After a fatal message Qt aborts the process by itself.
}

void AvisDuSon(const char* szTexte) {
  tonara::Trace(1, "%s\n", szTexte);
}

}  // namespace

int main() {
  const uint64_t llLancementMs = tonara::SystemClock().MonotonicMs();
  const bool bAffichageImpose = Defini("QT_QPA_PLATFORM");
  qInstallMessageHandler(AvisDeQt);

  // First of all, because reading the settings asks for the screens. The program itself reads no
  // argument; what Qt gets is ours. Qt keeps the references and changes what they refer to.
  std::string szNom = "tonara";
  std::string szOption = "-platform";
  std::string szAffichages = Affichages();
  char* qtArgv[] = {szNom.data(), szOption.data(), szAffichages.data(), nullptr};
  int nQtArgc = bAffichageImpose ? 1 : 3;
  if (bAffichageImpose) qtArgv[1] = nullptr;
  QApplication application(nQtArgc, qtArgv);
  QApplication::setQuitOnLastWindowClosed(false);
  // The texts of the windows are French; numbers in files are not.
  QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
  std::setlocale(LC_NUMERIC, "C");
  if (!bAffichageImpose && QGuiApplication::platformName() == QLatin1String("offscreen")) {
    std::fputs("tonara : pas d'affichage, la fenêtre n'est pas montrée\n", stderr);
  }

  tonara::SetWaveNotice(AvisDuSon);
  tonara::g_szAppDir = tonara::CurrentDirWithSlash();
  tonara::CAppcfg::SetMonitorSource(Ecrans);
  tonara::g_Appcfg.Load(tonara::g_szAppDir);
  tonara::CSingleInstance instance;
  if (!instance.Acquire("tonara_MUTEX")) return kFinPrematuree;

  tonara::ApplyLook(application);
  tonara::CApplication tonara;
  tonara::CSignals signaux([&tonara] { tonara.Ferme(); });
  // End of the desktop's session. It goes on without waiting for our event loop, so all is taken down here.
  QObject::connect(
      &application, &QGuiApplication::commitDataRequest, &tonara, [&tonara] { tonara.Ferme(); }, Qt::DirectConnection);
  tonara.Start(llLancementMs);
  QApplication::exec();
  tonara.Stop();
  return tonara::kFinNormale;
}
