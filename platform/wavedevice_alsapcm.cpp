#include "platform/wavedevice_alsapcm.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/wavedevice_queue.h"

namespace tonara {
namespace {

/// Four periods of 50 ms.
constexpr unsigned kLatencyUs = 200'000;
constexpr size_t kMaxFds = 8;

snd_pcm_format_t AlsaFormat(const PCMWAVEFORMAT& format) {
  if (format.wFormatTag != 1 || format.nBlockAlign != format.wBitsPerSample / 8 * format.nChannels) {
    return SND_PCM_FORMAT_UNKNOWN;
  }
  switch (format.wBitsPerSample) {
    case 8:
      return SND_PCM_FORMAT_U8;
    case 16:
      return SND_PCM_FORMAT_S16_LE;
    case 24:
      return SND_PCM_FORMAT_S24_3LE;
    case 32:
      return SND_PCM_FORMAT_S32_LE;
    default:
      return SND_PCM_FORMAT_UNKNOWN;
  }
}

bool IsRefusal(int nError) {
  return nError == -EACCES || nError == -EPERM || nError == -EINVAL;
}

}  // namespace

CAlsaPcm::Result CAlsaPcm::Open(const std::string& szName, snd_pcm_stream_t eStream, const PCMWAVEFORMAT& format,
                                std::string* pError) {
  Close();
  const snd_pcm_format_t eFormat = AlsaFormat(format);
  if (eFormat == SND_PCM_FORMAT_UNKNOWN) {
    *pError = snd_strerror(-EINVAL);
    return Result::Refused;
  }
  snd_pcm_t* pPcm = nullptr;
  int nError = snd_pcm_open(&pPcm, szName.c_str(), eStream, SND_PCM_NONBLOCK);
  if (nError < 0) {
    *pError = snd_strerror(nError);
    return IsRefusal(nError) ? Result::Refused : Result::Absent;
  }
  m_pPcm = pPcm;
  nError = snd_pcm_set_params(pPcm, eFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.nChannels, format.nSamplesPerSec, 1,
                              kLatencyUs);
  snd_pcm_uframes_t nBuffer = 0;
  snd_pcm_uframes_t nPeriod = 0;
  if (nError >= 0) nError = snd_pcm_get_params(pPcm, &nBuffer, &nPeriod);
  if (nError < 0) {
    *pError = snd_strerror(nError);
    Close();
    return nError == -ENODEV ? Result::Absent : Result::Refused;
  }
  m_dwBuffer = static_cast<uint32_t>(nBuffer);
  m_dwRate = format.nSamplesPerSec;
  m_bCapture = eStream == SND_PCM_STREAM_CAPTURE;
  snd_pcm_hw_params_t* pParams = nullptr;
  m_bCanPause = false;
  if (snd_pcm_hw_params_malloc(&pParams) >= 0) {
    if (snd_pcm_hw_params_current(pPcm, pParams) >= 0) m_bCanPause = snd_pcm_hw_params_can_pause(pParams) == 1;
    snd_pcm_hw_params_free(pParams);
  }
  return Result::Open;
}

void CAlsaPcm::Close() {
  if (m_pPcm == nullptr) return;
  snd_pcm_drop(m_pPcm);
  snd_pcm_close(m_pPcm);
  m_pPcm = nullptr;
}

bool CAlsaPcm::Recover(int nError) {
  if (nError == -EPIPE) {
    nError = snd_pcm_prepare(m_pPcm);
  } else if (nError == -ESTRPIPE) {
    nError = snd_pcm_resume(m_pPcm);
    if (nError == -EAGAIN) return true;  // still asleep
    if (nError < 0) nError = snd_pcm_prepare(m_pPcm);
  }
  if (nError >= 0 && m_bCapture) nError = snd_pcm_start(m_pPcm);
  return nError >= 0;
}

int64_t CAlsaPcm::Available() {
  snd_pcm_sframes_t nFrames = snd_pcm_avail_update(m_pPcm);
  if (nFrames < 0) {
    if (!Recover(static_cast<int>(nFrames))) return -1;
    nFrames = snd_pcm_avail_update(m_pPcm);
  }
  if (nFrames == -ESTRPIPE || nFrames == -EPIPE) return 0;
  return nFrames < 0 ? -1 : nFrames;
}

void CAlsaPcm::Pause(bool bOn) {
  if (!m_bCanPause) return;  // it plays out what it has, and begins anew
  const snd_pcm_state_t eState = snd_pcm_state(m_pPcm);
  if (eState == (bOn ? SND_PCM_STATE_RUNNING : SND_PCM_STATE_PAUSED)) snd_pcm_pause(m_pPcm, bOn ? 1 : 0);
}

void CAlsaPcm::Begin() {
  if (snd_pcm_state(m_pPcm) == SND_PCM_STATE_PREPARED) snd_pcm_start(m_pPcm);
}

uint32_t CAlsaPcm::DelayMs() {
  snd_pcm_sframes_t nFrames = 0;
  if (snd_pcm_state(m_pPcm) != SND_PCM_STATE_RUNNING || snd_pcm_delay(m_pPcm, &nFrames) < 0 || nFrames < 0) return 0;
  return static_cast<uint32_t>(uint64_t{static_cast<uint32_t>(nFrames)} * 1000 / m_dwRate);
}

CAlsaWait::CAlsaWait() : m_fd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

CAlsaWait::~CAlsaWait() {
  close(m_fd);
}

void CAlsaWait::Wake() {
  const uint64_t llOne = 1;
  if (write(m_fd, &llOne, sizeof llOne) != sizeof llOne) return;  // full: it is awake anyway
}

void CAlsaWait::Wait(snd_pcm_t* pPcm, int64_t llUntilNs) {
  std::array<pollfd, kMaxFds> fds{};
  fds[0] = {m_fd, POLLIN, 0};
  nfds_t nFds = 1;
  if (pPcm != nullptr) {
    const int n = snd_pcm_poll_descriptors(pPcm, fds.data() + 1, kMaxFds - 1);
    if (n > 0) nFds += static_cast<nfds_t>(n);
  }
  timespec timeout{};
  if (llUntilNs != 0) {
    const int64_t llLeft = std::max<int64_t>(llUntilNs - WaveNowNs(), 0);
    timeout.tv_sec = static_cast<time_t>(llLeft / 1'000'000'000);
    timeout.tv_nsec = static_cast<long>(llLeft % 1'000'000'000);
  }
  if (ppoll(fds.data(), nFds, llUntilNs != 0 ? &timeout : nullptr, nullptr) <= 0) return;
  uint64_t llCount = 0;
  if ((fds[0].revents & POLLIN) != 0 && read(m_fd, &llCount, sizeof llCount) < 0) return;
  if (nFds > 1) {
    unsigned short wEvents = 0;
    snd_pcm_poll_descriptors_revents(pPcm, fds.data() + 1, static_cast<unsigned>(nFds - 1), &wEvents);
  }
}

}  // namespace tonara
