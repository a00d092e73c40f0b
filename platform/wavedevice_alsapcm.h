// Private to the wave devices: an ALSA PCM, opened without blocking, and a wait that other threads
// can cut short.
#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>
#include <string>

#include "platform/waveformat.h"

namespace tonara {

/// Closed by the destructor. One thread at a time.
class CAlsaPcm {
 public:
  enum class Result { Open, Absent, Refused };

  CAlsaPcm() = default;
  ~CAlsaPcm() { Close(); }
  CAlsaPcm(const CAlsaPcm&) = delete;
  CAlsaPcm& operator=(const CAlsaPcm&) = delete;

  /// A device that isn't there or is busy is absent; one that doesn't take the format or denies
  /// access refuses, with *pError the system's text. May block inside ALSA's plug-ins.
  Result Open(const std::string& szName, snd_pcm_stream_t eStream, const PCMWAVEFORMAT& format, std::string* pError);
  void Close();
  [[nodiscard]] bool IsOpen() const { return m_pPcm != nullptr; }
  [[nodiscard]] snd_pcm_t* Get() const { return m_pPcm; }
  [[nodiscard]] uint32_t BufferFrames() const { return m_dwBuffer; }

  /// Frames that can be moved now; -1 if the device is lost. Restarts it after an underrun, an
  /// overrun or a suspension.
  int64_t Available();
  void Pause(bool bOn);
  /// Starts a device that has data but didn't begin by itself.
  void Begin();
  /// Milliseconds that the device still has to play.
  uint32_t DelayMs();

 private:
  bool Recover(int nError);

  snd_pcm_t* m_pPcm = nullptr;
  uint32_t m_dwBuffer = 0;
  uint32_t m_dwRate = 1;
  bool m_bCapture = false;
  bool m_bCanPause = false;
};

/// Waits for a PCM, a wake-up or an instant, whichever comes first.
class CAlsaWait {
 public:
  CAlsaWait();
  ~CAlsaWait();
  CAlsaWait(const CAlsaWait&) = delete;
  CAlsaWait& operator=(const CAlsaWait&) = delete;

  /// Any thread.
  void Wake();
  /// pPcm may be null; llUntilNs 0 means no end.
  void Wait(snd_pcm_t* pPcm, int64_t llUntilNs);

 private:
  int m_fd;
};

}  // namespace tonara
