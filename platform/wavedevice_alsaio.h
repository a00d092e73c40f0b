// Private to the ALSA devices: the thread, the opening and the losses that output and input share.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/wavedevice_alsapcm.h"
#include "platform/wavedevice_queue.h"

namespace tonara {

/// Lives as long as its thread; the device that owners see holds it too. A thread caught in a call
/// that doesn't come back is left behind with it after half a second instead of holding up a close.
class CAlsaIo {
 public:
  CAlsaIo(std::string szPcm, std::string szLabel, snd_pcm_stream_t eStream, const PCMWAVEFORMAT& format);
  virtual ~CAlsaIo();
  CAlsaIo(const CAlsaIo&) = delete;
  CAlsaIo& operator=(const CAlsaIo&) = delete;

  static void StartThread(const std::shared_ptr<CAlsaIo>& pIo, const char* szThread);
  /// False with *pError if the PCM refuses; true if it is open, absent or silent until the deadline.
  bool WaitOpen(int64_t llUntilNs, std::string* pError);
  /// Ends the thread; no callback runs after it.
  void StopThread();
  void SetRunning(bool bRunning);

 protected:
  /// One turn with the PCM open and running; returns the instant to wait for, 0 for none. Sets
  /// m_bWantPcm if the PCM may wake it earlier. Device's thread, m_mutex held through the lock.
  virtual int64_t TurnOpen(std::unique_lock<std::mutex>& lock, int64_t llNow) = 0;
  /// One turn without a PCM.
  virtual int64_t TurnAbsent(std::unique_lock<std::mutex>& lock, int64_t llNow) = 0;
  /// The PCM was opened, or the stream started or stopped.
  virtual void OnOpened(int64_t /*llNow*/) {}
  virtual void OnRunning(bool /*bRunning*/, int64_t /*llNow*/) {}
  virtual void BeforeClose() {}

  void LosePcm(int64_t llNow);
  void TellLost();
  void TellReturned();

  const std::string m_szPcm;
  const std::string m_szLabel;
  const snd_pcm_stream_t m_eStream;
  const PCMWAVEFORMAT m_format;
  CAlsaWait m_wait;
  CAlsaPcm m_pcm;  ///< device's thread only

  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bRunning = false;
  bool m_bBusy = false;  ///< the thread moves data or calls back, without the lock
  bool m_bWantPcm = false;

 private:
  enum class Opening { Pending, Ready, Refused };
  void Run();

  bool m_bStop = false;
  bool m_bEnded = false;
  bool m_bWasRunning = false;
  bool m_bLostTold = false;
  int64_t m_llRetryAt = 0;
  int64_t m_llTellAt = 0;
  Opening m_eOpening = Opening::Pending;
  std::string m_szError;
  std::thread m_thread;
};

}  // namespace tonara
