#include "tests/support/fakewave.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <utility>

namespace tonara::test {

namespace {

class CFakeOut;
class CFakeIn;

}  // namespace

// What backend and devices share; a device may outlive the backend.
struct CFakeWave::CState {
  std::mutex handing;  ///< held from a block's taking to the end of its callback: none runs on past Reset or Close
  std::mutex mutex;    ///< everything below; taken under handing
  std::vector<std::string> outputs;
  std::vector<std::string> inputs;
  std::vector<CFakeOut*> outs;  // open outputs, latest last
  std::vector<CFakeIn*> ins;
  PCMWAVEFORMAT format;
  int nOpens = 0;
  std::vector<uint8_t> played;
  bool bRefuseExtensible = false;
  bool bRefuseAll = false;
  bool bFailWrites = false;
  bool bFailPosition = false;
  uint32_t dwOffset = 0;
};

namespace {

using State = std::shared_ptr<CFakeWave::CState>;

constexpr const char* kSzDeviceError = "Défaut simulé du périphérique";
constexpr const char* kSzFormatError = "Format refusé par le périphérique simulé";

class CFakeOut final : public CWaveOutDevice {
 public:
  CFakeOut(State pState, const PCMWAVEFORMAT& format, WaveCallback fnDone)
      : m_pState(std::move(pState)), m_format(format), m_fnDone(fnDone) {
    std::lock_guard lock(m_pState->mutex);
    m_pState->outs.push_back(this);
    m_pState->format = format;
    ++m_pState->nOpens;
  }
  ~CFakeOut() override {
    {
      std::lock_guard lock(m_pState->mutex);
      std::erase(m_pState->outs, this);
    }
    GiveBack();
  }

  bool Write(WaveHeader* pHeader) override {
    std::lock_guard lock(m_pState->mutex);
    if (m_pState->bFailWrites || pHeader == nullptr) {
      m_szError = kSzDeviceError;
      return false;
    }
    m_queue.push_back(pHeader);
    return true;
  }
  bool Pause() override {
    std::lock_guard lock(m_pState->mutex);
    m_bPaused = true;
    return true;
  }
  bool Restart() override {
    std::lock_guard lock(m_pState->mutex);
    m_bPaused = false;
    return true;
  }
  bool Reset() override {
    GiveBack();
    return true;
  }
  bool GetPosition(uint32_t* pdwFrames) override {
    std::lock_guard lock(m_pState->mutex);
    if (m_pState->bFailPosition) {
      m_szError = kSzDeviceError;
      return false;
    }
    const uint64_t llFrames = m_llPlayed / std::max<uint16_t>(m_format.nBlockAlign, 1);
    *pdwFrames = static_cast<uint32_t>(llFrames) + m_pState->dwOffset;
    return true;
  }
  bool SetVolume(uint32_t) override { return true; }
  [[nodiscard]] std::string ErrorText() const override {
    std::lock_guard lock(m_pState->mutex);
    return m_szError;
  }

  // For the backend, which holds the state's lock.
  WaveHeader* TakeLocked() {
    if (m_bPaused || m_queue.empty()) return nullptr;
    WaveHeader* pHeader = m_queue.front();
    m_queue.pop_front();
    m_pState->played.insert(m_pState->played.end(), pHeader->pData, pHeader->pData + pHeader->dwLength);
    m_llPlayed += pHeader->dwLength;
    return pHeader;
  }
  [[nodiscard]] int QueuedLocked() const { return static_cast<int>(m_queue.size()); }
  [[nodiscard]] bool PausedLocked() const { return m_bPaused; }
  [[nodiscard]] WaveCallback Callback() const { return m_fnDone; }

 private:
  void GiveBack() {
    std::lock_guard handing(m_pState->handing);
    std::deque<WaveHeader*> queue;
    {
      std::lock_guard lock(m_pState->mutex);
      queue.swap(m_queue);
      m_llPlayed = 0;
    }
    for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
  }

  const State m_pState;
  const PCMWAVEFORMAT m_format;
  const WaveCallback m_fnDone;
  std::deque<WaveHeader*> m_queue;
  bool m_bPaused = true;
  uint64_t m_llPlayed = 0;
  std::string m_szError;
};

class CFakeIn final : public CWaveInDevice {
 public:
  CFakeIn(State pState, WaveCallback fnDone) : m_pState(std::move(pState)), m_fnDone(fnDone) {
    std::lock_guard lock(m_pState->mutex);
    m_pState->ins.push_back(this);
  }
  ~CFakeIn() override {
    {
      std::lock_guard lock(m_pState->mutex);
      std::erase(m_pState->ins, this);
    }
    CFakeIn::Reset();
  }

  bool AddBuffer(WaveHeader* pHeader) override {
    std::lock_guard lock(m_pState->mutex);
    if (m_pState->bFailWrites || pHeader == nullptr) return false;
    pHeader->dwRecorded = 0;
    m_queue.push_back(pHeader);
    return true;
  }
  bool Start() override {
    std::lock_guard lock(m_pState->mutex);
    m_bStarted = true;
    return true;
  }
  bool Reset() override {
    std::lock_guard handing(m_pState->handing);
    std::deque<WaveHeader*> queue;
    {
      std::lock_guard lock(m_pState->mutex);
      m_bStarted = false;
      queue.swap(m_queue);
    }
    for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
    return true;
  }
  [[nodiscard]] std::string ErrorText() const override { return kSzDeviceError; }

  WaveHeader* TakeLocked() {
    if (!m_bStarted || m_queue.empty()) return nullptr;
    WaveHeader* pHeader = m_queue.front();
    m_queue.pop_front();
    return pHeader;
  }
  [[nodiscard]] WaveCallback Callback() const { return m_fnDone; }

 private:
  const State m_pState;
  const WaveCallback m_fnDone;
  std::deque<WaveHeader*> m_queue;
  bool m_bStarted = false;
};

bool NameAt(const std::vector<std::string>& names, uint32_t nIndex, std::string* pName) {
  if (nIndex >= names.size() || pName == nullptr) return false;
  *pName = names[nIndex];
  return true;
}

// True if an opening goes through; else fills *pError.
bool AcceptsLocked(const CFakeWave::CState& state, size_t nDevices, uint32_t nIndex, bool bExtensible,
                   std::string* pError) {
  const bool bKnown = nIndex == kWaveMapper || nIndex < nDevices;
  if (bKnown && !state.bRefuseAll && !(bExtensible && state.bRefuseExtensible)) return true;
  if (pError != nullptr) *pError = bKnown ? kSzFormatError : "Périphérique simulé inconnu";
  return false;
}

}  // namespace

template <class F>
auto CFakeWave::Locked(F fnDo) {
  std::lock_guard lock(m_pState->mutex);
  return fnDo(*m_pState);
}

CFakeWave::CFakeWave(std::vector<std::string> outputs, std::vector<std::string> inputs)
    : m_pState(std::make_shared<CState>()) {
  m_pState->outputs = std::move(outputs);
  m_pState->inputs = std::move(inputs);
  SetWaveBackend(this);
}

CFakeWave::~CFakeWave() {
  SetWaveBackend(nullptr);
}

uint32_t CFakeWave::OutCount() {
  return Locked([](CState& s) { return static_cast<uint32_t>(s.outputs.size()); });
}
bool CFakeWave::OutName(uint32_t nIndex, std::string* pName) {
  return Locked([&](CState& s) { return NameAt(s.outputs, nIndex, pName); });
}
uint32_t CFakeWave::InCount() {
  return Locked([](CState& s) { return static_cast<uint32_t>(s.inputs.size()); });
}
bool CFakeWave::InName(uint32_t nIndex, std::string* pName) {
  return Locked([&](CState& s) { return NameAt(s.inputs, nIndex, pName); });
}

std::unique_ptr<CWaveOutDevice> CFakeWave::OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                                   WaveCallback fnDone, std::string* pError) {
  if (!Locked([&](CState& s) { return AcceptsLocked(s, s.outputs.size(), nIndex, bExtensible, pError); }))
    return nullptr;
  return std::make_unique<CFakeOut>(m_pState, format, fnDone);
}

std::unique_ptr<CWaveInDevice> CFakeWave::OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& /*format*/, bool bExtensible,
                                                 WaveCallback fnDone, std::string* pError) {
  if (!Locked([&](CState& s) { return AcceptsLocked(s, s.inputs.size(), nIndex, bExtensible, pError); }))
    return nullptr;
  return std::make_unique<CFakeIn>(m_pState, fnDone);
}

int CFakeWave::Play(int nBlocks) {
  int nPlayed = 0;
  while (nPlayed < nBlocks) {
    std::lock_guard handing(m_pState->handing);
    WaveHeader* pHeader = nullptr;
    WaveCallback fnDone = nullptr;
    {
      std::lock_guard lock(m_pState->mutex);
      if (m_pState->outs.empty()) break;
      pHeader = m_pState->outs.back()->TakeLocked();
      fnDone = m_pState->outs.back()->Callback();
    }
    if (pHeader == nullptr) break;
    ++nPlayed;
    fnDone(pHeader);
  }
  return nPlayed;
}

int CFakeWave::Queued() {
  return Locked([](CState& s) { return s.outs.empty() ? 0 : s.outs.back()->QueuedLocked(); });
}
bool CFakeWave::IsOpen() {
  return Locked([](CState& s) { return !s.outs.empty(); });
}
bool CFakeWave::IsPaused() {
  return Locked([](CState& s) { return !s.outs.empty() && s.outs.back()->PausedLocked(); });
}
PCMWAVEFORMAT CFakeWave::Format() {
  return Locked([](CState& s) { return s.format; });
}
int CFakeWave::Opens() {
  return Locked([](CState& s) { return s.nOpens; });
}
std::vector<uint8_t> CFakeWave::TakePlayed() {
  return Locked([](CState& s) { return std::exchange(s.played, {}); });
}

std::vector<int16_t> CFakeWave::TakePlayed16() {
  const std::vector<uint8_t> bytes = TakePlayed();
  std::vector<int16_t> samples(bytes.size() / sizeof(int16_t));
  if (!samples.empty()) std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(int16_t));
  return samples;
}

bool CFakeWave::Record(const void* pData, uint32_t dwOctets) {
  std::lock_guard handing(m_pState->handing);
  WaveHeader* pHeader = nullptr;
  WaveCallback fnDone = nullptr;
  {
    std::lock_guard lock(m_pState->mutex);
    if (m_pState->ins.empty()) return false;
    pHeader = m_pState->ins.back()->TakeLocked();
    fnDone = m_pState->ins.back()->Callback();
  }
  if (pHeader == nullptr) return false;
  pHeader->dwRecorded = std::min(dwOctets, pHeader->dwLength);
  if (pHeader->dwRecorded > 0) std::memcpy(pHeader->pData, pData, pHeader->dwRecorded);
  fnDone(pHeader);
  return true;
}

bool CFakeWave::IsInOpen() {
  return Locked([](CState& s) { return !s.ins.empty(); });
}
void CFakeWave::RefuseExtensible(bool bOn) {
  Locked([&](CState& s) { s.bRefuseExtensible = bOn; });
}
void CFakeWave::RefuseAll(bool bOn) {
  Locked([&](CState& s) { s.bRefuseAll = bOn; });
}
void CFakeWave::FailWrites(bool bOn) {
  Locked([&](CState& s) { s.bFailWrites = bOn; });
}
void CFakeWave::FailPosition(bool bOn) {
  Locked([&](CState& s) { s.bFailPosition = bOn; });
}
void CFakeWave::OffsetPosition(uint32_t dwFrames) {
  Locked([&](CState& s) { s.dwOffset = dwFrames; });
}

}  // namespace tonara::test
