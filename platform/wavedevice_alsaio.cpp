#include "platform/wavedevice_alsaio.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/wavedevice_alsa.h"
#include "platform/wavedevice_backends.h"

namespace tonara {
namespace {

constexpr int64_t kRetryNs = 1'000'000'000;
constexpr std::chrono::milliseconds kStopWait{450};

std::atomic<int> g_nStreams{0};

}  // namespace

int AlsaStreams() {
  return g_nStreams.load();
}

CAlsaIo::CAlsaIo(std::string szPcm, std::string szLabel, snd_pcm_stream_t eStream, const PCMWAVEFORMAT& format)
    : m_szPcm(std::move(szPcm)), m_szLabel(std::move(szLabel)), m_eStream(eStream), m_format(format) {
  ++g_nStreams;
}

CAlsaIo::~CAlsaIo() {
  --g_nStreams;
}

void CAlsaIo::StartThread(const std::shared_ptr<CAlsaIo>& pIo, const char* szThread) {
  pIo->m_thread = std::thread([pIo] { pIo->Run(); });
  pthread_setname_np(pIo->m_thread.native_handle(), szThread);
}

bool CAlsaIo::WaitOpen(int64_t llUntilNs, std::string* pError) {
  const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(llUntilNs)};
  std::unique_lock lock(m_mutex);
  m_cv.wait_until(lock, until, [this] { return m_eOpening != Opening::Pending; });
  if (m_eOpening != Opening::Refused) return true;
  if (pError != nullptr) *pError = m_szError;
  return false;
}

void CAlsaIo::StopThread() {
  bool bEnded = false;
  {
    std::unique_lock lock(m_mutex);
    m_bStop = true;
    m_wait.Wake();
    bEnded = m_cv.wait_for(lock, kStopWait, [this] { return m_bEnded; });
  }
  if (bEnded) {
    m_thread.join();
  } else {
    m_thread.detach();  // it holds this object, and leaves at the next look at the flag
  }
}

void CAlsaIo::SetRunning(bool bRunning) {
  std::unique_lock lock(m_mutex);
  if (m_bRunning == bRunning) return;
  m_bRunning = bRunning;
  OnRunning(bRunning, WaveNowNs());
  if (!bRunning) m_cv.wait_for(lock, kStopWait, [this] { return !m_bBusy; });
  m_wait.Wake();
}

void CAlsaIo::LosePcm(int64_t llNow) {
  m_pcm.Close();
  m_llRetryAt = llNow + kRetryNs;
  TellLost();
}

void CAlsaIo::TellLost() {
  m_llTellAt = 0;
  if (std::exchange(m_bLostTold, true)) return;
  NotifyWave("Périphérique audio perdu : " + m_szLabel);
}

void CAlsaIo::TellReturned() {
  m_llTellAt = 0;
  if (std::exchange(m_bLostTold, false)) NotifyWave("Périphérique audio retrouvé : " + m_szLabel);
}

void CAlsaIo::Run() {
  std::unique_lock lock(m_mutex);
  while (!m_bStop) {
    const int64_t llNow = WaveNowNs();
    // A PCM that is missing while nothing runs can wait; the first opening can't, somebody asks.
    const bool bTry = m_eOpening == Opening::Pending || (m_bRunning && llNow >= m_llRetryAt);
    if (!m_pcm.IsOpen() && bTry) {
      lock.unlock();
      std::string szError;
      const CAlsaPcm::Result eResult = m_pcm.Open(m_szPcm, m_eStream, m_format, &szError);
      lock.lock();
      if (m_eOpening == Opening::Pending) {
        m_eOpening = eResult == CAlsaPcm::Result::Refused ? Opening::Refused : Opening::Ready;
        m_szError = szError;
        m_cv.notify_all();
      }
      if (eResult == CAlsaPcm::Result::Open) {
        OnOpened(WaveNowNs());
      } else {
        m_llRetryAt = WaveNowNs() + kRetryNs;
        if (!m_bLostTold && m_llTellAt == 0) m_llTellAt = m_llRetryAt;
      }
      continue;
    }
    if (m_bRunning != m_bWasRunning) {
      m_bWasRunning = m_bRunning;
      if (m_pcm.IsOpen()) m_pcm.Pause(!m_bRunning);
    }
    int64_t llUntil = 0;
    m_bWantPcm = false;
    if (m_bRunning) {
      if (m_llTellAt != 0 && llNow >= m_llTellAt) TellLost();
      llUntil = m_pcm.IsOpen() ? TurnOpen(lock, llNow) : TurnAbsent(lock, llNow);
      if (m_bStop) break;
      if (!m_pcm.IsOpen()) llUntil = llUntil == 0 ? m_llRetryAt : std::min(llUntil, m_llRetryAt);
    }
    snd_pcm_t* pPcm = m_bWantPcm ? m_pcm.Get() : nullptr;
    lock.unlock();
    m_wait.Wait(pPcm, llUntil);
    lock.lock();
  }
  lock.unlock();
  if (m_pcm.IsOpen()) BeforeClose();
  m_pcm.Close();
  lock.lock();
  m_bEnded = true;
  m_cv.notify_all();
}

}  // namespace tonara
