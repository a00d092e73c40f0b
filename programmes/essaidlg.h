// The button "Tester" of the programmes' dialogs: plays a source on a mixer of its own, on top of what is
// on the air. Opening and closing of files and devices run on a thread of the button, never on the main one.
#pragma once

#include <QPushButton>
#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "audio/mixout.h"
#include "platform/worker.h"
#include "ui/look/arriereplan.h"

namespace tonara {

/// What is tested, and the mixer that it is heard on. Made and destroyed on the main thread.
class CSourceEssai {
 public:
  CSourceEssai() = default;
  virtual ~CSourceEssai() = default;
  CSourceEssai(const CSourceEssai&) = delete;
  CSourceEssai& operator=(const CSourceEssai&) = delete;

  /// Takes what the thread needs of the settings and of the dialog. False if there is nothing to test.
  bool Prepare();
  /// What has to be asked of a disk first, which may take for ever: holds copies only. Its false means that
  /// there is nothing to be heard. Empty for no question.
  [[nodiscard]] virtual std::function<bool()> Disque() const { return {}; }
  /// Starts the mixer and the source. False if nothing is heard. Any one thread; may block.
  bool Demarre();
  /// Makes a Demarre that is under way, or only about to begin, end soon. Main thread.
  virtual void Interrompt() {}
  /// Takes everything back, also what a failed Demarre left. The thread of Demarre.
  void Arrete();

 protected:
  virtual bool PrepareSource() = 0;
  virtual bool DemarreSource(CMixout& mixout, float fGain) = 0;
  virtual void ArreteSource(CMixout& mixout) = 0;

 private:
  CMixout m_mixout;
  std::string m_szSortie;
  int m_nBlocs = 0;
  int m_nTailleMs = 0;
  float m_fGain = 0.0F;
};

class CBoutonEssai final : public QPushButton {
  Q_OBJECT

 public:
  CBoutonEssai(std::unique_ptr<CSourceEssai> pSource, QWidget* pParent);
  ~CBoutonEssai() override { Termine(); }

  /// Ends a test and waits until nothing of it is left.
  void Termine();
  /// True while the test is heard.
  [[nodiscard]] bool IsJoue() const { return m_eEtat == Etat::Joue; }

 signals:
  /// The test began, or is over, to the operator's eye.
  void Joue(bool bJoue);

 private:
  enum class Etat { Repos, Demarrage, Joue, Fin };

  void Clic();
  void Lance();
  void LanceThread();
  void Arrete();
  void Demarre(bool bJoue);
  void Fini();
  void SetEtat(Etat eEtat);

  std::unique_ptr<CSourceEssai> m_pSource;
  Etat m_eEtat = Etat::Repos;
  bool m_bThread = false;  ///< the thread is there, or its end has not been noticed
  bool m_bEncore = false;  ///< a click came while the last test was being taken down
  CArrierePlan m_disque{1};
  CWorker m_worker;
};

}  // namespace tonara
