#include "video/ecran.h"

#include <mutex>
#include <shared_mutex>

namespace tonara {
namespace {

// Function-local, so that a global's destructor may still ask for the screen.
std::shared_mutex& EcranMutex() {
  static std::shared_mutex mutex;
  return mutex;
}
CEcran* s_pEcran = nullptr;

}  // namespace

CEcran* GetEcran() {
  const std::shared_lock lock(EcranMutex());
  return s_pEcran;
}

void SetEcran(CEcran* pEcran) {
  const std::unique_lock lock(EcranMutex());
  s_pEcran = pEcran;
}

CEcranPris::CEcranPris() {
  EcranMutex().lock_shared();
  m_pEcran = s_pEcran;
}

CEcranPris::~CEcranPris() {
  EcranMutex().unlock_shared();
}

}  // namespace tonara
