// Positions, levels, fades and groupes of the mixer.
#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/mixe.h"
#include "audio/mixout.h"
#include "audio/pcm.h"
#include "core/log.h"

namespace tonara {

bool CMixout::PositionLocked(TRANCHE_MIX& tranche, int64_t llPosition, POSITION_TRANCHE* pPos) {
  if (!tranche.m_pMedia || tranche.m_bOrphelin) return false;
  // The bus's rate, but the source's own channels and width: it may be converted on its way.
  PCMWAVEFORMAT reference = tranche.m_Format;
  reference.nSamplesPerSec = m_Format.nSamplesPerSec;
  if (!tranche.m_pMedia->GetDuree(&tranche.m_dwDuree, &reference)) return false;
  uint32_t dwTotal = tranche.m_dwDuree;
  if (tranche.m_dwOut != 0) dwTotal = tranche.m_dwOut > tranche.m_dwIn ? tranche.m_dwOut - tranche.m_dwIn : 0;
  if (m_dwDureeMax != 0) dwTotal = std::min(dwTotal, m_dwDureeMax);
  const auto llDebut = static_cast<int64_t>(tranche.m_dwDebut);
  pPos->llEcoule = llPosition > llDebut ? static_cast<uint64_t>(llPosition - llDebut) : 0;
  pPos->dwTotal = dwTotal;
  pPos->llTotal = static_cast<uint64_t>(MsToEch(tranche.m_Format, dwTotal));
  return true;
}

bool CMixout::PosTrancheLocked(int nTranche, uint32_t* pdwEcoule, uint32_t* pdwReste) {
  *pdwEcoule = 0;
  *pdwReste = 0;
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  uint64_t llPosition = 0;
  POSITION_TRANCHE pos;
  if (!pTranche || !pTranche->m_bActif || !m_Sortie.GetPositionEch(&llPosition) ||
      !PositionLocked(*pTranche, static_cast<int64_t>(llPosition), &pos))
    return false;
  const uint64_t llMs = pos.llEcoule * 1000 / m_Format.nSamplesPerSec;
  if (pos.dwTotal == 0) {  // live
    *pdwEcoule = static_cast<uint32_t>(std::min<uint64_t>(llMs, std::numeric_limits<uint32_t>::max()));
  } else if (pos.dwTotal > llMs) {
    *pdwEcoule = static_cast<uint32_t>(llMs);
    *pdwReste = pos.dwTotal - *pdwEcoule;
  } else {
    *pdwEcoule = pos.dwTotal;
  }
  return true;
}

bool CMixout::GetPosTranche(int nTranche, uint32_t* pdwEcoule, uint32_t* pdwReste, uint32_t dwLecture) {
  CGuard guard(m_Lock);
  uint32_t dwEcoule = 0;
  uint32_t dwReste = 0;
  const bool bOk = EstLectureLocked(nTranche, dwLecture) && PosTrancheLocked(nTranche, &dwEcoule, &dwReste);
  if (pdwEcoule) *pdwEcoule = dwEcoule;
  if (pdwReste) *pdwReste = dwReste;
  return bOk;
}

bool CMixout::GetNiveaux(float* pfNiveaux, float* pfNiveaux2, int nCount) {
  CGuard guard(m_NiveauLock);
  const size_t nCanaux = std::min(static_cast<size_t>(std::max(nCount, 0)), m_pfCrete.size());
  for (size_t c = 0; c < nCanaux; ++c) {
    if (pfNiveaux) pfNiveaux[c] = GainToDb(m_pfCrete[c]);
    if (pfNiveaux2) {
      pfNiveaux2[c] = GainToDb(m_pfCrete2[c]);
      m_pfCrete2[c] = 0.0F;
    }
  }
  return true;
}

void CMixout::ResetNiveauxMax() {
  CGuard guard(m_NiveauLock);
  std::fill(m_pfCrete2.begin(), m_pfCrete2.end(), 0.0F);
}

bool CMixout::FadeTrancheLocked(int nTranche, uint32_t dwMs, float fDb, int iMode) {
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  if (!pTranche || !pTranche->m_pMedia) return false;
  TRANCHE_MIX& t = *pTranche;

  // The line starts with the next block to be mixed, not at the position now: that block would then
  // begin a block's length down the line, with a step. And it starts from the gain in force there,
  // which in the middle of another ramp is not yet that ramp's target.
  const int64_t llDebut = PositionMixLocked() - static_cast<int64_t>(t.m_dwDebut);
  double dAncien = t.m_fGain;
  if (t.m_dwRampeFin > t.m_dwRampeDebut && llDebut <= t.m_dwRampeFin)
    dAncien = static_cast<double>(llDebut) * t.m_fRampePente + t.m_fRampeOrigine;
  t.m_dwRampeDebut = 0;
  t.m_dwRampeFin = 0;

  if (iMode == 1) {
    t.m_fGainMemo = t.m_fGain;
    t.m_fGain = DbToGain(fDb);
  } else {
    t.m_fGain = t.m_fGainMemo;
    t.m_fGainMemo = 1.0F;
  }

  uint64_t llPosition = 0;
  POSITION_TRANCHE pos;
  const auto llDuree = static_cast<int64_t>(MsToEch(m_Format, dwMs));
  if (llDuree > 0 && m_Sortie.GetPositionEch(&llPosition) &&
      PositionLocked(t, static_cast<int64_t>(llPosition), &pos)) {
    t.m_dwRampeDebut = llDebut;
    t.m_dwRampeFin = llDebut + llDuree;
    t.m_fRampePente = (t.m_fGain - dAncien) / static_cast<double>(llDuree);
    t.m_fRampeOrigine = dAncien - static_cast<double>(llDebut) * t.m_fRampePente;
  }
  return true;
}

bool CMixout::FadeTranche(int nTranche, uint32_t dwMs, float fDb, int iMode) {
  CGuard guard(m_Lock);
  return FadeTrancheLocked(nTranche, dwMs, fDb, iMode);
}

bool CMixout::FadeAll(uint32_t dwMs, float fDb, int iMode) {
  CGuard guard(m_Lock);
  for (int n = 1; n <= NB_TRANCHES; ++n)
    if (TrancheLocked(n)->m_bActif) FadeTrancheLocked(n, dwMs, fDb, iMode);
  return true;
}

bool CMixout::FinTranche(int nTranche, uint32_t dwMs) {
  CGuard guard(m_Lock);
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  uint32_t dwEcoule = 0;
  uint32_t dwReste = 0;
  if (!pTranche || !pTranche->m_pMedia || !PosTrancheLocked(nTranche, &dwEcoule, &dwReste)) return false;
  pTranche->m_dwIn = 0;
  // An out point of 0 would mean the source's own end.
  pTranche->m_dwOut = std::max(dwEcoule + dwMs, 1U);
  pTranche->m_dwFadeOut = static_cast<uint32_t>(std::min(MsToEch(m_Format, dwMs), static_cast<double>(kFonduMax)));
  // Like a ramp, the fade-out starts whole with the next block to be mixed.
  pTranche->m_llFin = PositionMixLocked() - static_cast<int64_t>(pTranche->m_dwDebut) + pTranche->m_dwFadeOut;
  pTranche->m_bFin = true;
  return true;
}

bool CMixout::SetGainLocked(int nTranche, float fDb) {
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  if (!pTranche || !pTranche->m_pMedia) return false;
  pTranche->m_fGain = DbToGain(fDb);
  return true;
}

bool CMixout::SetGainTranche(int nTranche, float fDb) {
  CGuard guard(m_Lock);
  return SetGainLocked(nTranche, fDb);
}

bool CMixout::SetGainMemoTranche(int nTranche, float fDb) {
  CGuard guard(m_Lock);
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  if (!pTranche) return false;
  pTranche->m_fGainMemo = DbToGain(fDb);
  return true;
}

GROUPE_MIX* CMixout::GroupeLocked(const char* szNom) {
  const std::string szCoupe = std::string(szNom).substr(0, 19);
  if (szCoupe.empty()) return nullptr;
  for (GROUPE_MIX& groupe : m_Groupes)
    if (groupe.m_szNom == szCoupe) return &groupe;
  return nullptr;
}

bool CMixout::AddGroupe(const char* szNom, float fLevel, float fAutofade) {
  if (!szNom) return false;
  CGuard guard(m_Lock);
  for (GROUPE_MIX& groupe : m_Groupes) {
    if (!groupe.m_szNom.empty()) continue;
    groupe = {std::string(szNom).substr(0, 19), 0, fLevel, fAutofade};
    return true;
  }
  Trace(0, "***************************************\n");
  Trace(1, "Plus de groupes libres\n");
  Trace(0, "***************************************\n");
  return false;
}

bool CMixout::SetLevelGroupe(const char* szNom, float fDb) {
  if (!szNom) return false;
  CGuard guard(m_Lock);
  GROUPE_MIX* const pGroupe = GroupeLocked(szNom);
  if (!pGroupe) return true;
  pGroupe->m_fLevel = fDb;
  for (TRANCHE_MIX& tranche : m_Tranches) {
    if (!tranche.m_pMedia || tranche.m_szGroupe != pGroupe->m_szNom) continue;
    (pGroupe->m_iEtat == 1 ? tranche.m_fGainMemo : tranche.m_fGain) = DbToGain(fDb);
  }
  return true;
}

bool CMixout::SetAutofadeGroupe(const char* szNom, float fDb) {
  if (!szNom) return false;
  CGuard guard(m_Lock);
  GROUPE_MIX* const pGroupe = GroupeLocked(szNom);
  if (!pGroupe) return true;
  pGroupe->m_fAutofade = fDb;
  if (pGroupe->m_iEtat == 0) return true;
  for (TRANCHE_MIX& tranche : m_Tranches)
    if (tranche.m_pMedia && tranche.m_szGroupe == pGroupe->m_szNom) tranche.m_fGain = DbToGain(fDb);
  return true;
}

bool CMixout::SetEtatGroupe(const char* szNom, uint32_t iEtat) {
  if (!szNom) return false;
  CGuard guard(m_Lock);
  if (GROUPE_MIX* const pGroupe = GroupeLocked(szNom)) pGroupe->m_iEtat = iEtat;
  return true;
}

}  // namespace tonara
