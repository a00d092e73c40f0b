// A wave backend whose devices a test moves by hand: position and completions advance only by Play(),
// what was written is kept, faults come on demand.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wavedevice.h"

namespace tonara::test {

/// Is the process's backend for its lifetime. Lists the outputs and inputs given. Thread-safe, so a
/// mixer with its own thread may run on it too.
class CFakeWave final : public CWaveBackend {
 public:
  explicit CFakeWave(std::vector<std::string> outputs = {"Fake"}, std::vector<std::string> inputs = {"FakeIn"});
  ~CFakeWave() override;

  [[nodiscard]] const char* Name() const override { return "fake"; }
  uint32_t OutCount() override;
  bool OutName(uint32_t nIndex, std::string* pName) override;
  uint32_t InCount() override;
  bool InName(uint32_t nIndex, std::string* pName) override;
  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                          WaveCallback fnDone, std::string* pError) override;
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                        WaveCallback fnDone, std::string* pError) override;

  /// Plays the next nBlocks queued blocks of the open output (unless it is paused): keeps their bytes,
  /// moves the position, calls back. Returns how many blocks there were to play.
  int Play(int nBlocks);
  /// Blocks queued in the open output.
  int Queued();
  [[nodiscard]] bool IsOpen();
  [[nodiscard]] bool IsPaused();
  [[nodiscard]] PCMWAVEFORMAT Format();
  [[nodiscard]] int Opens();  ///< successful opens of an output so far
  /// All bytes played since the start or the last call, over all openings.
  std::vector<uint8_t> TakePlayed();
  std::vector<int16_t> TakePlayed16();

  /// Records: the next block given to the open input comes back holding these bytes (cut to its room). False if there
  /// is no block.
  bool Record(const void* pData, uint32_t dwOctets);
  bool IsInOpen();

  // Faults.
  void RefuseExtensible(bool bOn);
  void RefuseAll(bool bOn);
  void FailWrites(bool bOn);
  void FailPosition(bool bOn);
  /// The device's sample counter stands at this value more than was played (to test its wrap).
  void OffsetPosition(uint32_t dwFrames);

  struct CState;

 private:
  /// Result of fnDo(CState&) under the state's lock.
  template <class F>
  auto Locked(F fnDo);

  std::shared_ptr<CState> m_pState;
};

}  // namespace tonara::test
