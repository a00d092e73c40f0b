// "Source externe": a sound card's input as the continuous programme. The device is the setting
// DeviceIn; the programme has no section of its own. A worker watches over the input: one that was
// missing at the start, or goes away and comes back, is heard without anybody's hand.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/clock.h"
#include "platform/worker.h"
#include "programmes/audioprogram.h"
#include "programmes/linesource.h"

namespace tonara {

class CAppcfg;
class CHistorique;
class CMixout;

/// Main thread, except Tick.
class CAudioLigneProgram final : public CAudioProgram {
 public:
  /// With the program's own settings, history, mixer, input and clock.
  explicit CAudioLigneProgram(const std::string& szIni);
  CAudioLigneProgram(const std::string& szIni, const CAppcfg& cfg, CHistorique& historique, CMixout& mixout,
                     CLineSource& ligne, CClock& clock);
  ~CAudioLigneProgram() override;

  /// Writes the history line, opens the input and leaves the rest to the worker: putting a live source
  /// on the mixer takes as long as the mixer's queue. False, after a box, if the input didn't open; the
  /// worker then goes on trying, and Stop is needed as after a success.
  bool Start() override;
  /// Ends the sound and the worker, whatever the input does. Waits at most for an opening of the
  /// device that is under way.
  bool Stop() override;
  bool Suspend(uint32_t nFlag) override;
  /// The device's name; false only for a null output.
  bool GetTitre(std::string* pOut) override;
  bool Load(const std::string& szIni) override;
  bool Save(const std::string& szIni) override;
  /// "Source externe": the input, with a test that is heard on top of what plays. Saves all settings.
  bool Configure(QWidget* pParent, bool bActif) override;

  /// One round of the worker.
  void Tick();
  /// Start without the worker, for tests that call Tick.
  bool StartSansThread();
  /// Ms until the next round: short while sound gathers, else 500.
  [[nodiscard]] uint32_t Periode() const;

 private:
  bool Demarre();
  void Perte(const char* szQuoi);
  void Recule();
  bool Vivante();

  const CAppcfg& m_cfg;
  CHistorique& m_historique;
  CMixout& m_mixout;
  CLineSource& m_ligne;
  CClock& m_clock;
  CWorker m_worker;
  std::atomic<bool> m_bActif{false};

  const std::string m_szDevice;  ///< taken when made, on the main thread: Start may run on another one
  // Set by Start, then the worker's alone until it has been joined.
  float m_fGain = 0.0F;
  bool m_bJoue = false;       ///< the tranche was put on the mixer
  bool m_bPerdue = false;     ///< the loss has been traced, the return has not
  int m_nSourd = 0;           ///< rounds in a row that found the tranche dead
  uint32_t m_nBlocs = 0;      ///< captured blocks at the last look
  uint64_t m_llVu = 0;        ///< when that number last moved, monotonic ms
  uint64_t m_llProchain = 0;  ///< no new attempt before this, monotonic ms
  uint32_t m_dwDelai = 0;     ///< ms until the attempt after the next
};

}  // namespace tonara
