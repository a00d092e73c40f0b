#include "programmes/audioprogram.h"

#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "programmes/audioligneprogram.h"
#include "programmes/audioloopfileprogram.h"
#include "programmes/audioplaylistprogram.h"

namespace tonara {
namespace {

// The manager's state. Main thread only, so there is no lock.
std::unique_ptr<CAudioProgram> g_pAudioProgram;
bool g_bAudioProgram = false;  // the programme started and has not been stopped

}  // namespace

std::unique_ptr<CAudioProgram> CreateAudioProgram(int nType, const std::string& szIni) {
  switch (nType) {
    case kPgmLigne:
      return std::make_unique<CAudioLigneProgram>(szIni);
    case kPgmLoopFile:
      return std::make_unique<CAudioLoopFileProgram>(szIni);
    case kPgmPlaylist:
      return std::make_unique<CAudioPlaylistProgram>(szIni);
    default:
      return nullptr;
  }
}

bool StartAudioProgram() {
  if (g_bAudioProgram) return true;
  // A programme whose start failed may still stand here: it is replaced.
  g_pAudioProgram = CreateAudioProgram(g_Appcfg.MusicSource, g_Appcfg.m_szIniPath);
  if (g_pAudioProgram == nullptr) {
    g_Historique.Add("*** Aucun programme audio\n");
    return false;
  }
  g_bAudioProgram = g_pAudioProgram->Start();
  if (!g_bAudioProgram) Trace(1, "Programme audio %d : pas de son\n", g_Appcfg.MusicSource);
  return g_bAudioProgram;
}

void StopAudioProgram() {
  if (!g_bAudioProgram) {
    // One whose start failed keeps its place and its title, but may be trying again on a thread of its own.
    if (g_pAudioProgram) g_pAudioProgram->Stop();
    return;
  }
  g_pAudioProgram->Stop();
  g_pAudioProgram.reset();
  g_bAudioProgram = false;
}

bool IsAudioProgramActif() {
  return g_bAudioProgram;
}

CAudioProgram* GetAudioProgram() {
  return g_pAudioProgram.get();
}

}  // namespace tonara
