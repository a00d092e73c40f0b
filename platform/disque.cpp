#include "platform/disque.h"

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

#include "platform/paths.h"

namespace tonara {

using Instant = std::chrono::steady_clock::time_point;

struct CQuestionDisque::Reponse {
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bVenue = false;
  const Instant m_tPosee = std::chrono::steady_clock::now();
};

namespace {

constexpr auto kFraiche = std::chrono::seconds(3);
constexpr size_t kReponsesMax = 1000;

/// What was asked. Never destroyed: threads that hang outlive the globals.
struct Annuaire {
  std::mutex m_mutex;
  std::map<std::string, std::shared_ptr<CQuestionDisque::Reponse>> m_ouvertes;  // by folder
  std::map<std::string, Instant> m_repondues;
};

Annuaire& LAnnuaire() {
  static auto* const s_pAnnuaire = new Annuaire;  // NOLINT: as told above
  return *s_pAnnuaire;
}

void Pose(const std::string& szDossier, const std::string& szPath,
          const std::shared_ptr<CQuestionDisque::Reponse>& pReponse) {
  [[maybe_unused]] const bool bExiste = PathExists(szPath);
  Annuaire& annuaire = LAnnuaire();
  {
    const std::lock_guard lock(annuaire.m_mutex);
    annuaire.m_ouvertes.erase(szDossier);
    if (annuaire.m_repondues.size() >= kReponsesMax) annuaire.m_repondues.clear();
    annuaire.m_repondues[szDossier] = std::chrono::steady_clock::now();
  }
  const std::lock_guard lock(pReponse->m_mutex);
  pReponse->m_bVenue = true;
  pReponse->m_cv.notify_all();
}

}  // namespace

CQuestionDisque::CQuestionDisque(const std::string& szPath, bool bDossier) {
  const size_t nBarre = szPath.find_last_of("/\\");
  const std::string szDossier = bDossier ? szPath : szPath.substr(0, nBarre == std::string::npos ? 0 : nBarre);
  Annuaire& annuaire = LAnnuaire();
  const std::lock_guard lock(annuaire.m_mutex);
  if (const auto ouverte = annuaire.m_ouvertes.find(szDossier); ouverte != annuaire.m_ouvertes.end()) {
    m_pReponse = ouverte->second;
    return;
  }
  const auto repondue = annuaire.m_repondues.find(szDossier);
  if (repondue != annuaire.m_repondues.end() && std::chrono::steady_clock::now() - repondue->second < kFraiche) return;
  auto pReponse = std::make_shared<Reponse>();
  try {
    std::thread([szDossier, szPath, pReponse] {
      pthread_setname_np(pthread_self(), "disque");
      Pose(szDossier, szPath, pReponse);
    }).detach();
  } catch (const std::system_error&) {
    return;  // no thread to be had: whoever asks finds out by himself
  }
  annuaire.m_ouvertes[szDossier] = pReponse;
  m_pReponse = std::move(pReponse);
}

bool CQuestionDisque::Attend(uint32_t dwMs) {
  if (m_pReponse == nullptr) return true;
  std::unique_lock lock(m_pReponse->m_mutex);
  if (m_pReponse->m_bVenue) return true;
  if (std::chrono::steady_clock::now() - m_pReponse->m_tPosee > std::chrono::milliseconds(kMorteMs)) return false;
  return m_pReponse->m_cv.wait_for(lock, std::chrono::milliseconds(dwMs), [this] { return m_pReponse->m_bVenue; });
}

}  // namespace tonara
