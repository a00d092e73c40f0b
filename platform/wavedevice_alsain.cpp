#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

#include "platform/wavedevice_alsa.h"
#include "platform/wavedevice_alsaio.h"

namespace tonara {
namespace {

constexpr int64_t kStallNs = 1'000'000'000;
constexpr int64_t kPieceNs = 50'000'000;
constexpr int64_t kLeadNs = 250'000'000;

class CAlsaInIo final : public CAlsaIo {
 public:
  CAlsaInIo(std::string szPcm, std::string szLabel, const PCMWAVEFORMAT& format, WaveCallback fnDone)
      : CAlsaIo(std::move(szPcm), std::move(szLabel), SND_PCM_STREAM_CAPTURE, format),
        m_fnDone(fnDone),
        m_pace(WaveBytesPerSec(format)) {}

  void Add(WaveHeader* pHeader) {
    std::lock_guard lock(m_mutex);
    pHeader->dwRecorded = 0;
    m_queue.push_back(pHeader);
  }
  void GiveBack() {
    std::deque<WaveHeader*> queue;
    {
      std::lock_guard lock(m_mutex);
      queue.swap(m_queue);
    }
    for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
  }

 private:
  void OnOpened(int64_t llNow) override { Begin(llNow); }
  void OnRunning(bool bRunning, int64_t llNow) override {
    if (bRunning) Begin(llNow);
  }
  void Begin(int64_t llNow) {
    m_llLastMove = llNow;
    m_pace.Restart(llNow);
    m_bStarted = false;
  }

  int64_t TurnOpen(std::unique_lock<std::mutex>& lock, int64_t llNow) override {
    if (!std::exchange(m_bStarted, true)) m_pcm.Begin();
    const int64_t llFrames = m_pcm.Available();
    if (llFrames < 0) {
      LosePcm(llNow);
      return 0;
    }
    // No more than a little ahead of time: ALSA's null PCM has silence without end.
    const int64_t llAllowedNs = std::max<int64_t>(llNow + kLeadNs - m_pace.Due(0), 0);
    const int64_t llAllowed = llAllowedNs / 1'000'000 * m_format.nSamplesPerSec / 1000;
    auto llLeft = static_cast<uint64_t>(std::min(llFrames, llAllowed));
    while (llLeft > 0) {
      const auto dwNow = static_cast<uint32_t>(std::min<uint64_t>(llLeft, m_pcm.BufferFrames()));
      m_piece.resize(size_t{dwNow} * m_format.nBlockAlign);
      const snd_pcm_sframes_t nRead = snd_pcm_readi(m_pcm.Get(), m_piece.data(), dwNow);
      if (nRead <= 0) break;
      m_llLastMove = llNow;
      TellReturned();
      Fill(lock, m_piece.data(), static_cast<size_t>(nRead) * m_format.nBlockAlign);
      m_pace.Advance(static_cast<uint64_t>(nRead) * m_format.nBlockAlign);
      llLeft -= static_cast<uint64_t>(nRead);
    }
    m_pace.Forgive(llNow, kStallNs);
    if (llNow - m_llLastMove > kStallNs) {
      LosePcm(llNow);
      return 0;
    }
    return llNow + kPieceNs;
  }
  int64_t TurnAbsent(std::unique_lock<std::mutex>& /*lock*/, int64_t /*llNow*/) override { return 0; }

  void Fill(std::unique_lock<std::mutex>& lock, const uint8_t* pData, size_t nLength) {
    while (nLength > 0 && !m_queue.empty()) {
      WaveHeader* pHeader = m_queue.front();
      const auto dwNow = static_cast<uint32_t>(std::min<size_t>(nLength, pHeader->dwLength - pHeader->dwRecorded));
      std::copy_n(pData, dwNow, pHeader->pData + pHeader->dwRecorded);
      pHeader->dwRecorded += dwNow;
      pData += dwNow;
      nLength -= dwNow;
      if (pHeader->dwRecorded < pHeader->dwLength) return;
      m_queue.pop_front();
      m_bBusy = true;
      lock.unlock();
      m_fnDone(pHeader);
      lock.lock();
      m_bBusy = false;
      m_cv.notify_all();
    }
  }

  const WaveCallback m_fnDone;
  CWavePace m_pace;
  std::deque<WaveHeader*> m_queue;
  std::vector<uint8_t> m_piece;
  int64_t m_llLastMove = 0;
  bool m_bStarted = false;
};

class CAlsaIn final : public CWaveInDevice {
 public:
  explicit CAlsaIn(std::shared_ptr<CAlsaInIo> pIo) : m_pIo(std::move(pIo)) {}
  ~CAlsaIn() override {
    m_pIo->StopThread();
    m_pIo->GiveBack();
  }
  bool AddBuffer(WaveHeader* pHeader) override {
    m_pIo->Add(pHeader);
    return true;
  }
  bool Start() override {
    m_pIo->SetRunning(true);
    return true;
  }
  bool Reset() override {
    m_pIo->SetRunning(false);
    m_pIo->GiveBack();
    return true;
  }
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  const std::shared_ptr<CAlsaInIo> m_pIo;
};

}  // namespace

std::unique_ptr<CWaveInDevice> OpenAlsaIn(const std::string& szPcm, const std::string& szLabel,
                                          const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                          std::string* pError) {
  if (!IsWaveFormatUsable(format, pError)) return nullptr;
  auto pIo = std::make_shared<CAlsaInIo>(szPcm, szLabel, format, fnDone);
  CAlsaIo::StartThread(pIo, "alsa-in");
  const bool bOpen = pIo->WaitOpen(llUntilNs, pError);
  auto pIn = std::make_unique<CAlsaIn>(std::move(pIo));
  if (!bOpen) return nullptr;
  return pIn;
}

}  // namespace tonara
