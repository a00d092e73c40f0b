#include "tests/e2e/affichage.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/program.h"

namespace tonara::test {
namespace {

constexpr double kDelai = 20.0;  // for what takes a moment on a machine at rest

template <class Condition>
bool Jusque(double fSecondes, Condition condition) {
  for (const double fFin = RealNow() + fSecondes; !condition();) {
    if (RealNow() > fFin) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

/// Starts a program found in PATH, fdSortie being its descriptor nSortie; its other output is lost.
pid_t Lance(std::vector<std::string> vArguments, std::vector<std::string> vEnvironnement, int fdSortie, int nSortie) {
  const auto pointeurs = [](std::vector<std::string>& v) {
    std::vector<char*> vPointeurs;
    vPointeurs.reserve(v.size() + 1);
    for (std::string& sz : v) vPointeurs.push_back(sz.data());
    vPointeurs.push_back(nullptr);
    return vPointeurs;
  };
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  if (fdSortie >= 0) posix_spawn_file_actions_adddup2(&actions, fdSortie, nSortie);
  pid_t pid = -1;
  const bool bLance = posix_spawnp(&pid, vArguments[0].c_str(), &actions, nullptr, pointeurs(vArguments).data(),
                                   pointeurs(vEnvironnement).data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  return bLance ? pid : -1;
}

/// What a pipe holds up to its end, or up to the end of its first line.
std::string Lit(int fd, bool bUneLigne) {
  std::string szTexte;
  for (char c = 0; read(fd, &c, 1) == 1 && !(bUneLigne && c == '\n');) szTexte += c;
  while (szTexte.ends_with('\n')) szTexte.pop_back();
  return szTexte;
}

void Termine(pid_t* pPid) {
  if (*pPid <= 0) return;
  kill(*pPid, SIGKILL);
  waitpid(*pPid, nullptr, 0);
  *pPid = -1;
}

}  // namespace

CAffichage::~CAffichage() {
  Termine(&m_pidFenetres);
  Termine(&m_pidServeur);
}

bool CAffichage::Possible() {
  for (const char* szNom : {"Xvfb", "openbox", "xdotool", "setpriv"}) {
    bool bTrouve = false;
    for (const char* szDossier : {"/usr/local/bin/", "/usr/bin/", "/bin/"}) {
      bTrouve = bTrouve || std::filesystem::exists(std::string(szDossier) + szNom);
    }
    if (!bTrouve) return false;
  }
  return true;
}

std::vector<std::string> CAffichage::Environnement() const {
  return {"PATH=/usr/local/bin:/usr/bin:/bin", "HOME=/nonexistent", "LC_ALL=C.UTF-8", "DISPLAY=" + m_szNom};
}

bool CAffichage::Demarre() {
  int fd[2];
  if (pipe2(fd, O_CLOEXEC) != 0) return false;
  // No repeated keys, however long a loaded machine holds up the release of one; and the display stays as
  // it is when the last window of one program goes.
  m_pidServeur = Lance({"setpriv", "--pdeathsig", "KILL", "Xvfb", "-displayfd", "3", "-screen", "0", "1280x960x24",
                        "-nolisten", "tcp", "-r", "-noreset"},
                       Environnement(), fd[1], 3);
  close(fd[1]);
  const std::string szNumero = Lit(fd[0], true);
  close(fd[0]);
  if (szNumero.empty()) return false;
  m_szNom = ":" + szNumero;
  m_pidFenetres = Lance({"setpriv", "--pdeathsig", "KILL", "openbox"}, Environnement(), -1, 0);
  // Windows that are shown while the window manager begins can be lost. Once it does what it is asked,
  // its loop runs.
  return m_pidFenetres > 0 && Jusque(kDelai, [this] {
           Commande({"set_num_desktops", "2"});
           return Commande({"get_num_desktops"}) == "2";
         });
}

std::string CAffichage::Commande(std::vector<std::string> vArguments) const {
  int fd[2];
  if (pipe2(fd, O_CLOEXEC) != 0) return {};
  vArguments.insert(vArguments.begin(), "xdotool");
  const pid_t pid = Lance(std::move(vArguments), Environnement(), fd[1], 1);
  close(fd[1]);
  std::string szTexte = Lit(fd[0], false);
  close(fd[0]);
  int nEtat = 0;
  if (pid <= 0 || waitpid(pid, &nEtat, 0) != pid || nEtat != 0) return {};
  return szTexte;
}

std::string CAffichage::Cherche(const std::string& szTitre) const {
  const std::string szFenetres = Commande({"search", "--onlyvisible", "--name", "^" + szTitre + "$"});
  return szFenetres.substr(0, szFenetres.find('\n'));
}

std::string CAffichage::Fenetre(const std::string& szTitre) {
  std::string szFenetre;
  double fDemande = RealNow() + 0.5;  // a new window gets the keyboard by itself
  const bool bActive = Jusque(kDelai, [&] {
    szFenetre = Cherche(szTitre);
    if (szFenetre.empty()) return false;
    if (Commande({"getwindowfocus"}) == szFenetre) return true;
    if (RealNow() > fDemande) {
      Commande({"windowactivate", szFenetre});
      fDemande = RealNow() + 0.5;
    }
    return false;
  });
  return bActive ? szFenetre : std::string();
}

void CAffichage::Touches(const std::vector<std::string>& vTouches) const {
  std::vector<std::string> vArguments{"key"};
  vArguments.insert(vArguments.end(), vTouches.begin(), vTouches.end());
  Commande(std::move(vArguments));
}

void CAffichage::Tape(const std::string& szTexte) const {
  Commande({"type", szTexte});
}

}  // namespace tonara::test
