#include "programmes/audioligneprogram.h"

#include <algorithm>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"

namespace tonara {
namespace {

constexpr uint32_t kPeriodeMs = 500;
constexpr uint32_t kAmorceMs = 50;  // while the ring fills for the first time
// The mixer's source gives up after the same time, so a shorter hiccup mends itself on both sides.
constexpr uint64_t kMuetMs = 5000;
constexpr uint32_t kDelaiMinMs = 500;
// An input that is back must not be waited for longer than the ear forgives.
constexpr uint32_t kDelaiMaxMs = 2500;
// One round may catch the mixer while it reopens its device.
constexpr int kSourdMax = 2;
// More refused blocks than this between two rounds: what the ring holds is old.
constexpr uint32_t kRefusPerime = 3;
constexpr char kGroupe[] = "MUSIQUE";

}  // namespace

CAudioLigneProgram::CAudioLigneProgram(const std::string& szIni)
    : CAudioLigneProgram(szIni, g_Appcfg, g_Historique, g_Mixout, g_LineSource, SystemClock()) {}

CAudioLigneProgram::CAudioLigneProgram(const std::string& szIni, const CAppcfg& cfg, CHistorique& historique,
                                       CMixout& mixout, CLineSource& ligne, CClock& clock)
    : m_cfg(cfg), m_historique(historique), m_mixout(mixout), m_ligne(ligne), m_clock(clock), m_szDevice(cfg.DeviceIn) {
  m_szIni = szIni;
}

CAudioLigneProgram::~CAudioLigneProgram() {
  // The source is shared: a programme that never started, a dialog's, leaves it alone.
  CAudioLigneProgram::Stop();
}

bool CAudioLigneProgram::Start() {
  if (m_bActif.load()) return true;
  const bool bOuvert = Demarre();
  m_worker.Start("ligne", CWorker::Priority::Normal, [this] {
    do {
      Tick();
    } while (m_worker.Sleep(Periode()));
  });
  return bOuvert;
}

bool CAudioLigneProgram::StartSansThread() {
  return m_bActif.load() || Demarre();
}

bool CAudioLigneProgram::Demarre() {
  m_fGain = m_cfg.Music;
  m_historique.Add("*** Start Programme Source externe (%s)\n", m_szDevice.c_str());
  m_bJoue = false;
  m_bPerdue = false;
  m_nSourd = 0;
  m_nBlocs = 0;
  m_llVu = m_clock.MonotonicMs();
  m_dwDelai = kDelaiMinMs;
  m_llProchain = m_llVu;
  const bool bOuvert = m_ligne.Ouvre(m_szDevice, &m_mixout, /*bDiscret=*/false);
  if (!bOuvert) {
    Perte("absente");
    Recule();
  }
  m_bActif.store(true);
  return bOuvert;
}

bool CAudioLigneProgram::Stop() {
  if (!m_bActif.exchange(false)) return true;
  m_worker.RequestStop();
  // First, because it frees the worker from a mixer that waits for the input; and once more, because
  // the worker may just have opened the input again.
  m_ligne.Stop();
  m_worker.Stop();
  m_ligne.Stop();
  return true;
}

uint32_t CAudioLigneProgram::Periode() const {
  return m_ligne.IsOuvert() && !m_bJoue && !m_bPerdue ? kAmorceMs : kPeriodeMs;
}

void CAudioLigneProgram::Recule() {
  m_llProchain = m_clock.MonotonicMs() + m_dwDelai;
  m_dwDelai = std::min(m_dwDelai * 2, kDelaiMaxMs);
}

// One line per loss, however many attempts follow.
void CAudioLigneProgram::Perte(const char* szQuoi) {
  if (!m_bPerdue) Trace(1, "Source externe : entrée %s (%s)\n", szQuoi, m_szDevice.c_str());
  m_bPerdue = true;
  m_bJoue = false;
  m_nSourd = 0;
  m_ligne.Stop();
}

// False once the input has given nothing for so long that it counts as lost.
bool CAudioLigneProgram::Vivante() {
  const uint64_t llMaintenant = m_clock.MonotonicMs();
  const uint32_t nBlocs = m_ligne.NbBlocs();
  if (nBlocs != m_nBlocs) {
    m_nBlocs = nBlocs;
    m_llVu = llMaintenant;
  }
  return llMaintenant - m_llVu < kMuetMs;
}

void CAudioLigneProgram::Tick() {
  if (!m_bActif.load()) return;
  if (!m_ligne.IsOuvert()) {
    if (m_clock.MonotonicMs() < m_llProchain) return;
    if (!m_ligne.Ouvre(m_szDevice, &m_mixout, /*bDiscret=*/true)) {
      Recule();
      return;
    }
    m_nBlocs = 0;
    m_llVu = m_clock.MonotonicMs();
  }
  if (!Vivante()) {
    Perte("perdue");
    Recule();
    return;
  }
  if (m_bJoue) {
    m_nSourd = m_ligne.IsEntendue() ? 0 : m_nSourd + 1;
    if (m_nSourd >= kSourdMax) Perte("perdue");
    return;
  }
  // Only with sound at hand: the mixer, and all who call it, would wait for it.
  if (!m_ligne.IsPret() || m_clock.MonotonicMs() < m_llProchain) return;
  if (m_ligne.NbRefus() > kRefusPerime) {
    m_ligne.VideAnneau();
    return;
  }
  if (!m_ligne.Joue(kGroupe, m_fGain)) {
    if (!m_bPerdue && m_bActif.load()) Trace(1, "Source externe : pas de place (%s)\n", m_szDevice.c_str());
    m_bPerdue = true;
    Recule();
    return;
  }
  if (m_bPerdue) Trace(1, "Source externe : entrée retrouvée (%s)\n", m_szDevice.c_str());
  m_bPerdue = false;
  m_bJoue = true;
  m_nSourd = 0;
  m_dwDelai = kDelaiMinMs;
}

bool CAudioLigneProgram::Suspend(uint32_t /*nFlag*/) {
  return true;
}

bool CAudioLigneProgram::GetTitre(std::string* pOut) {
  if (pOut == nullptr) return false;
  *pOut = m_cfg.DeviceIn;
  return true;
}

bool CAudioLigneProgram::Load(const std::string& /*szIni*/) {
  return true;
}

bool CAudioLigneProgram::Save(const std::string& /*szIni*/) {
  return true;
}

}  // namespace tonara
