#include <algorithm>
#include <utility>

#include "platform/wavedevice_alsa.h"
#include "platform/wavedevice_alsaio.h"

namespace tonara {
namespace {

constexpr int64_t kMs = 1'000'000;
constexpr int64_t kStallNs = 300 * kMs;
constexpr int64_t kLostNs = 1000 * kMs;
constexpr int64_t kMaxTailNs = 250 * kMs;

class CAlsaOutIo final : public CAlsaIo {
 public:
  CAlsaOutIo(std::string szPcm, std::string szLabel, const PCMWAVEFORMAT& format, WaveCallback fnDone)
      : CAlsaIo(std::move(szPcm), std::move(szLabel), SND_PCM_STREAM_PLAYBACK, format),
        m_queue(fnDone, format.nBlockAlign),
        m_pace(WaveBytesPerSec(format)),
        m_allowance(WaveBytesPerSec(format)) {
    m_pace.Restart(WaveNowNs());
    m_llPausedAt = WaveNowNs();
  }

  void Write(WaveHeader* pHeader) {
    if (!m_queue.Push(pHeader)) return;
    std::lock_guard lock(m_mutex);
    if (m_bRunning) m_pace.Forgive(WaveNowNs(), m_pace.Duration(pHeader->dwLength));
    m_wait.Wake();
  }
  void Reset() {
    bool bWasRunning = false;
    {
      std::unique_lock lock(m_mutex);
      bWasRunning = std::exchange(m_bRunning, false);
      m_cv.wait_for(lock, std::chrono::milliseconds(400), [this] { return !m_bBusy; });
    }
    m_queue.GiveBack();
    std::lock_guard lock(m_mutex);
    m_llPausedAt = WaveNowNs();
    m_pace.Restart(m_llPausedAt);
    m_bRunning = bWasRunning;
    m_wait.Wake();
  }
  [[nodiscard]] uint32_t Position() const { return m_queue.Position(); }
  void GiveBack() { m_queue.GiveBack(); }

 private:
  void OnOpened(int64_t llNow) override {
    m_bAlive = false;
    m_bNoClock = false;
    m_bFirst = true;
    m_llLastMove = llNow;
  }
  void OnRunning(bool bRunning, int64_t llNow) override {
    if (bRunning) {
      m_pace.Shift(llNow - m_llPausedAt);
      m_llLastMove = llNow;
      m_allowance.Restart(llNow);
      m_llAllowed = 0;
    } else {
      m_llPausedAt = llNow;
    }
  }

  int64_t TurnOpen(std::unique_lock<std::mutex>& lock, int64_t llNow) override {
    const int64_t llFrames = m_pcm.Available();
    if (llFrames < 0) {
      ToClock(llNow);
      LosePcm(llNow);
      return TurnAbsent(lock, llNow);
    }
    if (m_bNoClock) return PaceOut(lock, llNow, true);
    const uint64_t llRoom = static_cast<uint64_t>(llFrames) * m_format.nBlockAlign;
    if (!m_bAlive && llRoom > 0) {
      // First fill, or movement after a stall.
      m_bAlive = true;
      m_llLastMove = llNow;
      m_allowance.Restart(llNow);
      m_llAllowed = 0;
    }
    if (m_bAlive && llRoom > 0 && !m_queue.IsEmpty()) {
      if (Take(lock, llRoom, true) > 0) {
        m_llLastMove = llNow;
        if (!m_bFirst) TellReturned();
        m_bFirst = false;
        m_pcm.Begin();
      }
      if (RunsAhead(llNow)) return PaceOut(lock, llNow, true);
    }
    if (m_queue.IsEmpty()) {
      m_llLastMove = llNow;  // it is we who are late
      return 0;
    }
    if (llNow - m_llLastMove >= kStallNs) {
      ToClock(m_llLastMove);
      if (llNow - m_llLastMove >= kLostNs) LosePcm(llNow);
      m_bWantPcm = m_pcm.IsOpen();
      return PaceOut(lock, llNow, false);
    }
    m_bWantPcm = true;
    return m_llLastMove + kStallNs;
  }

  int64_t TurnAbsent(std::unique_lock<std::mutex>& lock, int64_t llNow) override {
    if (m_bAlive) ToClock(m_llLastMove);
    return PaceOut(lock, llNow, false);
  }

  void BeforeClose() override {
    // The end of the sound is still in the card if all blocks were finished.
    if (!m_bRunning || !m_bAlive || !m_queue.IsEmpty()) return;
    const int64_t llEnd = WaveNowNs() + std::min<int64_t>(m_pcm.DelayMs() * kMs, kMaxTailNs);
    while (WaveNowNs() < llEnd) m_wait.Wait(nullptr, llEnd);
  }

  /// From the card's pace to the clock's: what the card holds would have sounded first.
  void ToClock(int64_t llFrom) {
    if (!m_bAlive) return;
    m_bAlive = false;
    m_pace.Restart(llFrom + m_pace.Duration(m_pcm.BufferFrames() * m_format.nBlockAlign));
  }

  /// ALSA's null and file PCMs take whatever comes, at once. A PCM that takes a buffer, a fifth of a
  /// second and 2 % more than time allows has no clock, and gets ours.
  bool RunsAhead(int64_t llNow) {
    const uint64_t llTime = m_allowance.BytesDue(llNow);
    const uint64_t llBuffer = uint64_t{m_pcm.BufferFrames()} * m_format.nBlockAlign;
    if (m_llAllowed <= llBuffer + llTime + llTime / 50 + WaveBytesPerSec(m_format) / 5) {
      if (llTime > 10 * uint64_t{WaveBytesPerSec(m_format)}) {  // an old lead or lag is not held against it
        m_allowance.Restart(llNow);
        m_llAllowed = llBuffer;
      }
      return false;
    }
    m_bNoClock = true;
    m_bAlive = false;
    m_pace.Restart(llNow + m_pace.Duration(static_cast<uint32_t>(m_llAllowed - std::min(m_llAllowed, llTime))));
    return true;
  }

  /// Blocks end by the clock; bWrite: the PCM gets them nevertheless.
  int64_t PaceOut(std::unique_lock<std::mutex>& lock, int64_t llNow, bool bWrite) {
    uint32_t dwLeft = 0;
    while (m_bRunning && m_queue.Front(&dwLeft)) {
      const int64_t llDue = m_pace.Due(dwLeft);
      if (llDue > llNow) return llDue;
      m_pace.Advance(dwLeft);
      m_pace.Forgive(llNow, kWaveForgiveNs);
      Take(lock, dwLeft, bWrite);
    }
    return 0;
  }

  uint64_t Take(std::unique_lock<std::mutex>& lock, uint64_t llMax, bool bWrite) {
    m_bBusy = true;
    lock.unlock();
    const uint64_t llTaken = m_queue.Take(llMax, [&](const uint8_t* pData, uint32_t dwLength) {
      if (!bWrite) return true;
      const snd_pcm_uframes_t nFrames = dwLength / m_format.nBlockAlign;
      const snd_pcm_sframes_t nDone = nFrames == 0 ? 0 : snd_pcm_writei(m_pcm.Get(), pData, nFrames);
      // The room was asked for before, so the whole chunk goes in; a clockless PCM may lose some.
      return m_bNoClock || nDone == static_cast<snd_pcm_sframes_t>(nFrames);
    });
    lock.lock();
    m_llAllowed += llTaken;
    m_bBusy = false;
    m_cv.notify_all();
    return llTaken;
  }

  CWaveQueue m_queue;
  CWavePace m_pace;
  CWavePace m_allowance;     ///< what time allows a PCM to take
  uint64_t m_llAllowed = 0;  ///< what it took since then
  bool m_bAlive = false;     ///< the card sets the pace
  bool m_bNoClock = false;   ///< the PCM sets none
  bool m_bFirst = true;      ///< the first fill of a PCM proves nothing
  int64_t m_llLastMove = 0;
  int64_t m_llPausedAt = 0;
};

class CAlsaOut final : public CWaveOutDevice {
 public:
  explicit CAlsaOut(std::shared_ptr<CAlsaOutIo> pIo) : m_pIo(std::move(pIo)) {}
  ~CAlsaOut() override {
    m_pIo->StopThread();
    m_pIo->GiveBack();
  }
  bool Write(WaveHeader* pHeader) override {
    m_pIo->Write(pHeader);
    return true;
  }
  bool Pause() override {
    m_pIo->SetRunning(false);
    return true;
  }
  bool Restart() override {
    m_pIo->SetRunning(true);
    return true;
  }
  bool Reset() override {
    m_pIo->Reset();
    return true;
  }
  bool GetPosition(uint32_t* pdwFrames) override {
    *pdwFrames = m_pIo->Position();
    return true;
  }
  /// A PCM has no volume of its own; the card's mixer belongs to the machine.
  bool SetVolume(uint32_t /*dwVolume*/) override { return true; }
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  const std::shared_ptr<CAlsaOutIo> m_pIo;
};

}  // namespace

std::unique_ptr<CWaveOutDevice> OpenAlsaOut(const std::string& szPcm, const std::string& szLabel,
                                            const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                            std::string* pError) {
  if (!IsWaveFormatUsable(format, pError)) return nullptr;
  auto pIo = std::make_shared<CAlsaOutIo>(szPcm, szLabel, format, fnDone);
  CAlsaIo::StartThread(pIo, "alsa-out");
  const bool bOpen = pIo->WaitOpen(llUntilNs, pError);
  auto pOut = std::make_unique<CAlsaOut>(std::move(pIo));  // ends the thread, too
  if (!bOpen) return nullptr;
  return pOut;
}

}  // namespace tonara
