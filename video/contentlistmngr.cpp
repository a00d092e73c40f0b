#include "video/contentlistmngr.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

#include "core/log.h"
#include "core/mediatype.h"
#include "platform/paths.h"

namespace tonara {
namespace {

// Folders below folders. Each level of a scan keeps one directory open.
constexpr int kProfondeurMax = 64;

// The classic draw has 15 bits; a list longer than this needs more for every start to be possible.
constexpr int kTirage15Bits = 32768;

// splitmix64 (Steele, Lea, Flood 2014): a counter and a mixing function, so any seed is a good one.
uint64_t Melange(uint64_t x) {
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9U;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebU;
  return x ^ (x >> 31);
}

uint64_t& Generateur() {
  // The address of a thread's own variable tells threads apart that start in the same tick.
  thread_local uint64_t etat =
      Melange(static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
              reinterpret_cast<uintptr_t>(&etat));
  return etat;
}

uint32_t Tirage32() {
  uint64_t& etat = Generateur();
  etat += 0x9e3779b97f4a7c15U;
  return static_cast<uint32_t>(Melange(etat) >> 32);
}

struct FermeDossier {
  void operator()(DIR* pDir) const { closedir(pDir); }
};

enum class Nature { Dossier, Fichier, Autre };

// What an entry is, links followed. Not every file system fills d_type.
Nature NatureDe(int fdDossier, const dirent& entree) {
  if (entree.d_type == DT_DIR) return Nature::Dossier;
  if (entree.d_type == DT_REG) return Nature::Fichier;
  if (entree.d_type != DT_LNK && entree.d_type != DT_UNKNOWN) return Nature::Autre;
  struct stat st {};
  if (fstatat(fdDossier, entree.d_name, &st, 0) != 0) return Nature::Autre;
  if (S_ISDIR(st.st_mode)) return Nature::Dossier;
  return S_ISREG(st.st_mode) ? Nature::Fichier : Nature::Autre;
}

}  // namespace

void SemerAleatoire(uint32_t dwGraine) {
  Generateur() = dwGraine;
}

int Aleatoire(int nMax) {
  if (nMax <= 0) return 0;
  if (nMax < kTirage15Bits) {
    const auto n = static_cast<float>(Tirage32() >> 17);
    return static_cast<int>(n * 3.0517578e-5F * static_cast<float>(nMax + 1));
  }
  // The same scaling of a draw from [0, 1), in whole numbers.
  return static_cast<int>((static_cast<uint64_t>(Tirage32()) * (static_cast<uint64_t>(nMax) + 1)) >> 32);
}

void CContentList::Add(std::string szPath) {
  const size_t nIndex = m_vListe.size();
  m_vListe.push_back({std::move(szPath), 0});
  if (nIndex / 64 == m_vLibres.size()) m_vLibres.push_back(0);
  if (m_nLecturesMax > 0) m_vLibres[nIndex / 64] |= uint64_t{1} << (nIndex % 64);
}

uint32_t CContentList::NextUnplayed(uint32_t nDepart) const {
  const size_t nMots = m_vLibres.size();
  const size_t nPremier = nDepart / 64;
  // The first word twice: from nDepart up at the beginning, whole again after the wrap.
  uint64_t bits = m_vLibres[nPremier] & (~uint64_t{0} << (nDepart % 64));
  for (size_t i = 0, nMot = nPremier; i <= nMots; ++i) {
    if (bits != 0) return static_cast<uint32_t>(nMot * 64 + static_cast<size_t>(std::countr_zero(bits)));
    nMot = nMot + 1 < nMots ? nMot + 1 : 0;
    bits = m_vLibres[nMot];
  }
  return nDepart;
}

void CContentList::MarkPlayed(uint32_t nIndex) {
  const uint32_t nLectures = ++m_vListe[nIndex].m_nLectures;
  if (nLectures > m_nLecturesMax) {
    // A new highest count: every other entry is below it now.
    m_nLecturesMax = nLectures;
    std::fill(m_vLibres.begin(), m_vLibres.end(), ~uint64_t{0});
    if (const size_t nReste = m_vListe.size() % 64; nReste != 0) m_vLibres.back() = (uint64_t{1} << nReste) - 1;
  }
  if (nLectures == m_nLecturesMax) m_vLibres[nIndex / 64] &= ~(uint64_t{1} << (nIndex % 64));
}

CContentListMngr::CContentListMngr() = default;

CContentListMngr::~CContentListMngr() {
  // Without the lock, so that the scan can finish its entry.
  m_thread.Stop();
}

void CContentListMngr::SetDossier(const std::string& szDossier, bool bSousRep, std::span<const int> types) {
  CGuard guard(m_cs);
  m_szDossier = szDossier;
  m_bSousRep = bSousRep;
  m_pTypes.assign(types.begin(), types.end());
}

bool CContentListMngr::Charger() {
  if (m_nEtat.load() == kEnCours) return false;
  CContentList ancienne;  // freed after the lock
  CGuard guard(m_cs);
  return ChargerLocked(&ancienne);
}

bool CContentListMngr::ChargerLocked(CContentList* pAncienne) {
  // Two callers may arrive together: the second finds the first one's scan.
  if (m_nEtat.load() == kEnCours) return false;
  std::swap(m_liste, *pAncienne);
  m_iCourant = 0;
  // An earlier thread has said that it ended, but may still be on its way out: joined here, in no time.
  m_thread.Stop();
  m_nEtat.store(kEnCours);
  if (!m_thread.Start("liste", CWorker::Priority::Normal, [this] { ScanThread(); })) {
    m_nEtat.store(kTermine);
    TraceOnce("liste:thread", "Liste : impossible de lancer la lecture du dossier " + m_szDossier);
    return false;
  }
  return true;
}

bool CContentListMngr::IsCharge() const {
  return m_nEtat.load() == kTermine;
}

bool CContentListMngr::Vider() {
  CContentList ancienne;  // freed after the lock: 100,000 entries take milliseconds
  CGuard guard(m_cs);
  std::swap(m_liste, ancienne);
  m_iCourant = 0;
  return true;
}

int CContentListMngr::GetNombre() {
  CGuard guard(m_cs);
  return static_cast<int>(m_liste.Count());
}

bool CContentListMngr::GetSuivant(std::string* pPath, bool bAleatoire) {
  if (pPath == nullptr) return false;
  CContentList ancienne;
  CGuard guard(m_cs);
  const uint32_t n = m_liste.Count();
  if (n == 0) {
    ChargerLocked(&ancienne);
    return false;
  }
  if (bAleatoire) {
    m_iCourant = m_liste.NextUnplayed(static_cast<uint32_t>(Aleatoire(static_cast<int>(n - 1))));
  }
  *pPath = m_liste.At(m_iCourant).m_szPath;
  m_liste.MarkPlayed(m_iCourant);
  if (!bAleatoire && ++m_iCourant >= n) m_iCourant = 0;
  return true;
}

bool CContentListMngr::GetFichier(int nIndex, std::string* pPath) {
  if (pPath == nullptr || nIndex < 0) return false;
  CGuard guard(m_cs);
  if (static_cast<uint32_t>(nIndex) >= m_liste.Count()) return false;
  *pPath = m_liste.At(static_cast<uint32_t>(nIndex)).m_szPath;
  return true;
}

void CContentListMngr::ScanThread() {
  std::string dossier;
  {
    CGuard guard(m_cs);
    dossier = m_szDossier;
  }
  if (!dossier.empty()) {
    const std::string cle = "liste:" + dossier;
    dossier = ResolvePath(dossier);
    while (dossier.size() > 1 && dossier.back() == '/') dossier.pop_back();
    if (IsFolder(dossier)) {
      TraceOnceClear(cle);
      Visites visites;
      ScanDossier(dossier, 0, visites);
    } else {
      TraceOnce(cle, "Liste : dossier inaccessible " + dossier);
    }
  }
  // Last, and nothing under the lock behind it: whoever sees this may join the thread holding m_cs.
  m_nEtat.store(kTermine);
}

// False if the scan was told to stop. A folder that can't be read counts as empty.
bool CContentListMngr::ScanDossier(const std::string& szDossier, int nProfondeur, Visites& visites) {
  const std::unique_ptr<DIR, FermeDossier> pDir(opendir(szDossier.c_str()));
  if (!pDir) {
    TraceOnce("liste:" + szDossier, "Liste : dossier illisible " + szDossier + " : " + std::strerror(errno));
    return true;
  }
  // Links to folders are followed, so one folder can be met on several ways, or below itself: it is
  // read once in a scan.
  struct stat st {};
  if (fstat(dirfd(pDir.get()), &st) != 0 || !visites.insert({st.st_dev, st.st_ino}).second) return true;

  while (const dirent* pEntree = readdir(pDir.get())) {
    if (m_thread.StopRequested()) return false;
    const char* szNom = pEntree->d_name;
    switch (NatureDe(dirfd(pDir.get()), *pEntree)) {
      case Nature::Dossier: {
        if (szNom[0] == '.') break;
        bool bSousRep = false;
        {
          CGuard guard(m_cs);
          bSousRep = m_bSousRep;
        }
        if (!bSousRep) break;
        if (nProfondeur + 1 > kProfondeurMax) {
          TraceOnce("liste:" + szDossier, "Liste : trop de sous-dossiers sous " + szDossier);
          break;
        }
        const std::string base = szDossier == "/" ? std::string() : szDossier;
        if (!ScanDossier(base + "/" + szNom, nProfondeur + 1, visites)) return false;
        break;
      }
      case Nature::Fichier:
        Ajouter(szDossier, szNom);
        break;
      case Nature::Autre:
        break;
    }
  }
  return true;
}

void CContentListMngr::Ajouter(const std::string& szDossier, const char* szNom) {
  // Made ready outside the lock, which users of the list wait for.
  const int nType = GetMediaType(szNom);
  if (nType == kMediaInconnu) return;
  std::string chemin = szDossier == "/" ? std::string() : szDossier;
  chemin += '/';
  chemin += szNom;
  CGuard guard(m_cs);
  if (std::find(m_pTypes.begin(), m_pTypes.end(), nType) == m_pTypes.end()) return;
  m_liste.Add(std::move(chemin));
}

}  // namespace tonara
