// Questions to disks that may be slow, asked off the main thread: a network drive that doesn't answer
// holds up a thread here and never a window.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

namespace tonara {

/// Main thread. The threads belong to nobody: one that hangs in a dead drive stays behind when its owner
/// goes and ends when the drive answers or the process does.
class CArrierePlan final : public QObject {
 public:
  using Suite = std::function<void()>;     ///< what to do with an answer; main thread
  using Travail = std::function<Suite()>;  ///< asks, and may block; any thread, so it holds copies only

  /// At most that many questions at a time; the others wait in order.
  explicit CArrierePlan(int nThreadsMax);
  ~CArrierePlan() override { Coupe(); }

  void Demande(Travail fnTravail);
  /// Forgets the questions that wait for their turn.
  void OublieAttente();
  /// Forgets all questions: no answer to an earlier one comes any more, and a thread that still waits for
  /// one doesn't count. Waits for nothing.
  void Oublie();

 private:
  struct Etat;
  void Coupe();
  static void Boucle(const std::shared_ptr<Etat>& pEtat);

  const int m_nThreadsMax;
  std::shared_ptr<Etat> m_pEtat;
};

/// Does something that may block, on a thread of its own, and waits for its end for so long at most: for what
/// mostly takes no time at all. True if it has ended; false if it goes on, or if there is no thread for it.
bool FaitEnMoinsDe(int nDelaiMs, std::function<void()> fnTravail);

}  // namespace tonara
