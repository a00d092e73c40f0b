#include "programmes/audioloopfileprogram.h"

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "platform/paths.h"
#include "platform/profile.h"

namespace tonara {
namespace {

constexpr char kSection[] = "LoopFile";
constexpr char kKey[] = "PathLoopFile";

// Tranche of the running programme, 0 for none. Not a member: the dialog's temporary object of the
// same class must never hold the tranche that plays.
int g_dwTrancheLoop = 0;

}  // namespace

CAudioLoopFileProgram::CAudioLoopFileProgram(const std::string& szIni) {
  m_szIni = szIni;
  if (!szIni.empty()) Load(szIni);
}

bool CAudioLoopFileProgram::Start() {
  g_Historique.Add("*** Start Programme PAD audio (%s)\n", m_szPath.c_str());
  g_dwTrancheLoop =
      g_Mixout.PlayFichier(m_szPath, kPlayMixe, 0, 0, 0, 0, g_Appcfg.Music, /*bBoucle=*/true, 0, 0, "MUSIQUE");
  return g_dwTrancheLoop != 0;
}

bool CAudioLoopFileProgram::Stop() {
  if (g_dwTrancheLoop != 0) {
    g_Mixout.StopTranche(g_dwTrancheLoop);
    g_dwTrancheLoop = 0;
  }
  return true;
}

bool CAudioLoopFileProgram::Suspend(uint32_t /*nFlag*/) {
  return true;
}

bool CAudioLoopFileProgram::GetTitre(std::string* pOut) {
  if (pOut == nullptr) return false;
  *pOut = FileNameOf(m_szPath);
  return true;
}

bool CAudioLoopFileProgram::Load(const std::string& szIni) {
  m_szPath = ReadProfileString(szIni, kSection, kKey, g_szAppDir + "Demo/Loop.wav");
  return true;
}

bool CAudioLoopFileProgram::Save(const std::string& szIni) {
  std::string szErreur;
  if (WriteProfileString(szIni, kSection, kKey, m_szPath, &szErreur)) return true;
  Trace(1, "[%s] ne peut etre ecrit : %s\n", szIni.c_str(), szErreur.c_str());
  return false;
}

}  // namespace tonara
