#include "schedule/calendrier.h"

#include <algorithm>

#include "core/formats.h"
#include "core/log.h"
#include "platform/clock.h"
#include "platform/textcodec.h"
#include "schedule/event.h"
#include "schedule/grille.h"

namespace tonara {

CCalendrier g_Calendrier;

namespace {

constexpr uint32_t kPeriodeMs = 200;
constexpr size_t kTailleStatus = 255;
/// Fade back of a sequence that its successor did not close, in ms; that of a message.
constexpr uint32_t kFadeUpSequence = 2000;

/// All but the jingle.
bool EstMessage(const CEvent& event) {
  return event.m_nType != kEventJingle;
}

/// One generation that does what both would have done: the wish for a full one, and the new day's early
/// events unmarked.
uint32_t ModeCommun(uint32_t nA, uint32_t nB) {
  return nA == nB ? nA : kGenerationCompleteJour;
}

}  // namespace

CCalendrier::CCalendrier() : CCalendrier(SystemClock(), g_Grille, GlobalEventContext()) {}

CCalendrier::CCalendrier(CClock& clock, CGrille& grille, EventContext& context)
    : m_Journee(clock, grille, context), m_clock(clock), m_context(context) {
  m_Journee.SetFinPerdue([this] { EndGeneration(); });
}

CCalendrier::~CCalendrier() {
  StopThread();
  m_Journee.WaitGeneration();
}

void CCalendrier::SetNotify(MsgTarget hWnd, uint32_t uMsgTick) {
  m_hWnd = hWnd;
  m_uMsgTick = uMsgTick;
}

bool CCalendrier::StartThread() {
  if (m_bThreadActif) return true;
  m_bThreadActif = m_worker.Start("calendrier", CWorker::Priority::Normal, [this] {
    while (m_worker.Sleep(DureeSommeil())) Tick();
  });
  if (!m_bThreadActif) Trace(1, "Calendrier : impossible de lancer le thread\n");
  return true;
}

void CCalendrier::StopThread() {
  if (!m_bThreadActif) return;
  m_worker.Stop();  // without m_cs: the tick under way needs it
  m_bThreadActif = false;
}

uint32_t CCalendrier::DureeSommeil() const {
  // In step with the clock, so that a tick comes right behind second 0 of each minute.
  return kPeriodeMs - m_clock.LocalTime().wMilliseconds % kPeriodeMs;
}

void CCalendrier::RequestGeneration(uint32_t uMsg, uint32_t wParam) {
  const CGuard guard(m_cs);
  m_wParamGeneration = m_bGenerationDemandee ? ModeCommun(m_wParamGeneration, wParam) : wParam;
  m_uMsgGeneration = uMsg;
  m_bGenerationDemandee = true;
}

void CCalendrier::EndGeneration() {
  const CGuard guard(m_cs);
  m_bSuspendu = false;
}

void CCalendrier::SetMessagesActifs(bool bActifs) {
  const CGuard guard(m_cs);
  if (bActifs) m_Journee.MarkOverdue();
  m_bMessagesActifs = bActifs;
}

void CCalendrier::GetStatusText(std::string* pOut) {
  if (pOut == nullptr) return;
  const CGuard guard(m_cs);
  *pOut = m_szStatus;
}

void CCalendrier::OnMsgGeneration(uint32_t wParam) {
  {
    const CGuard guard(m_cs);
    // Only while the firing thread stands still may events be deleted.
    if (!m_bSuspendu) return;
  }
  if (m_Journee.IsGeneration()) return;
  const CCivilTime st = m_clock.LocalTime();
  const uint32_t dwDate = (st.wYear * 100U + st.wMonth) * 100U + st.wDay;
  const uint32_t dwDatePlan = m_Journee.DatePlan();
  // The day has changed under a full generation before anybody noticed: it is the day change too.
  if (wParam == kGenerationComplete && dwDatePlan != 0 && dwDatePlan != dwDate) wParam = kGenerationCompleteJour;
  m_Journee.SetDate(st);
  if (m_Journee.StartGeneration(m_hWnd, kMsgFinGeneration, wParam)) return;
  Trace(1, "Calendrier : impossible de lancer le thread de programmation du jour\n");
  m_Journee.Generer(wParam);
  if (!PostMsg(m_hWnd, kMsgFinGeneration, 0, 0)) EndGeneration();
}

void CCalendrier::CheckJour(CCivilTime* pDernierJour) {
  const CCivilTime st = m_clock.LocalTime();
  if (!st.SameDate(*pDernierJour)) {
    StartThread();
    RequestGeneration(kMsgGeneration, kGenerationJour);
  }
  *pDernierJour = st;
}

// ---- the tick

void CCalendrier::Tick() {
  const CGuard guard(m_cs);
  if (m_bSuspendu) return;  // a request waits for EndGeneration
  const int nMaintenant = m_clock.LocalTime().SecondsOfDay();
  CEvent* pEvent = nullptr;
  CEvent* pSuivant = nullptr;
  size_t nIndex = 0;
  if (m_Journee.FindNext(true, &nIndex, nullptr)) {
    pEvent = m_Journee.GetEventAt(nIndex);
    pSuivant = m_Journee.GetEventAt(nIndex + 1);
  }
  if (pEvent != nullptr) TickEvent(*pEvent, pSuivant, nMaintenant);
  FermeSequence(pEvent);
  MakeStatus(pEvent, pSuivant, nMaintenant);
  if (m_bGenerationDemandee) CedeGeneration(pEvent);
}

void CCalendrier::TickEvent(CEvent& event, CEvent* pSuivant, int nMaintenant) {
  const bool bRetenu = m_bGenerationDemandee && !m_bSansFenetre;
  if (event.Secondes() <= nMaintenant && !event.m_bDemarre && !bRetenu) Demarre(event, pSuivant, nMaintenant);
  if (!event.m_bDemarre) return;
  if (!m_bMessagesActifs) event.bFinASAEOF = true;
  if (event.CheckEnd()) {
    if (EstMessage(event)) m_bMessageEnCours = false;
    m_bSequenceOuverte = !event.bFinASAEOF;
  }
  if (m_uMsgTick != 0) PostMsg(m_hWnd, m_uMsgTick, 0, 0);
}

void CCalendrier::Demarre(CEvent& event, CEvent* pSuivant, int nMaintenant) {
  bool bFin = true;
  if (pSuivant != nullptr && !pSuivant->m_bTermine && pSuivant->Secondes() <= nMaintenant) {
    pSuivant->m_bEnchaine = true;
    bFin = false;
  }
  if (EstMessage(event) && !m_bMessagesActifs) return;
  std::string nom;
  event.GetFileName(&nom);
  Trace(1, "---  Evènement : %s (%s) - bFinASAEOF=%u\n", event.m_szNom.c_str(), nom.c_str(), bFin ? 1U : 0U);
  if (EstMessage(event)) m_bMessageEnCours = true;
  if (!event.Start(bFin) && EstMessage(event)) m_bMessageEnCours = false;
}

void CCalendrier::FermeSequence(const CEvent* pEvent) {
  // The successor for which the last event left the music down and the screen taken starts at the tick
  // behind it. If it doesn't (messages turned off in between, a generation wanted, the clock set back),
  // nobody else would ever give them back.
  if (!m_bSequenceOuverte) return;
  if (pEvent != nullptr && pEvent->m_bDemarre) {
    if (!pEvent->m_bTermine) m_bSequenceOuverte = false;
    return;
  }
  m_bSequenceOuverte = false;
  RendreProgramme(m_context, kFadeUpSequence);
}

void CCalendrier::MakeStatus(const CEvent* pEvent, const CEvent* pSuivant, int nMaintenant) {
  m_szStatus.clear();
  size_t nIndex = 0;
  if (!m_bMessagesActifs) {
    m_szStatus = "Messages désactivés";
  } else if (pEvent == nullptr) {
    m_szStatus = "Plus d'événement aujourd'hui";
  } else if (pEvent->m_bDemarre) {
    m_szStatus = pEvent->m_szNom.str() + " en cours";
    if (pSuivant != nullptr && pSuivant->m_bEnchaine) {
      m_szStatus += "\r\n(" + pSuivant->m_szNom.str() + " juste après)";
    }
  } else if (m_Journee.FindNext(false, &nIndex, nullptr)) {
    CEvent* pAnnonce = m_Journee.GetEventAt(nIndex);
    std::string nom;
    pAnnonce->GetFileName(&nom);
    // One that is due and held back has 0 left.
    const int nReste = std::max(pAnnonce->Secondes() - nMaintenant, 0);
    m_szStatus = nom + " dans " + FormatDuree(static_cast<uint32_t>(nReste));
  }
  m_szStatus = CutUtf8(m_szStatus, kTailleStatus);
}

void CCalendrier::CedeGeneration(CEvent* pEvent) {
  if (pEvent != nullptr && pEvent->m_bDemarre) {
    pEvent->bFinASAEOF = true;
    return;
  }
  if (!PostMsg(m_hWnd, m_uMsgGeneration, m_wParamGeneration, 0)) {
    // Suspended now, the calendar would stay so: it goes on with what it has, and tries again.
    m_bSansFenetre = true;
    TraceOnce("calendrier-fenetre", "Calendrier : personne pour lancer la programmation du jour");
    return;
  }
  m_bSansFenetre = false;
  m_bGenerationDemandee = false;
  m_bSuspendu = true;
}

}  // namespace tonara
