#include "programmes/audioplaylistprogram.h"

#include <algorithm>
#include <string_view>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "core/mediatype.h"
#include "platform/paths.h"
#include "platform/profile.h"

namespace tonara {
namespace {

constexpr uint32_t kPeriodeMs = 500;
constexpr uint32_t kAmorceMs = 10;  // while the first scan runs
// Length of a cross-fade: the old track's last moments, in which it goes down to nothing.
constexpr uint32_t DUREE_FONDU = 13000;
// A list that a change has emptied is filled again this long before the next track is due.
constexpr uint32_t kAvanceMs = 2000;
// The way out of a track that is still fading when its entry is needed: shorter than a round, long
// enough not to click.
constexpr uint32_t kChasseMs = 400;
constexpr float kChasseDb = -120.0F;
// Behind so many refusals in a row, a minute of them, and all of the list twice, one file in five rounds is tried: each
// attempt leaves lines in the log, and there may be nothing to play for weeks.
constexpr int kRefusLent = 240;
constexpr uint64_t kRondesLentes = 5;
constexpr char kGroupe[] = "MUSIQUE";
constexpr char kSection[] = "AudioPlaylist";

}  // namespace

CAudioPlaylistProgram::CAudioPlaylistProgram(const std::string& szIni)
    : CAudioPlaylistProgram(szIni, g_Appcfg, g_Historique, g_Mixout, SystemClock()) {}

CAudioPlaylistProgram::CAudioPlaylistProgram(const std::string& szIni, const CAppcfg& cfg, CHistorique& historique,
                                             CMixout& mixout, CClock& clock)
    : m_cfg(cfg), m_historique(historique), m_mixout(mixout), m_clock(clock) {
  m_szIni = szIni;
  if (szIni.empty()) return;
  Load(szIni);
  constexpr std::array<int, 1> kTypes{kMediaAudio};
  m_Liste.SetDossier(m_szPath, m_bSousRep, kTypes);
}

CAudioPlaylistProgram::~CAudioPlaylistProgram() {
  CAudioPlaylistProgram::Stop();
  m_Liste.Vider();
}

bool CAudioPlaylistProgram::Load(const std::string& szIni) {
  CProfile profile;
  profile.Load(szIni);  // without a file, all defaults
  m_szPath = profile.GetString(kSection, "Path", g_szAppDir + "Musiques");
  m_bSousRep = profile.GetInt(kSection, "IncludeSubFolders", 0) != 0;
  m_bRandom = profile.GetInt(kSection, "Random", 0) != 0;
  m_bFondus = profile.GetInt(kSection, "Fondus", 1) != 0;
  return true;
}

bool CAudioPlaylistProgram::Save(const std::string& szIni) {
  CProfile profile;
  bool bPresent = false;
  std::string szErreur = "illisible";
  // A file that is there and can't be read is left alone: it holds the other sections too.
  if (profile.Load(szIni, &bPresent) || !bPresent) {
    profile.SetString(kSection, "Path", m_szPath);
    profile.SetInt(kSection, "IncludeSubFolders", m_bSousRep ? 1 : 0);
    profile.SetInt(kSection, "Random", m_bRandom ? 1 : 0);
    profile.SetInt(kSection, "Fondus", m_bFondus ? 1 : 0);
    if (profile.Save(szIni, &szErreur)) return true;
  }
  Trace(1, "[%s] ne peut etre ecrit : %s\n", szIni.c_str(), szErreur.c_str());
  return false;
}

bool CAudioPlaylistProgram::Start() {
  {
    CGuard guard(m_Lock);
    if (m_bActif) return true;
  }
  Demarre();
  m_worker.Start("playlist", CWorker::Priority::Normal, [this] {
    SemerAleatoire(static_cast<uint32_t>(m_clock.MonotonicMs()));
    Tick();
    // What the programme before this one left in the device's queue is less than a round: the first track
    // follows as soon as the folder is known. At random not before the whole of it is, within reason.
    bool bSuite = true;
    for (uint32_t t = 0; bSuite && t < kPeriodeMs && !m_Liste.IsCharge(); t += kAmorceMs) {
      bSuite = m_worker.Sleep(kAmorceMs);
    }
    for (; bSuite; bSuite = m_worker.Sleep(kPeriodeMs)) Tick();
  });
  return true;
}

void CAudioPlaylistProgram::StartSansThread() {
  Demarre();
}

void CAudioPlaylistProgram::Demarre() {
  {
    CGuard titre(m_TitreLock);
    m_szTitre.clear();
  }
  m_historique.Add("*** Start Programme Playlist\n");
  m_hChange.Open(m_szPath, m_bSousRep);
  CGuard guard(m_Lock);
  m_bChange = false;
  m_bAttend = false;
  m_nRefus = 0;
  m_iCourant = 0;
  m_llRonde = 0;
  m_fGain = m_cfg.Music;
  m_bActif = true;
}

bool CAudioPlaylistProgram::Stop() {
  {
    CGuard guard(m_Lock);
    m_bActif = false;
    m_hChange.Close();
    ArreteLocked(0);
    ArreteLocked(1);
    m_iCourant = 0;
    m_worker.RequestStop();
  }
  m_worker.Stop();
  return true;
}

bool CAudioPlaylistProgram::Suspend(uint32_t /*nFlag*/) {
  CGuard guard(m_Lock);
  return true;
}

bool CAudioPlaylistProgram::GetTitre(std::string* pOut) {
  if (pOut == nullptr) return false;
  pOut->clear();
  std::string szTitre;
  {
    CGuard guard(m_TitreLock);
    szTitre = m_szTitre;
  }
  if (szTitre.empty()) return false;
  // The list gives paths as they are on the disk, which the setting may spell in another way.
  std::string_view reste = szTitre;
  std::string szDossier = m_szPath;
  if (!reste.starts_with(szDossier)) szDossier = ResolvePath(m_szPath);
  while (!szDossier.empty() && szDossier.back() == '/') szDossier.pop_back();
  if (reste.starts_with(szDossier) && reste.substr(szDossier.size()).starts_with('/')) {
    *pOut = reste.substr(szDossier.size());
  } else {
    *pOut = "/" + std::string(FileNameOf(szTitre));
  }
  return true;
}

bool CAudioPlaylistProgram::VoitChangement() {
  CGuard guard(m_Lock);
  if (m_hChange.TakeChanged()) m_bChange = true;
  return m_bChange;
}

void CAudioPlaylistProgram::Tick() {
  if (!m_Lock.TryLock()) return;
  if (m_bActif) RondeLocked();
  m_Lock.Unlock();
}

void CAudioPlaylistProgram::RondeLocked() {
  if (m_llRonde++ == 0) {
    // The first request starts the scan. What the watch saw before it is in the scan.
    m_hChange.TakeChanged();
    SuivantLocked(0);
    return;
  }
  ChangementLocked();
  const bool bLent = m_nRefus > std::max(2 * m_Liste.GetNombre(), kRefusLent);
  Essai eEssai = Essai::Joue;
  // A track that starts in this round is not looked at before the next one.
  const int iCourant = m_iCourant;
  for (int i = 0; i < 2; ++i) {
    const auto n = static_cast<size_t>(i);
    const int nTranche = m_dwTranche[n];
    uint32_t dwReste = 0;
    const bool bPos = nTranche != 0 && m_mixout.GetPosTranche(nTranche, nullptr, &dwReste);
    if (!bPos) dwReste = 0;
    if (nTranche != 0 && dwReste == 0) ArreteLocked(i);
    if (i != iCourant) {
      if (m_llChasse[n] != 0 && m_llChasse[n] < m_llRonde) ArreteLocked(i);
      continue;
    }
    const uint32_t dwSeuil = m_bFondus ? DUREE_FONDU : 0;
    if (dwReste < dwSeuil + kAvanceMs && m_Liste.GetNombre() == 0 && m_Liste.Charger()) m_bChange = false;
    if (bLent && m_llRonde % kRondesLentes != 0) continue;
    if (m_bFondus ? dwReste < DUREE_FONDU : !bPos) eEssai = SuivantLocked(dwReste);
  }
  // One more file at once behind one that doesn't play, then the next round has its turn.
  if (eEssai == Essai::Refuse && !bLent) SuivantLocked(0);
}

// Empties a list that is older than the folder. Not while a scan runs, which would then bring only
// what it had not met yet; and not while a track waits for the list, or a folder that changes at every
// moment, because files are being copied to it, would never give one.
void CAudioPlaylistProgram::ChangementLocked() {
  if (m_hChange.TakeChanged()) m_bChange = true;
  if (!m_bChange || m_bAttend || !m_Liste.IsCharge()) return;
  m_Liste.Vider();
  m_bChange = false;
  m_nRefus = 0;
}

// Starts the next track; dwReste is what the present one has left, 0 without one. The present one is
// touched only when there is a next one.
CAudioPlaylistProgram::Essai CAudioPlaylistProgram::SuivantLocked(uint32_t dwReste) {
  // An entry that holds nothing is taken as it is: after a refused file the other one may still fade.
  const bool bVide = m_dwTranche[static_cast<size_t>(m_iCourant)] == 0;
  const int iPlace = bVide ? m_iCourant : 1 - m_iCourant;
  if (!bVide && !LiberePlaceLocked(iPlace, dwReste > 0)) return Essai::Joue;
  std::string szFichier;
  const bool bScan = !m_Liste.IsCharge();
  if (!m_Liste.GetSuivant(&szFichier, m_bRandom)) {
    m_bAttend = true;
    // A scan that starts only now knows of every change so far.
    if (!bScan) m_bChange = false;
    return Essai::PasDeFichier;
  }
  m_bAttend = false;
  if (!bVide) m_mixout.FinTranche(m_dwTranche[static_cast<size_t>(m_iCourant)], DUREE_FONDU);
  m_iCourant = iPlace;
  return JoueLocked(iPlace, szFichier);
}

// Makes room in an entry whose track is still fading, which happens behind files shorter than a fade.
// With time to spare it goes out over a part of this round, and false asks to come again in the next.
bool CAudioPlaylistProgram::LiberePlaceLocked(int iPlace, bool bAttendre) {
  const auto n = static_cast<size_t>(iPlace);
  if (m_dwTranche[n] == 0) return true;
  if (bAttendre && (m_llChasse[n] == 0 || m_llChasse[n] == m_llRonde)) {
    if (m_llChasse[n] == 0) m_mixout.FadeTranche(m_dwTranche[n], kChasseMs, kChasseDb, 1);
    m_llChasse[n] = m_llRonde;
    return false;
  }
  ArreteLocked(iPlace);
  return true;
}

CAudioPlaylistProgram::Essai CAudioPlaylistProgram::JoueLocked(int iPlace, const std::string& szFichier) {
  {
    CGuard titre(m_TitreLock);
    m_szTitre = szFichier;
  }
  // One line per file, before it plays. Once the whole list has been refused, only for one that does:
  // the attempts go on twice a second, for days if need be, and must not fill the disk.
  const bool bMuet = m_nRefus > std::max(m_Liste.GetNombre(), 2);
  if (!bMuet) m_historique.Add("%s (Playlist)\n", szFichier.c_str());
  const int nTranche =
      m_mixout.PlayFichier(szFichier, kPlayMixe, 0, 0, 0, 0, m_fGain, /*bBoucle=*/false, 0, 0, kGroupe);
  m_dwTranche[static_cast<size_t>(iPlace)] = nTranche;
  if (nTranche == 0) {
    ++m_nRefus;
    // A list with files that are gone is old, even if no change was told: an open file of a deleted
    // folder keeps the kernel from telling, and a network share never does.
    if (!PathExists(szFichier)) m_bChange = true;
    return Essai::Refuse;
  }
  if (bMuet) m_historique.Add("%s (Playlist)\n", szFichier.c_str());
  m_nRefus = 0;
  return Essai::Joue;
}

void CAudioPlaylistProgram::ArreteLocked(int iPlace) {
  const auto n = static_cast<size_t>(iPlace);
  if (m_dwTranche[n] != 0) m_mixout.StopTranche(m_dwTranche[n]);
  m_dwTranche[n] = 0;
  m_llChasse[n] = 0;
}

}  // namespace tonara
