#include "tests/support/program.h"

#include <fcntl.h>
#include <glob.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace tonara::test {
namespace {

/// The library that moves a process's clock; empty if it isn't installed.
std::string Faketime() {
  std::string szPath;
  glob_t trouve{};
  if (glob("/usr/lib/*/faketime/libfaketimeMT.so.1", 0, nullptr, &trouve) == 0) szPath = trouve.gl_pathv[0];
  globfree(&trouve);
  return szPath;
}

void Dort(double fSecondes) {
  const timespec duree{static_cast<time_t>(fSecondes), static_cast<long>(std::fmod(fSecondes, 1.0) * 1e9)};
  nanosleep(&duree, nullptr);
}

}  // namespace

double RealNow() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double RealSeconds(const Instant& instant) {
  tm t{};
  t.tm_year = instant.nYear - 1900;
  t.tm_mon = instant.nMonth - 1;
  t.tm_mday = instant.nDay;
  t.tm_hour = instant.nHour;
  t.tm_min = instant.nMinute;
  t.tm_sec = instant.nSecond;
  return static_cast<double>(timegm(&t));
}

CProgram::~CProgram() {
  if (m_pid <= 0 || m_resultat) return;
  kill(m_pid, SIGKILL);
  Resultat(10.0);
}

bool CProgram::Start(const char* szProgramme) {
  const std::string szRuntime = Runtime();
  mkdir(szRuntime.c_str(), 0700);
  std::vector<std::string> environnement = {
      "PATH=/usr/local/bin:/usr/bin:/bin",
      "HOME=" + m_dir.Dir(),
      "LANG=C.UTF-8",
      "TZ=UTC0",
      m_szAffichage.empty() ? "QT_QPA_PLATFORM=offscreen" : "DISPLAY=" + m_szAffichage,
      "TONARA_AUDIO=file:" + m_dir.Dir(),
      "XDG_RUNTIME_DIR=" + szRuntime};
  // The options of a build with a sanitizer.
  for (const char* szNom : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
    const char* szValeur = std::getenv(szNom);
    if (szValeur != nullptr) environnement.push_back(std::string(szNom) + "=" + szValeur);
  }
  std::string szPrecharge = "LD_PRELOAD=" + m_szPrecharge;
  if (m_heure) {
    const std::string szFaketime = Faketime();
    if (szFaketime.empty()) return false;
    const double fSeconde = std::ceil(RealNow());
    m_fDecalage = RealSeconds(*m_heure) - fSeconde;
    char szDecalage[40];
    std::snprintf(szDecalage, sizeof szDecalage, "FAKETIME=%+.0fs", m_fDecalage);
    szPrecharge += ":" + szFaketime;
    environnement.insert(environnement.end(), {szDecalage, "DONT_FAKE_MONOTONIC=1", "FAKETIME_DONT_FAKE_MONOTONIC=1"});
    Dort(std::max(0.0, fSeconde - RealNow()));
  }
  environnement.push_back(szPrecharge);
  std::vector<char*> envp;
  envp.reserve(environnement.size() + 1);
  for (std::string& sz : environnement) envp.push_back(sz.data());
  envp.push_back(nullptr);
  std::string szNom = szProgramme;
  char* argv[] = {szNom.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, m_dir.Dir().c_str());
  const std::string szErreurs = m_dir / "stderr.txt";
  posix_spawn_file_actions_addopen(&actions, 2, szErreurs.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  const bool bLance = posix_spawn(&m_pid, szProgramme, &actions, nullptr, argv, envp.data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  m_resultat.reset();
  return bLance;
}

void CProgram::Signal(int nSignal) const {
  kill(m_pid, nSignal);
}

std::optional<int> CProgram::Resultat(double fSecondes) {
  for (const double fFin = RealNow() + fSecondes; EnVie() && RealNow() < fFin;) Pause();
  return m_resultat;
}

bool CProgram::EnVie() {
  if (m_pid <= 0 || m_resultat) return false;
  int nEtat = 0;
  if (waitpid(m_pid, &nEtat, WNOHANG) != m_pid) return true;
  m_resultat = WIFEXITED(nEtat) ? WEXITSTATUS(nEtat) : -WTERMSIG(nEtat);
  return false;
}

void CProgram::Regarde() {
  // Just after a block has been written, the file is as long as the sound that has gone out; at any
  // other moment it is shorter. So the earliest beginning that it speaks of is the right one.
  struct stat st {};
  if (stat((m_dir / "out-001.wav").c_str(), &st) != 0 || st.st_size <= 44) return;
  const double fDebut = RealNow() - static_cast<double>(st.st_size - 44) / (44100.0 * 4.0);
  if (m_fDebutSon == 0.0 || fDebut < m_fDebutSon) m_fDebutSon = fDebut;
}

void CProgram::Pause() {
  Dort(0.005);
}

}  // namespace tonara::test
