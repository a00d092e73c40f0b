#include "audio/mixe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "audio/pcm.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Two forms of the same arithmetic: a plain one, frame by frame, which any machine runs and which does
// the odd channel counts and the ends of runs; and one of four frames at a time on SSE2, which every
// x86-64 has. Both round at the same places (float but for the ramp's line, which is double until it
// has its value), so they agree to the bit and a run may be cut anywhere. Fused multiply-add would
// break that; the baseline has none.

namespace tonara {

namespace {

/// Reads float samples.
struct LecteurFloat {
  const float* pSource;
  [[nodiscard]] float Ech(size_t n) const { return pSource[n]; }
#if defined(__SSE2__)
  /// Samples n to n+7.
  void Huit(size_t n, __m128* pBas, __m128* pHaut) const {
    *pBas = _mm_loadu_ps(pSource + n);
    *pHaut = _mm_loadu_ps(pSource + n + 4);
  }
#endif
};

/// Reads 16-bit samples. Dividing by 32768 is exact, so a product does.
struct LecteurPcm16 {
  const uint8_t* pSource;
  [[nodiscard]] float Ech(size_t n) const { return LireEch(pSource + 2 * n, 16); }
#if defined(__SSE2__)
  void Huit(size_t n, __m128* pBas, __m128* pHaut) const {
    __m128i ech;
    std::memcpy(&ech, pSource + 2 * n, sizeof(ech));
    const __m128 echelle = _mm_set1_ps(1.0F / 32768.0F);
    *pBas = _mm_mul_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(ech, ech), 16)), echelle);
    *pHaut = _mm_mul_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(ech, ech), 16)), echelle);
  }
#endif
};

/// A stretch of a run in which the same factors apply throughout.
struct Segment {
  uint32_t dwDebut = 0;  ///< frames of the run
  uint32_t dwFin = 0;
  bool bFadeIn = false;
  bool bFadeOut = false;
  bool bRampe = false;
};

template <class Lecteur>
void SegmentSimple(const Lecteur& lecteur, const Segment& segment, int nChannels, const MIXE_RUN& run, float* pfBus,
                   float* pfCrete) {
  const auto fFadeIn = static_cast<float>(run.dwFadeIn);
  const auto fFadeOut = static_cast<float>(run.dwFadeOut);
  size_t n = size_t{segment.dwDebut} * static_cast<size_t>(nChannels);
  for (uint32_t k = segment.dwDebut; k < segment.dwFin; ++k) {
    const float fi = segment.bFadeIn ? static_cast<float>(static_cast<int32_t>(run.llPos + k)) / fFadeIn : 1.0F;
    const float fo = segment.bFadeOut
                         ? static_cast<float>(static_cast<int32_t>(std::max<int64_t>(run.llReste - k, 0))) / fFadeOut
                         : 1.0F;
    const float g = segment.bRampe
                        ? static_cast<float>(static_cast<double>(run.llRampe + k) * run.dRampePente + run.dRampeOrigine)
                        : run.fGain;
    const float fFacteur = run.fMaster * g;
    for (int c = 0; c < nChannels; ++c, ++n) {
      float v = lecteur.Ech(n);
      if (segment.bFadeIn) v *= fi;
      if (segment.bFadeOut) v *= fo;
      const float s = pfBus[n] + fFacteur * v;
      pfCrete[c] = std::max(pfCrete[c], std::fabs(s));
      pfBus[n] = std::min(1.0F, std::max(-1.0F, s));
    }
  }
}

#if defined(__SSE2__)

/// Two frames' factors become four samples'.
inline __m128 Bas(__m128 v) {
  return _mm_unpacklo_ps(v, v);
}
inline __m128 Haut(__m128 v) {
  return _mm_unpackhi_ps(v, v);
}

inline __m128 Ajoute4(__m128 v, __m128 facteur, float* pfBus, __m128 crete) {
  const __m128 s = _mm_add_ps(_mm_loadu_ps(pfBus), _mm_mul_ps(facteur, v));
  const __m128 valeur = _mm_and_ps(s, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
  _mm_storeu_ps(pfBus, _mm_min_ps(_mm_max_ps(s, _mm_set1_ps(-1.0F)), _mm_set1_ps(1.0F)));
  return _mm_max_ps(valeur, crete);
}

/// Four stereo frames at a time; returns how many frames it did.
template <class Lecteur, bool kFadeIn, bool kFadeOut, bool kRampe>
uint32_t SegmentStereo(const Lecteur& lecteur, const Segment& segment, const MIXE_RUN& run, float* pfBus,
                       float* pfCrete) {
  const uint32_t dwPas = (segment.dwFin - segment.dwDebut) / 4;
  const __m128i quatre = _mm_set1_epi32(4);
  const __m128i suite = _mm_setr_epi32(0, 1, 2, 3);
  const __m128 fadeIn = _mm_set1_ps(static_cast<float>(run.dwFadeIn));
  const __m128 fadeOut = _mm_set1_ps(static_cast<float>(run.dwFadeOut));
  __m128i pos = suite;
  __m128i reste = suite;
  // Casts only where the counts are known to fit: a fade's segment lies within its kFonduMax frames.
  if constexpr (kFadeIn) pos = _mm_add_epi32(_mm_set1_epi32(static_cast<int32_t>(run.llPos + segment.dwDebut)), suite);
  if constexpr (kFadeOut) {
    const int64_t llReste = std::max<int64_t>(run.llReste - segment.dwDebut, 0);
    reste = _mm_sub_epi32(_mm_set1_epi32(static_cast<int32_t>(llReste)), suite);
  }
  const double dRampe = static_cast<double>(run.llRampe + segment.dwDebut);
  __m128d rampe01 = _mm_setr_pd(dRampe, dRampe + 1.0);
  __m128d rampe23 = _mm_setr_pd(dRampe + 2.0, dRampe + 3.0);
  const __m128d quatreD = _mm_set1_pd(4.0);
  const __m128d pente = _mm_set1_pd(run.dRampePente);
  const __m128d origine = _mm_set1_pd(run.dRampeOrigine);
  const __m128 master = _mm_set1_ps(run.fMaster);
  const __m128 constante = _mm_set1_ps(run.fMaster * run.fGain);
  __m128 crete = _mm_setr_ps(pfCrete[0], pfCrete[1], pfCrete[0], pfCrete[1]);

  size_t n = size_t{segment.dwDebut} * 2;
  for (uint32_t i = 0; i < dwPas; ++i, n += 8) {
    __m128 bas;
    __m128 haut;
    lecteur.Huit(n, &bas, &haut);
    if constexpr (kFadeIn) {
      const __m128 fi = _mm_div_ps(_mm_cvtepi32_ps(pos), fadeIn);
      pos = _mm_add_epi32(pos, quatre);
      bas = _mm_mul_ps(bas, Bas(fi));
      haut = _mm_mul_ps(haut, Haut(fi));
    }
    if constexpr (kFadeOut) {
      const __m128 fo = _mm_div_ps(_mm_max_ps(_mm_cvtepi32_ps(reste), _mm_setzero_ps()), fadeOut);
      reste = _mm_sub_epi32(reste, quatre);
      bas = _mm_mul_ps(bas, Bas(fo));
      haut = _mm_mul_ps(haut, Haut(fo));
    }
    if constexpr (kRampe) {
      const __m128 g01 = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(rampe01, pente), origine));
      const __m128 g23 = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(rampe23, pente), origine));
      rampe01 = _mm_add_pd(rampe01, quatreD);
      rampe23 = _mm_add_pd(rampe23, quatreD);
      const __m128 facteur = _mm_mul_ps(master, _mm_movelh_ps(g01, g23));
      crete = Ajoute4(bas, Bas(facteur), pfBus + n, crete);
      crete = Ajoute4(haut, Haut(facteur), pfBus + n + 4, crete);
    } else {
      crete = Ajoute4(bas, constante, pfBus + n, crete);
      crete = Ajoute4(haut, constante, pfBus + n + 4, crete);
    }
  }
  std::array<float, 4> f;
  _mm_storeu_ps(f.data(), crete);
  pfCrete[0] = std::max(f[0], f[2]);
  pfCrete[1] = std::max(f[1], f[3]);
  return dwPas * 4;
}

template <class Lecteur>
uint32_t SegmentVite(const Lecteur& lecteur, const Segment& s, const MIXE_RUN& run, float* pfBus, float* pfCrete) {
  switch ((s.bFadeIn ? 1 : 0) + (s.bFadeOut ? 2 : 0) + (s.bRampe ? 4 : 0)) {
    case 0:
      return SegmentStereo<Lecteur, false, false, false>(lecteur, s, run, pfBus, pfCrete);
    case 1:
      return SegmentStereo<Lecteur, true, false, false>(lecteur, s, run, pfBus, pfCrete);
    case 2:
      return SegmentStereo<Lecteur, false, true, false>(lecteur, s, run, pfBus, pfCrete);
    case 3:
      return SegmentStereo<Lecteur, true, true, false>(lecteur, s, run, pfBus, pfCrete);
    case 4:
      return SegmentStereo<Lecteur, false, false, true>(lecteur, s, run, pfBus, pfCrete);
    case 5:
      return SegmentStereo<Lecteur, true, false, true>(lecteur, s, run, pfBus, pfCrete);
    case 6:
      return SegmentStereo<Lecteur, false, true, true>(lecteur, s, run, pfBus, pfCrete);
    default:
      return SegmentStereo<Lecteur, true, true, true>(lecteur, s, run, pfBus, pfCrete);
  }
}

#endif

/// Where in 0..dwFrames a boundary that many frames away falls.
uint32_t Coupe(int64_t llDistance, uint32_t dwFrames) {
  return static_cast<uint32_t>(std::clamp<int64_t>(llDistance, 0, dwFrames));
}

template <class Lecteur>
void Ajoute(const Lecteur& lecteur, uint32_t dwFrames, int nChannels, const MIXE_RUN& demande, float* pfBus,
            float* pfCrete) {
  MIXE_RUN run = demande;
  run.llReste = std::max<int64_t>(run.llReste, 0);
  const uint32_t dwFinFadeIn =
      run.llPos < run.dwFadeIn ? Coupe(static_cast<int64_t>(run.dwFadeIn - run.llPos), dwFrames) : 0;
  const uint32_t dwDebutFadeOut = run.dwFadeOut ? Coupe(run.llReste - run.dwFadeOut + 1, dwFrames) : dwFrames;
  const bool bRampe = run.llRampeFin > run.llRampeDebut;
  const uint32_t dwDebutRampe = bRampe ? Coupe(run.llRampeDebut - run.llRampe, dwFrames) : dwFrames;
  const uint32_t dwFinRampe = bRampe ? Coupe(run.llRampeFin - run.llRampe + 1, dwFrames) : dwFrames;

  std::array<uint32_t, 5> bornes = {dwFinFadeIn, dwDebutFadeOut, dwDebutRampe, dwFinRampe, dwFrames};
  std::sort(bornes.begin(), bornes.end());
  Segment segment;
  for (const uint32_t dwBorne : bornes) {
    segment.dwFin = dwBorne;
    if (segment.dwFin == segment.dwDebut) continue;
    segment.bFadeIn = segment.dwDebut < dwFinFadeIn;
    segment.bFadeOut = segment.dwDebut >= dwDebutFadeOut;
    segment.bRampe = segment.dwDebut >= dwDebutRampe && segment.dwDebut < dwFinRampe;
#if defined(__SSE2__)
    if (nChannels == 2) segment.dwDebut += SegmentVite(lecteur, segment, run, pfBus, pfCrete);
#endif
    SegmentSimple(lecteur, segment, nChannels, run, pfBus, pfCrete);
    segment.dwDebut = segment.dwFin;
  }
}

}  // namespace

bool FormatMixable(const PCMWAVEFORMAT& format) {
  const int iBits = format.wBitsPerSample;
  return (iBits == 8 || iBits == 16 || iBits == 24 || iBits == 32) && format.nChannels > 0 &&
         format.nSamplesPerSec > 0 && format.nBlockAlign == iBits / 8 * format.nChannels;
}

void ConvertitRun(const uint8_t* pSource, const PCMWAVEFORMAT& source, uint32_t dwFrames, int nBusChannels,
                  float* pDest) {
  const int nSource = source.nChannels;
  const int iBits = source.wBitsPerSample;
  const int nOctets = iBits / 8;
  const bool bDirect = nSource == nBusChannels;
  for (uint32_t k = 0; k < dwFrames; ++k, pSource += source.nBlockAlign) {
    if (bDirect) {
      for (int c = 0; c < nBusChannels; ++c) *pDest++ = LireEch(pSource + c * nOctets, iBits);
      continue;
    }
    const float fGauche = LireEch(pSource, iBits);
    const float fDroite = nSource > 1 ? LireEch(pSource + nOctets, iBits) : fGauche;
    *pDest++ = nBusChannels == 1 ? (fGauche + fDroite) * 0.5F : fGauche;
    if (nBusChannels == 1) continue;
    *pDest++ = fDroite;
    for (int c = 2; c < nBusChannels; ++c) *pDest++ = 0.0F;
  }
}

void AjouteRun(const float* pSource, uint32_t dwFrames, int nChannels, const MIXE_RUN& run, float* pfBus,
               float* pfCrete) {
  Ajoute(LecteurFloat{pSource}, dwFrames, nChannels, run, pfBus, pfCrete);
}

void AjouteRun16(const uint8_t* pSource, uint32_t dwFrames, int nChannels, const MIXE_RUN& run, float* pfBus,
                 float* pfCrete) {
  Ajoute(LecteurPcm16{pSource}, dwFrames, nChannels, run, pfBus, pfCrete);
}

void EcrireBus(const float* pfBus, uint32_t nEch, int iBits, uint8_t* pDest) {
  uint32_t n = 0;
#if defined(__SSE2__)
  if (iBits == 16) {
    // s - 1 in double, truncated toward zero, without the doubles: from 1 on it is the whole part less
    // 1; between 0 and 1 it is 0, but -1 from 2^-54 down, where s is lost in the difference; below 0 it
    // is the whole part of s. A true comparison is the integer -1.
    const __m128 echelle = _mm_set1_ps(32768.0F);
    const __m128 un = _mm_set1_ps(1.0F);
    const __m128 perdu = _mm_set1_ps(0x1p-54F);
    const auto quatre = [&](const float* pf) {
      const __m128 s = _mm_mul_ps(_mm_loadu_ps(pf), echelle);
      const __m128 zero = _mm_and_ps(_mm_cmpge_ps(s, _mm_setzero_ps()), _mm_cmple_ps(s, perdu));
      const __m128 moins = _mm_or_ps(_mm_cmpge_ps(s, un), zero);
      return _mm_add_epi32(_mm_cvttps_epi32(s), _mm_castps_si128(moins));
    };
    for (; n + 8 <= nEch; n += 8) {
      const __m128i ech = _mm_packs_epi32(quatre(pfBus + n), quatre(pfBus + n + 4));
      std::memcpy(pDest + size_t{n} * 2, &ech, sizeof(ech));
    }
  }
#endif
  const auto nOctets = static_cast<size_t>(iBits / 8);
  for (; n < nEch; ++n) EcrireEch(pfBus[n], iBits, pDest + n * nOctets);
}

}  // namespace tonara
