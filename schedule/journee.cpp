#include "schedule/journee.h"

#include <algorithm>
#include <new>
#include <thread>
#include <unordered_map>
#include <utility>

#include "core/appcfg.h"
#include "core/log.h"
#include "core/mediatype.h"
#include "platform/clock.h"
#include "platform/disque.h"
#include "platform/paths.h"
#include "schedule/creneaux.h"
#include "schedule/grille.h"
#include "video/contentlistmngr.h"
#include "video/ecran.h"

namespace tonara {
namespace {

/// Slots between two looks at the stop flag, at which the thread also gives its time slice away.
constexpr int kCreneauxParTour = 256;
constexpr uint32_t kPatienceCourteMs = 500;  // for further disks, once one has kept the plan waiting
constexpr uint32_t kTourDisqueMs = 50;       // between two looks whether the plan is still wanted

uint32_t Date(uint32_t dwAnnee, uint32_t dwMois, uint32_t dwJour) {
  return (dwAnnee * 100 + dwMois) * 100 + dwJour;
}

/// Days from a fixed origin to a packed date: only differences count.
int64_t NumeroJour(uint32_t dwDate) {
  // Days of the proleptic Gregorian calendar, years counted from March.
  const int64_t nMois = dwDate / 100 % 100;
  const int64_t y = static_cast<int64_t>(dwDate / 10000) - (nMois <= 2 ? 1 : 0);
  const int64_t m = (nMois + 9) % 12;
  return y * 365 + y / 4 - y / 100 + y / 400 + (m * 153 + 2) / 5 + dwDate % 100;
}

}  // namespace

CJournee::CJournee(CClock& clock, CGrille& grille, EventContext& context)
    : m_clock(clock), m_grille(grille), m_context(context) {}

CJournee::~CJournee() {
  m_worker.Stop();
}

void CJournee::SetDate(const CCivilTime& stDate) {
  m_wAnnee = stDate.wYear;
  m_wMois = stDate.wMonth;
  m_wJour = stDate.wDay;
  m_wJourSemaine = stDate.wDayOfWeek;
}

uint32_t CJournee::DateDemandee() const {
  return Date(m_wAnnee, m_wMois, m_wJour);
}

bool CJournee::StartGeneration(MsgTarget hWnd, uint32_t uMsgFin, uint32_t nMode) {
  if (m_bGeneration) return false;
  m_worker.Stop();  // one that has posted its end may still be on its way out
  m_hWndNotif = hWnd;
  m_uMsgFin = uMsgFin;
  LireReglages();
  m_bGeneration = true;
  const bool bLancee = m_worker.Start("generation", CWorker::Priority::Normal, [this, nMode] {
    const bool bEntiere = Derouler(nMode);
    m_bGeneration = false;
    if (bEntiere && !PostMsg(m_hWndNotif, m_uMsgFin, 0, 0) && m_fnFinPerdue) m_fnFinPerdue();
  });
  if (!bLancee) m_bGeneration = false;
  return bLancee;
}

void CJournee::Generer(uint32_t nMode) {
  LireReglages();
  m_bGeneration = true;
  Derouler(nMode);
  m_bGeneration = false;
}

void CJournee::WaitGeneration() {
  m_worker.Stop();
  m_bGeneration = false;
}

void CJournee::LireReglages() {
  // Here and not in the generation thread: the settings' texts may be written on the main thread.
  const CAppcfg& cfg = *m_context.pCfg;
  m_virgules.bAvant = cfg.VirguleAvant;
  m_virgules.bEntre = cfg.VirguleEntre;
  m_virgules.Avant = CFichierPrevu(cfg.PathVirguleAvant);
  m_virgules.Entre = CFichierPrevu(cfg.PathVirguleEntre);
}

// ---- generation

bool CJournee::Derouler(uint32_t nMode) {
  SemerAleatoire(static_cast<uint32_t>(m_clock.MonotonicMs()));
  const uint32_t dwDate = DateDemandee();
  if (nMode == kGenerationJour && m_dwDatePlan == dwDate) {
    // A full generation saw the new day first, or the date went away and came back while a message
    // played: this plan is the day's, and making it again would play what it has played.
    m_bFichiersManquants = false;
    return true;
  }

  Servis servis{};
  if (nMode != kGenerationJour && m_dwDatePlan == dwDate) {
    nMode = kGenerationComplete;  // whatever it was asked with: this day has had its beginning
    servis = DejaServis();
  }
  m_dwDatePlan = 0;
  PurgeEvents(nMode == kGenerationJour);
  if (nMode == kGenerationJour) Reporter();
  m_bFichiersManquants = false;

  size_t nRegle = 0;
  size_t nMuets = 0;  // rules whose disk gave no answer
  for (const Rule& rule : m_grille.Copie()) {
    if (m_worker.StopRequested()) return false;
    ++nRegle;
    if (!rule.Enabled) continue;
    if (!DisqueRepond(rule, nMuets == 0)) {
      if (m_worker.StopRequested()) return false;
      ++nMuets;
      m_bFichiersManquants = true;
      Trace(1, "Règle %zu : le disque ne répond pas : %s\n", nRegle, rule.Path.c_str());
      continue;
    }
    if (!PathExists(rule.Path)) {
      m_bFichiersManquants = true;
      Trace(1, "Règle %zu : inaccessible : %s\n", nRegle, rule.Path.c_str());
    }
    if (!EstDuJour(rule)) continue;
    try {
      if (!(rule.Folder ? DeroulerDossier(rule, nRegle) : DeroulerRegle(rule, nRegle))) return false;
    } catch (const std::bad_alloc&) {
      Trace(1, "Règle %zu : mémoire insuffisante\n", nRegle);
    }
  }
  SortEvents();
  if (nMode == kGenerationComplete) MarkOverdue();
  MarquerServis(servis);
  m_dwDatePlan = dwDate;
  return true;
}

// No event is fired while a plan is made: a network drive that has gone must cost its own rules, not the day.
bool CJournee::DisqueRepond(const Rule& rule, bool bPatient) {
  CQuestionDisque question(rule.Path, rule.Folder);
  const uint32_t dwPatience = bPatient ? CQuestionDisque::kMorteMs : kPatienceCourteMs;
  for (uint32_t dwMs = 0; dwMs < dwPatience; dwMs += kTourDisqueMs) {
    if (question.Attend(kTourDisqueMs)) return true;
    if (m_worker.StopRequested()) return false;
  }
  return false;
}

bool CJournee::EstDuJour(const Rule& rule) const {
  // Packed dates compare like year, month, day in turn.
  const uint32_t dwDate = DateDemandee();
  if (rule.ValidityMode == 1 && (dwDate < rule.ValidityBegin || dwDate > rule.ValidityEnd)) return false;
  return (rule.TimeDaysMask >> m_wJourSemaine & 1U) != 0;
}

CJournee::Diffusable CJournee::Examiner(const std::string& szPath) {
  Diffusable fichier;
  fichier.Fichier = CFichierPrevu(szPath);
  fichier.nType = GetMediaType(szPath);
  fichier.bJouable = CanPlay(szPath);
  return fichier;
}

bool CJournee::DeroulerRegle(const Rule& rule, size_t nRegle) {
  const Diffusable fichier = Examiner(rule.Path);
  if (!fichier.bJouable) return true;
  int nTour = 0;
  return ParcourirCreneaux(rule, nRegle, [&](uint16_t wHeure, uint16_t wMinute) {
    {
      const CGuard guard(m_cs);
      AddMessageLocked(wHeure, wMinute, fichier);
    }
    if (++nTour % kCreneauxParTour != 0) return true;
    std::this_thread::yield();
    return !m_worker.StopRequested();
  });
}

bool CJournee::DeroulerDossier(const Rule& rule, size_t nRegle) {
  if (rule.DirSelectMode != 0) return true;
  CContentListMngr liste;
  constexpr int kTypes[] = {kMediaImage, kMediaVideo, kMediaAudio};
  liste.SetDossier(rule.Path, false, kTypes);
  liste.Charger();
  for (uint32_t dwPause = 1; !liste.IsCharge(); dwPause = std::min(dwPause * 2, 20U)) {
    if (!m_worker.Sleep(dwPause)) return false;
  }
  if (liste.GetNombre() == 0) return true;  // asking an empty list would scan again at each slot

  std::unordered_map<std::string, Diffusable> vus;
  int nTour = 0;
  return ParcourirCreneaux(rule, nRegle, [&](uint16_t wHeure, uint16_t wMinute) {
    std::string path;
    if (liste.GetSuivant(&path, true)) {
      auto it = vus.find(path);
      if (it == vus.end()) it = vus.emplace(path, Examiner(path)).first;
      if (it->second.bJouable) {
        const CGuard guard(m_cs);
        AddMessageLocked(wHeure, wMinute, it->second);
      }
    }
    if (++nTour % kCreneauxParTour != 0) return true;
    std::this_thread::yield();
    return !m_worker.StopRequested();
  });
}

void CJournee::Reporter() {
  const uint32_t dwDate = DateDemandee();
  const CGuard guard(m_cs);
  size_t nPerdus = 0;
  const auto garde = [&](const std::unique_ptr<CEvent>& pEvent) {
    const bool bDejaReporte = pEvent->m_stHeure.wYear == 0;
    // The clock was set back: this generation plans that event again, or that of a day still to come.
    if (pEvent->m_dwOrigine >= dwDate) return false;
    // Where more is planned than a day can play, or messages stay off for weeks, what waits would grow for
    // ever: an event that has waited through a whole day gives up.
    if (bDejaReporte && NumeroJour(dwDate) - NumeroJour(pEvent->m_dwOrigine) > 1) {
      ++nPerdus;
      return false;
    }
    return true;
  };
  m_vEvents.erase(std::stable_partition(m_vEvents.begin(), m_vEvents.end(), garde), m_vEvents.end());
  uint32_t dwRang = 0;
  for (const auto& pEvent : m_vEvents) {
    pEvent->m_stHeure = CCivilTime{};
    pEvent->m_wOrdre = dwRang++;
  }
  ReprendreListeLocked();
  if (nPerdus != 0) Trace(1, "%zu événements en retard de plus d'un jour abandonnés\n", nPerdus);
}

CJournee::Servis CJournee::DejaServis() {
  const int nMaintenant = m_clock.LocalTime().SecondsOfDay();
  Servis servis{};
  const CGuard guard(m_cs);
  for (const auto& pEvent : m_vEvents) {
    const size_t nMinute = static_cast<size_t>(pEvent->Secondes() / 60);
    const bool bReporte = pEvent->m_stHeure.wYear == 0;
    if (!pEvent->m_bDemarre || bReporte || pEvent->Secondes() < nMaintenant || nMinute >= servis.size()) continue;
    servis[nMinute] = std::max(servis[nMinute], pEvent->m_wOrdre + 1);
  }
  return servis;
}

void CJournee::MarquerServis(const Servis& servis) {
  if (std::all_of(servis.begin(), servis.end(), [](uint32_t n) { return n == 0; })) return;
  const CGuard guard(m_cs);
  for (const auto& pEvent : m_vEvents) {
    const size_t nMinute = static_cast<size_t>(pEvent->Secondes() / 60);
    if (nMinute >= servis.size() || pEvent->m_wOrdre >= servis[nMinute]) continue;
    // It stands for the one that was played, also before the next generation.
    pEvent->m_bDemarre = true;
    pEvent->m_bTermine = true;
  }
}

// ---- the list

uint32_t& CJournee::CompteLocked(uint16_t wHeure, uint16_t wMinute) {
  if (wHeure < 24 && wMinute < 60) return m_nParMinute[wHeure * 60U + wMinute];
  return m_nAilleurs[uint32_t{wHeure} << 16 | wMinute];
}

CEvent* CJournee::AddEventLocked(int nType, uint16_t wHeure, uint16_t wMinute, uint32_t wOrdre) {
  std::unique_ptr<CEvent> pEvent = CreeEvent(nType, m_context);
  if (!pEvent) return nullptr;
  CCivilTime& st = pEvent->m_stHeure;
  st.wYear = m_wAnnee;
  st.wMonth = m_wMois;
  st.wDay = m_wJour;
  st.wHour = wHeure;
  st.wMinute = wMinute;
  pEvent->m_dwOrigine = DateDemandee();
  pEvent->m_wOrdre = wOrdre;
  m_vEvents.push_back(std::move(pEvent));
  ++CompteLocked(wHeure, wMinute);
  return m_vEvents.back().get();
}

CEvent* CJournee::AddEvent(int nType, uint16_t wHeure, uint16_t wMinute, uint32_t wOrdre) {
  const CGuard guard(m_cs);
  return AddEventLocked(nType, wHeure, wMinute, wOrdre);
}

void CJournee::AddMessageLocked(uint16_t wHeure, uint16_t wMinute, const Diffusable& fichier) {
  const uint32_t& dwNombre = CompteLocked(wHeure, wMinute);
  const bool bPremier = dwNombre == 0;
  if (bPremier ? m_virgules.bAvant : m_virgules.bEntre) {
    CEvent* pVirgule = AddEventLocked(kEventVirgule, wHeure, wMinute, dwNombre);
    if (pVirgule != nullptr) pVirgule->SetFichier(bPremier ? m_virgules.Avant : m_virgules.Entre);
  }
  CEvent* pEvent = AddEventLocked(fichier.nType, wHeure, wMinute, dwNombre);
  if (pEvent != nullptr) pEvent->SetFichier(fichier.Fichier);
}

void CJournee::AddMessage(uint16_t wHeure, uint16_t wMinute, const std::string& szPath) {
  LireReglages();
  Diffusable fichier;
  fichier.Fichier = CFichierPrevu(szPath);
  fichier.nType = GetMediaType(szPath);
  const CGuard guard(m_cs);
  AddMessageLocked(wHeure, wMinute, fichier);
}

bool CJournee::CanPlay(const std::string& szPath) {
  bool bVideo = false;
  if (!IsVisualMedia(szPath, &bVideo)) return true;
  const CEcranPris ecran;
  if (!ecran) return false;
  return !bVideo || ecran->HasDirect3D();
}

int CJournee::CountAt(uint16_t wHeure, uint16_t wMinute) {
  const CGuard guard(m_cs);
  if (wHeure < 24 && wMinute < 60) return static_cast<int>(m_nParMinute[wHeure * 60U + wMinute]);
  const auto it = m_nAilleurs.find(uint32_t{wHeure} << 16 | wMinute);
  return it == m_nAilleurs.end() ? 0 : static_cast<int>(it->second);
}

CEvent* CJournee::GetEventAt(size_t nIndex) {
  const CGuard guard(m_cs);
  return nIndex < m_vEvents.size() ? m_vEvents[nIndex].get() : nullptr;
}

bool CJournee::GetEventInfo(size_t nIndex, bool* pbCache, uint16_t* pwHeure, uint16_t* pwMinute, std::string* pType,
                            std::string* pNom) {
  const CGuard guard(m_cs);
  if (nIndex >= m_vEvents.size()) return false;
  CEvent& event = *m_vEvents[nIndex];
  if (pbCache != nullptr) *pbCache = event.m_bCache;
  if (pwHeure != nullptr) *pwHeure = event.m_stHeure.wHour;
  if (pwMinute != nullptr) *pwMinute = event.m_stHeure.wMinute;
  if (pType != nullptr) event.GetTypeName(pType);
  if (pNom != nullptr) event.GetFileName(pNom);
  return true;
}

bool CJournee::FindNext(bool bTous, size_t* pnIndex, size_t* pnAvant) {
  const CGuard guard(m_cs);
  // Finished events stay finished, so each is walked over once in the day, not at each tick.
  Curseur& curseur = bTous ? m_curTous : m_curVisibles;
  bool bTrouve = false;
  for (; curseur.nIndex < m_vEvents.size(); ++curseur.nIndex) {
    const CEvent& event = *m_vEvents[curseur.nIndex];
    if (!bTous && event.m_bCache) continue;
    bTrouve = !event.m_bTermine;
    if (bTrouve) break;
    ++curseur.nAvant;
  }
  if (pnIndex != nullptr) *pnIndex = curseur.nIndex;
  if (pnAvant != nullptr) *pnAvant = curseur.nAvant;
  return bTrouve;
}

void CJournee::SortEvents() {
  const CGuard guard(m_cs);
  // Nearly always the events of each minute stand in the order of their numbers already, rule by rule:
  // then one counting pass over the minutes sorts the plan in linear time.
  std::array<uint32_t, 24 * 60> dernier{};
  std::array<uint32_t, 24 * 60> suivant{};
  bool bParMinute = true;
  for (const auto& pEvent : m_vEvents) {
    const uint32_t nMinute = pEvent->m_stHeure.wHour * 60U + pEvent->m_stHeure.wMinute;
    if (pEvent->m_stHeure.wMinute > 59 || nMinute >= dernier.size() || pEvent->m_wOrdre < dernier[nMinute]) {
      bParMinute = false;
      break;
    }
    dernier[nMinute] = pEvent->m_wOrdre;
    ++suivant[nMinute];
  }
  if (bParMinute) {
    uint32_t nPlace = 0;
    for (uint32_t& n : suivant) n = std::exchange(nPlace, nPlace + n);
    Events tries(m_vEvents.size());
    for (auto& pEvent : m_vEvents) {
      const uint32_t nMinute = pEvent->m_stHeure.wHour * 60U + pEvent->m_stHeure.wMinute;
      tries[suivant[nMinute]++] = std::move(pEvent);
    }
    m_vEvents.swap(tries);
  } else {
    const auto cle = [](const CEvent& event) {
      return uint64_t{event.m_stHeure.wHour * 100U + event.m_stHeure.wMinute} << 32 | event.m_wOrdre;
    };
    std::stable_sort(m_vEvents.begin(), m_vEvents.end(),
                     [&](const auto& pA, const auto& pB) { return cle(*pA) < cle(*pB); });
  }
  m_curTous = {};
  m_curVisibles = {};
}

void CJournee::MarkOverdue() {
  const CCivilTime st = m_clock.LocalTime();
  const int nMaintenant = st.SecondsOfDay();
  const uint32_t dwDate = Date(st.wYear, st.wMonth, st.wDay);
  const CGuard guard(m_cs);
  for (const auto& pEvent : m_vEvents) {
    if (pEvent->m_bDemarre || pEvent->m_bTermine) continue;
    // Midnight may pass between the plan and this: then all of the plan's day is past.
    const bool bHier = pEvent->m_stHeure.wYear != 0 && pEvent->m_dwOrigine < dwDate;
    if (bHier || pEvent->Secondes() < nMaintenant) pEvent->m_bTermine = true;
  }
}

void CJournee::ReprendreListeLocked() {
  m_curTous = {};
  m_curVisibles = {};
  m_nParMinute.fill(0);
  m_nAilleurs.clear();
  for (const auto& pEvent : m_vEvents) ++CompteLocked(pEvent->m_stHeure.wHour, pEvent->m_stHeure.wMinute);
}

void CJournee::PurgeEvents(bool bGarderEnCours) {
  Events partis;  // freed outside the lock: a large plan takes a while
  const CGuard guard(m_cs);
  partis.swap(m_vEvents);
  if (bGarderEnCours) {
    for (auto& pEvent : partis) {
      if (!pEvent->m_bTermine) m_vEvents.push_back(std::move(pEvent));
    }
  }
  ReprendreListeLocked();
}

size_t CJournee::NbEvents() {
  const CGuard guard(m_cs);
  return m_vEvents.size();
}

}  // namespace tonara
