// Whether the disk under a path answers. A network drive whose server has gone holds every system call
// that touches it, for minutes or for ever; whoever can't afford that asks here first.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tonara {

/// One question. Any thread; each object belongs to one. The thread that hangs on a dead disk is nobody's: one
/// for each folder, which ends when the disk answers or the process does.
class CQuestionDisque {
 public:
  /// From then on an open question means that the disk is dead: longer than one that slept takes to wake.
  static constexpr uint32_t kMorteMs = 10000;

  /// Asks about that path. Nothing is asked while a question about its folder is open, nor for a few seconds
  /// after one was answered: files of one folder share an answer. bDossier: the path is a folder, which may
  /// be where another drive begins. Doesn't touch the disk in the caller's thread.
  explicit CQuestionDisque(const std::string& szPath, bool bDossier = false);

  /// True if there is an answer (the path need not exist), at the latest after dwMs; false at once for
  /// a dead disk.
  [[nodiscard]] bool Attend(uint32_t dwMs);

  struct Reponse;

 private:
  std::shared_ptr<Reponse> m_pReponse;  // null: answered a moment ago
};

}  // namespace tonara
