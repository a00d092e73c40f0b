// Private to the wave devices: an output and an input that run on the monotonic clock alone. What is
// done with the sound, or where it comes from, is a sink's or a source's business.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/wavedevice_queue.h"

namespace tonara {

/// Gets the bytes of each block at the moment when the block ends. Device's thread.
class CPcmSink {
 public:
  virtual ~CPcmSink() = default;
  virtual void Consume(const uint8_t* pData, uint32_t dwLength) = 0;
};

/// Fills dwLength bytes with the sound of the time just gone. Device's thread.
class CPcmSource {
 public:
  virtual ~CPcmSource() = default;
  virtual void Produce(uint8_t* pData, uint32_t dwLength) = 0;
};

/// An output whose blocks end when they would on an ideal device. The thread sleeps until an absolute
/// instant of CLOCK_MONOTONIC, so no error adds up; it waits on a condition variable instead of in
/// clock_nanosleep so that Pause, Reset and the end reach it at once. No thread runs, and nothing
/// wakes up, while there is nothing to play.
class CPacedOut final : public CWaveOutDevice {
 public:
  /// The sink may be null (silence). The format must be usable.
  CPacedOut(const char* szThread, const PCMWAVEFORMAT& format, WaveCallback fnDone, std::unique_ptr<CPcmSink> pSink);
  ~CPacedOut() override;

  bool Write(WaveHeader* pHeader) override;
  bool Pause() override;
  bool Restart() override;
  bool Reset() override;
  bool GetPosition(uint32_t* pdwFrames) override;
  bool SetVolume(uint32_t dwVolume) override;
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  void Run();
  [[nodiscard]] int64_t NowLocked() const { return m_bRunning ? WaveNowNs() : m_llPausedAt; }
  /// Waits until no block is on its way through sink and callback.
  void WaitIdleLocked(std::unique_lock<std::mutex>& lock);

  CWaveQueue m_queue;
  std::unique_ptr<CPcmSink> m_pSink;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  CWavePace m_pace;
  bool m_bRunning = false;
  bool m_bStop = false;
  bool m_bBusy = false;  ///< the thread is handing a block on, without the lock
  int64_t m_llPausedAt;
  std::thread m_thread;
};

/// An input that fills its blocks as an ideal device would. Without a block it loses the sound.
class CPacedIn final : public CWaveInDevice {
 public:
  /// The source may be null (silence). The format must be usable.
  CPacedIn(const char* szThread, const PCMWAVEFORMAT& format, WaveCallback fnDone, std::unique_ptr<CPcmSource> pSource);
  ~CPacedIn() override;

  bool AddBuffer(WaveHeader* pHeader) override;
  bool Start() override;
  bool Reset() override;
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  void Run();
  void Fill(WaveHeader* pHeader, uint32_t dwLength);

  const WaveCallback m_fnDone;
  const PCMWAVEFORMAT m_format;
  std::unique_ptr<CPcmSource> m_pSource;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  std::deque<WaveHeader*> m_queue;
  CWavePace m_pace;
  bool m_bRunning = false;
  bool m_bStop = false;
  bool m_bBusy = false;
  std::thread m_thread;
};

/// A backend with one output and one input, open to any number of streams.
class CSinglePairBackend : public CWaveBackend {
 public:
  explicit CSinglePairBackend(std::string szDevice) : m_szDevice(std::move(szDevice)) {}
  uint32_t OutCount() override { return 1; }
  bool OutName(uint32_t nIndex, std::string* pName) override;
  uint32_t InCount() override { return 1; }
  bool InName(uint32_t nIndex, std::string* pName) override;

 protected:
  /// True if that index can be opened with that format; else *pError says why not.
  static bool Accepts(uint32_t nIndex, const PCMWAVEFORMAT& format, std::string* pError);

 private:
  const std::string m_szDevice;
};

}  // namespace tonara
