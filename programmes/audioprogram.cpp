#include "programmes/audioprogram.h"

#include <functional>
#include <optional>
#include <utility>

#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "platform/lock.h"
#include "platform/worker.h"
#include "programmes/audioligneprogram.h"
#include "programmes/audioloopfileprogram.h"
#include "programmes/audioplaylistprogram.h"

namespace tonara {
namespace {

// The manager's state: the main thread's while no change of programme is under way, else the worker's.
std::unique_ptr<CAudioProgram> g_pAudioProgram;
bool g_bAudioProgram = false;  // the programme started and has not been stopped

/// A programme that is to take the present one's place. Made on the main thread, which owns the settings.
struct Releve {
  std::unique_ptr<CAudioProgram> pProgramme;  // null: silence
  int nType = kPgmAucun;
  std::function<void(bool)> fnFini;
};

CLock g_cs;
bool g_bReleve GUARDED_BY(g_cs) = false;  // the worker is about it
std::optional<Releve> g_suivante GUARDED_BY(g_cs);
CWorker g_worker;

Releve Prepare() {
  const int nType = g_Appcfg.MusicSource;
  return {CreateAudioProgram(nType, g_Appcfg.m_szIniPath), nType, {}};
}

void Arrete() {
  // One whose start failed keeps its place and its title, but may be trying again on a thread of its own.
  if (g_pAudioProgram) g_pAudioProgram->Stop();
  if (!g_bAudioProgram) return;
  g_pAudioProgram.reset();
  g_bAudioProgram = false;
}

bool Demarre(Releve releve) {
  // A programme whose start failed may still stand here: it is replaced.
  g_pAudioProgram = std::move(releve.pProgramme);
  if (g_pAudioProgram == nullptr) {
    g_Historique.Add("*** Aucun programme audio\n");
    return false;
  }
  g_bAudioProgram = g_pAudioProgram->Start();
  if (!g_bAudioProgram) Trace(1, "Programme audio %d : pas de son\n", releve.nType);
  return g_bAudioProgram;
}

void Releves() {
  for (;;) {
    Releve releve;
    {
      CGuard guard(g_cs);
      if (!g_suivante) {
        g_bReleve = false;
        return;
      }
      releve = std::move(*g_suivante);
      g_suivante.reset();
    }
    const std::function<void(bool)> fnFini = std::move(releve.fnFini);
    Arrete();
    const bool bJoue = Demarre(std::move(releve));
    if (fnFini) fnFini(bJoue);
  }
}

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
  g_worker.Stop();
  return g_bAudioProgram || Demarre(Prepare());
}

void StopAudioProgram() {
  {
    CGuard guard(g_cs);
    g_suivante.reset();  // not begun, and not wanted any more
  }
  g_worker.Stop();
  Arrete();
}

void RelanceAudioProgram(std::function<void(bool)> fnFini) {
  Releve releve = Prepare();
  releve.fnFini = std::move(fnFini);
  {
    CGuard guard(g_cs);
    g_suivante = std::move(releve);
    if (g_bReleve) return;
    g_bReleve = true;
  }
  g_worker.Stop();  // an earlier thread, on its way out
  if (!g_worker.Start("programme", CWorker::Priority::Normal, Releves)) Releves();
}

bool IsAudioProgramActif() {
  g_worker.Stop();
  return g_bAudioProgram;
}

bool GetTitreAudioProgram(std::string* pOut) {
  {
    CGuard guard(g_cs);
    if (g_bReleve) return false;
  }
  return g_pAudioProgram && g_pAudioProgram->GetTitre(pOut);
}

CAudioProgram* GetAudioProgram() {
  g_worker.Stop();
  return g_pAudioProgram.get();
}

}  // namespace tonara
