#include "audio/waverecorder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "audio/media.h"
#include "audio/pcm.h"
#include "audio/ramaudio.h"
#include "core/formats.h"
#include "core/log.h"

namespace tonara {
namespace {

constexpr int kNbBlocs = 20;
constexpr uint32_t kBlocMs = 200;
// The device wakes the thread at each block; this only bounds the time until refused blocks are offered
// to it again.
constexpr uint32_t kAttenteMs = 100;
constexpr uint32_t kReessaiMs = 1;
constexpr uint32_t kPli = 0x80000000U;
constexpr char kTitreBoite[] = "Record";

}  // namespace

CWaveRecorder::CWaveRecorder(uint32_t dwFreq, uint32_t iChannels, uint32_t iBits)
    : m_dwFreq(dwFreq),
      m_iChannels(iChannels),
      m_iBits(iBits),
      m_fSeuil(SeuilDb(static_cast<int>(iBits))),
      m_pfNiveaux(iChannels, m_fSeuil),
      m_pfMax(iChannels, m_fSeuil) {
  m_vOrdre.reserve(kNbBlocs);
}

CWaveRecorder::~CWaveRecorder() {
  Ferme();
}

void CWaveRecorder::SetRecordBox(RecordBox fnBox) {
  m_fnBox = std::move(fnBox);
}

void CWaveRecorder::SetLimiteFichier(uint32_t dwOctets) {
  CGuard guard(m_Lock);
  m_Fichier.SetLimite(dwOctets);
}

void CWaveRecorder::Boite(const std::string& szTexte) {
  if (!m_bDiscret && m_fnBox) m_fnBox(szTexte, kTitreBoite);
}

void CWaveRecorder::TraceErreurLocked(const char* szOperation, const std::string& szTexte) {
  if (m_bDiscret) {
    TraceOnce(std::string("record:") + szOperation,
              std::string(szOperation) + " a échoué " + std::to_string(static_cast<int>(m_iDevice)) + " : " + szTexte);
    return;
  }
  Trace(1, "%s a échoué %d\n", szOperation, static_cast<int>(m_iDevice));
  Trace(0, "%s\n", szTexte.c_str());
}

bool CWaveRecorder::Init(const std::string* pDestination, uint32_t dwDevice) {
  std::string szErreur;
  {
    CGuard guard(m_Lock);
    if (m_hWaveIn) {
      Trace(1, "Record : Init d'une capture déjà ouverte\n");
      return false;
    }
    m_Format = MakePcmFormat(m_dwFreq, static_cast<uint16_t>(m_iChannels), static_cast<uint16_t>(m_iBits));
    if (m_Format.nBlockAlign == 0 || m_dwFreq == 0) {
      Trace(1, "Record : format impossible (%u Hz, %u voies, %u bits)\n", m_dwFreq, m_iChannels, m_iBits);
      return false;
    }
    m_dwOctetsEnregistres = 0;
    m_iTours = 0;
    m_dwTourMs = static_cast<uint32_t>(2147483648.0 / m_Format.nAvgBytesPerSec * 1000.0);
    m_bPanne = false;
    m_nBlocs.store(0);
    m_nRefus.store(0);
    m_pRam = nullptr;
    if (pDestination == nullptr) {
      m_iMode = kRecordAucun;
    } else if (!pDestination->empty() && pDestination->front() == '@') {
      m_iMode = kRecordRam;
      m_pRam = RamFromPath(*pDestination);
      if (m_pRam == nullptr) {
        Trace(1, "Record : chemin en mémoire invalide\n");
        return false;
      }
    } else {
      m_iMode = kRecordFichier;
      if (!m_Fichier.Ouvre(*pDestination, m_Format)) return false;
    }
    if (OuvreDeviceLocked(dwDevice, &szErreur)) return true;
    m_Fichier.Ferme();
  }
  if (!szErreur.empty()) Boite(szErreur);
  return false;
}

bool CWaveRecorder::OuvreDeviceLocked(uint32_t dwDevice, std::string* pErreur) {
  m_iDevice = dwDevice;
  std::unique_ptr<CWaveInDevice> hWaveIn;
  if (dwDevice == kWaveMapper) {
    *pErreur = "Aucune entrée de ce nom";
  } else {
    // Some devices know only the extensible description, some only the plain one.
    CWaveBackend& backend = WaveBackend();
    hWaveIn = backend.OpenIn(dwDevice, m_Format, true, &CWaveRecorder::Fini, pErreur);
    if (!hWaveIn) hWaveIn = backend.OpenIn(dwDevice, m_Format, false, &CWaveRecorder::Fini, pErreur);
    if (!hWaveIn && pErreur->empty()) *pErreur = "Périphérique refusé";
  }
  if (!hWaveIn) {
    TraceErreurLocked("waveInOpen", *pErreur);
    return false;
  }
  const uint32_t dwTaille = TailleBloc(m_Format, kBlocMs);
  m_vOrdre.clear();
  m_pBuffers.clear();
  try {
    for (int i = 0; i < kNbBlocs; ++i) {
      m_pBuffers.push_back(std::make_unique<CAPTURE_BUFFER>());
      m_pBuffers.back()->m_vData.resize(dwTaille);
      m_pBuffers.back()->m_pOwner = this;
    }
  } catch (const std::bad_alloc&) {
    m_pBuffers.clear();
    Trace(1, "L'allocation des buffers Audio a échoué %d\n", static_cast<int>(dwDevice));
    return false;
  }
  m_hWaveIn = std::move(hWaveIn);
  m_iQueue = 0;
  m_bDonRefuse = false;
  m_bCapture = true;
  m_bEnregistre.store(false, std::memory_order_release);
  m_hEvent.Reset();
  if (m_bSansThread) return true;
  if (m_worker.Start("capture", CWorker::Priority::AboveNormal, [this] { ThreadCapture(); })) return true;
  Trace(1, "Record : impossible de lancer la capture\n");
  m_bCapture = false;
  m_hWaveIn.reset();
  m_pBuffers.clear();
  return false;
}

// The device's thread. Nothing but the mark and the event.
void CWaveRecorder::Fini(WaveHeader* pHeader) {
  auto* pBloc = static_cast<CAPTURE_BUFFER*>(pHeader->pUser);
  // Read before the mark: once it is set, the block may be given away anew.
  CWaveRecorder* const pOwner = pBloc->m_pOwner;
  pBloc->m_bFini.store(true, std::memory_order_release);
  pOwner->m_hEvent.Set();
}

bool CWaveRecorder::Prepare() {
  CGuard guard(m_Lock);
  if (!m_bDiscret) Trace(1, "Prepare Record\n");
  ResetMaxLocked();
  m_iUnderruns = 0;
  if (!m_hWaveIn) return false;
  DonneBlocsLocked();
  if (m_hWaveIn->Start()) return true;
  TraceErreurLocked("waveInStart", m_hWaveIn->ErrorText());
  return false;
}

bool CWaveRecorder::Demarre(bool bSaturation) {
  CGuard guard(m_Lock);
  if (!m_bDiscret) Trace(1, "Demarre Record\n");
  m_bEnregistre.store(true, std::memory_order_release);
  m_bSaturation = bSaturation;
  return true;
}

bool CWaveRecorder::Arrete() {
  CGuard guard(m_Lock);
  if (!m_bDiscret) Trace(1, "Arrete Record\n");
  m_bCapture = false;
  m_bEnregistre.store(false, std::memory_order_release);
  if (m_hWaveIn && !m_hWaveIn->Reset()) TraceErreurLocked("waveInReset", m_hWaveIn->ErrorText());
  return true;
}

bool CWaveRecorder::Ferme() {
  CGuard guard(m_Lock);
  m_bCapture = false;
  m_bEnregistre.store(false, std::memory_order_release);
  if (m_hWaveIn) {
    if (!m_hWaveIn->Reset()) TraceErreurLocked("waveInReset", m_hWaveIn->ErrorText());
    m_iQueue = 0;
    m_hWaveIn.reset();
  }
  // The thread only tries the lock, so it may be joined while this holds it.
  m_worker.RequestStop();
  m_hEvent.Set();
  m_worker.Stop();
  m_vOrdre.clear();
  m_pBuffers.clear();
  m_Fichier.Ferme();
  return true;
}

void CWaveRecorder::DonneBlocsLocked() {
  for (size_t i = 0; i < m_pBuffers.size(); ++i) {
    if (m_pBuffers[i]->m_bLibre && !DonneBlocLocked(static_cast<int>(i))) return;
  }
}

// A block that the device refuses stays free and is offered again at the next round.
bool CWaveRecorder::DonneBlocLocked(int iBloc) {
  CAPTURE_BUFFER& bloc = *m_pBuffers[static_cast<size_t>(iBloc)];
  bloc.m_bLibre = false;
  bloc.m_bFini.store(false, std::memory_order_relaxed);
  bloc.m_Header = {};
  bloc.m_Header.pData = bloc.m_vData.data();
  bloc.m_Header.dwLength = static_cast<uint32_t>(bloc.m_vData.size());
  bloc.m_Header.pUser = &bloc;
  // Noted first: the device may finish the block before AddBuffer has returned.
  m_vOrdre.push_back(iBloc);
  if (m_hWaveIn->AddBuffer(&bloc.m_Header)) {
    m_bDonRefuse = false;
    ++m_iQueue;
    return true;
  }
  m_vOrdre.pop_back();
  bloc.m_bLibre = true;
  if (!m_bDonRefuse) TraceErreurLocked("waveInAddBuffer", m_hWaveIn->ErrorText());
  m_bDonRefuse = true;
  return false;
}

void CWaveRecorder::ThreadCapture() {
  bool bReste = false;  // a round was skipped: its blocks still wait
  while (!m_worker.StopRequested()) {
    // Without the lock: waiting here must hold up nobody.
    m_hEvent.Wait(bReste ? kReessaiMs : kAttenteMs);
    bReste = !Tick();
  }
}

bool CWaveRecorder::Tick() {
  bool bPanne = false;
  if (!m_Lock.TryLock()) return false;
  UnderrunLocked();
  // A device that gives blocks faster than they are taken must not keep everybody else from the lock.
  int nReste = kNbBlocs + 1;
  for (; nReste > 0 && !m_bPanne && m_hWaveIn && !m_vOrdre.empty(); --nReste) {
    const int iBloc = m_vOrdre.front();
    CAPTURE_BUFFER& bloc = *m_pBuffers[static_cast<size_t>(iBloc)];
    if (!bloc.m_bFini.load(std::memory_order_acquire)) break;
    m_vOrdre.erase(m_vOrdre.begin());
    bloc.m_bLibre = true;
    bloc.m_bFini.store(false, std::memory_order_relaxed);
    --m_iQueue;
    if (!TraiteBlocLocked(bloc)) {
      // The device would only fill blocks that nobody takes.
      m_bPanne = bPanne = true;
      m_bCapture = false;
      m_bEnregistre.store(false, std::memory_order_release);
      if (!m_hWaveIn->Reset()) TraceErreurLocked("waveInReset", m_hWaveIn->ErrorText());
    }
    if (m_bCapture) DonneBlocsLocked();
  }
  if (m_bDonRefuse && m_bCapture && m_hWaveIn) DonneBlocsLocked();
  m_Lock.Unlock();
  if (bPanne) Boite("Erreur écriture\nLe disque est peut-etre plein\nEnregistrement arreté");
  return nReste > 0;
}

std::string CWaveRecorder::NomLocked() {
  switch (m_iMode) {
    case kRecordFichier:
      return m_Fichier.Fichier();
    case kRecordRam:
      return "RAM";
    default:
      return {};
  }
}

// Looked at before the first block is given back: with all of them finished the device had nowhere to
// put what it heard.
void CWaveRecorder::UnderrunLocked() {
  if (!m_bCapture || m_vOrdre.empty()) return;
  for (const int iBloc : m_vOrdre) {
    if (!m_pBuffers[static_cast<size_t>(iBloc)]->m_bFini.load(std::memory_order_acquire)) return;
  }
  ++m_iUnderruns;
  const std::string szNom = NomLocked();
  if (szNom.empty()) return;
  Trace(1, "Underrun %u : Fichier %s, pos=%lu ms\n", static_cast<unsigned>(m_iUnderruns), szNom.c_str(),
        static_cast<unsigned long>(DureeFichierLocked()));
}

bool CWaveRecorder::TraiteBlocLocked(CAPTURE_BUFFER& bloc) {
  const auto dwOctets = std::min(bloc.m_Header.dwRecorded, static_cast<uint32_t>(bloc.m_vData.size())) /
                        m_Format.nBlockAlign * m_Format.nBlockAlign;
  bool bEcrit = true;
  if (dwOctets > 0) {
    m_nBlocs.fetch_add(1, std::memory_order_acq_rel);
    if (m_bEnregistre.load(std::memory_order_relaxed)) bEcrit = RemetLocked(bloc.m_vData.data(), dwOctets);
  }
  if (!bEcrit) return false;
  if (MesureLocked(bloc.m_vData.data(), dwOctets) && m_bSaturation) {
    const uint32_t dwMs = DureeFichierLocked();
    Trace(1, "Saturation détectée : Fichier %s, pos=%s (%lu ms)\n", NomLocked().c_str(), FormatTemps(dwMs, 1).c_str(),
          static_cast<unsigned long>(dwMs));
  }
  std::fill(bloc.m_vData.begin(), bloc.m_vData.end(), uint8_t{0});
  return true;
}

// False if the disk refused the block.
bool CWaveRecorder::RemetLocked(const uint8_t* pOctets, uint32_t dwOctets) {
  if (m_iMode == kRecordRam) {
    CGuard guard(m_pRam->m_Lock);
    // No room: the block is lost, and what the ring holds stays in order. So a capture clock faster
    // than the output's costs a block now and then and never adds to the delay.
    const bool bPris = m_pRam->m_pFifo->Ecrit(pOctets, dwOctets) != 0;
    m_nRefus.store(bPris ? 0 : m_nRefus.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    return true;
  }
  if (m_iMode != kRecordFichier) return true;
  if (!m_Fichier.Ecrit(pOctets, dwOctets)) return false;
  m_dwOctetsEnregistres += dwOctets;
  PliLocked();
  return true;
}

// The largest |sample| of each channel; true if one is at full scale.
bool CWaveRecorder::MesureLocked(const uint8_t* pOctets, uint32_t dwOctets) {
  const int iBits = static_cast<int>(m_iBits);
  const uint32_t dwPas = m_iBits / 8;
  bool bSature = false;
  for (uint32_t v = 0; v < m_iChannels; ++v) {
    float fCrete = 0.0F;
    for (uint32_t i = v * dwPas; i < dwOctets; i += m_Format.nBlockAlign) {
      fCrete = std::max(fCrete, std::fabs(LireEch(pOctets + i, iBits)));
    }
    const float fDb = fCrete > 0.0F ? std::max(GainToDb(fCrete), m_fSeuil) : m_fSeuil;
    m_pfNiveaux[v] = fDb;
    m_pfMax[v] = std::max(m_pfMax[v], fDb);
    if (fDb >= 0.0F) bSature = true;
  }
  return bSature;
}

bool CWaveRecorder::GetNiveaux(float* pfNiveaux, float* pfMax) {
  CGuard guard(m_Lock);
  if (!m_hWaveIn) std::fill(m_pfNiveaux.begin(), m_pfNiveaux.end(), m_fSeuil);
  if (pfNiveaux != nullptr) std::copy(m_pfNiveaux.begin(), m_pfNiveaux.end(), pfNiveaux);
  if (pfMax != nullptr) std::copy(m_pfMax.begin(), m_pfMax.end(), pfMax);
  return true;
}

bool CWaveRecorder::ResetMax() {
  CGuard guard(m_Lock);
  ResetMaxLocked();
  return true;
}

void CWaveRecorder::ResetMaxLocked() {
  std::fill(m_pfMax.begin(), m_pfMax.end(), m_fSeuil);
}

uint32_t CWaveRecorder::DureeFichierLocked() {
  return static_cast<uint32_t>(OctetsToMs(m_Format, m_iMode == kRecordFichier ? m_Fichier.OctetsFichier() : 0));
}

bool CWaveRecorder::GetDureeFichier(uint32_t* pdwMs) {
  CGuard guard(m_Lock);
  if (pdwMs != nullptr) *pdwMs = m_hWaveIn ? DureeFichierLocked() : 0;
  return m_hWaveIn != nullptr;
}

// Keeps the counter below 2^31. At every block, not only when somebody asks for the position: at 4 GB
// the counter would wrap unseen.
void CWaveRecorder::PliLocked() {
  if (m_dwOctetsEnregistres < kPli) return;
  ++m_iTours;
  Trace(1, "m_dwOctetsEnregistres=%lu => EFFECTUE %u TOURS DE COMPTEURS !!!\n",
        static_cast<unsigned long>(m_dwOctetsEnregistres), m_iTours);
  m_dwOctetsEnregistres += kPli;
}

bool CWaveRecorder::GetPosition(uint32_t* pdwMs) {
  CGuard guard(m_Lock);
  if (pdwMs == nullptr) return false;
  *pdwMs = 0;
  if (!m_hWaveIn) return false;
  *pdwMs = static_cast<uint32_t>(OctetsToMs(m_Format, m_dwOctetsEnregistres)) + m_iTours * m_dwTourMs;
  return true;
}

bool CWaveRecorder::GetEtat(int* piBlocs, int* piQueue, int* piUnderruns) {
  CGuard guard(m_Lock);
  if (piBlocs != nullptr) *piBlocs = kNbBlocs;
  if (piQueue != nullptr) *piQueue = m_iQueue;
  if (piUnderruns != nullptr) *piUnderruns = m_iUnderruns;
  return true;
}

bool CWaveRecorder::GetNomFichier(std::string* pNom) {
  CGuard guard(m_Lock);
  if (pNom == nullptr) return false;
  *pNom = NomLocked();
  return true;
}

}  // namespace tonara
