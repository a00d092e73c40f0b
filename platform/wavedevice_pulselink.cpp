#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_pulse.h"
#include "platform/wavedevice_queue.h"

namespace tonara {
namespace {

constexpr int64_t kMs = 1'000'000;
constexpr int64_t kTickNs = 1000 * kMs;
/// A server that was restarted is often back at once: the first tries come faster.
constexpr int64_t kQuickTickNs = 250 * kMs;
constexpr int kQuickTicks = 8;
/// A connection that the server took but doesn't go on with is tried anew after that long.
constexpr int64_t kConnectNs = 5000 * kMs;
constexpr int64_t kLingerNs = 1000 * kMs;
constexpr int64_t kNoWaitNs = 2000 * kMs;

/// The server's stand-in for a machine without sound. Not a device to be chosen and remembered: who
/// finds no device takes the default one, which the server moves as soon as there is a real one.
constexpr const char* kSzDummy = "auto_null";

bool IsMonitor(const pa_sink_info& /*info*/) {
  return false;
}
bool IsMonitor(const pa_source_info& info) {
  return info.monitor_of_sink != PA_INVALID_INDEX;
}

bool IsContextRefusal(int nError) {
  return nError == PA_ERR_ACCESS || nError == PA_ERR_AUTHKEY;
}

void Unref(pa_operation* pOperation) {
  if (pOperation != nullptr) pa_operation_unref(pOperation);
}

std::mutex g_linkMutex;
std::weak_ptr<CPulseLink> g_pLink;

}  // namespace

CPulseTimer::CPulseTimer(pa_mainloop_api* pApi, Handler fnHandler, void* pUser)
    : m_pApi(pApi),
      m_fnHandler(fnHandler),
      m_pUser(pUser),
      m_fd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
      m_pEvent(m_pApi->io_new(m_pApi, m_fd, PA_IO_EVENT_INPUT, OnReadable, this)) {}

CPulseTimer::~CPulseTimer() {
  m_pApi->io_free(m_pEvent);
  close(m_fd);
}

void CPulseTimer::Arm(int64_t llAtNs) {
  itimerspec spec{};
  spec.it_value.tv_sec = static_cast<time_t>(llAtNs / 1'000'000'000);
  spec.it_value.tv_nsec = static_cast<long>(llAtNs % 1'000'000'000);
  timerfd_settime(m_fd, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void CPulseTimer::OnReadable(pa_mainloop_api* /*pApi*/, pa_io_event* /*pEvent*/, int fd, pa_io_event_flags_t /*eFlags*/,
                             void* pUser) {
  uint64_t llExpirations = 0;
  if (read(fd, &llExpirations, sizeof llExpirations) != sizeof llExpirations) return;  // disarmed meanwhile
  auto* pTimer = static_cast<CPulseTimer*>(pUser);
  pTimer->m_fnHandler(pTimer->m_pUser);
}

std::shared_ptr<CPulseLink> CPulseLink::Get() {
  std::lock_guard lock(g_linkMutex);
  std::shared_ptr<CPulseLink> pLink = g_pLink.lock();
  if (pLink == nullptr) {
    pLink = std::make_shared<CPulseLink>();
    g_pLink = pLink;
  }
  return pLink;
}

std::shared_ptr<CPulseLink> CPulseLink::Existing() {
  std::lock_guard lock(g_linkMutex);
  return g_pLink.lock();
}

CPulseLink::CPulseLink() : m_pLoop(pa_threaded_mainloop_new()) {
  pa_threaded_mainloop_set_name(m_pLoop, "pulse");
  m_pTimer = std::make_unique<CPulseTimer>(
      Api(), [](void* pUser) { static_cast<CPulseLink*>(pUser)->TickLocked(); }, this);
  pa_threaded_mainloop_start(m_pLoop);
}

CPulseLink::~CPulseLink() {
  pa_threaded_mainloop_stop(m_pLoop);
  EndLingeringLocked(0, true);
  if (m_pContext != nullptr) {
    pa_context_set_state_callback(m_pContext, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_pContext, nullptr, nullptr);
    pa_context_disconnect(m_pContext);
    pa_context_unref(m_pContext);
  }
  m_pTimer.reset();
  pa_threaded_mainloop_free(m_pLoop);
}

CPulseLink::Answer CPulseLink::WaitUp(int64_t llUntilNs, std::string* pError) {
  {
    CPulseGuard guard(*this);
    ConnectLocked();
  }
  std::unique_lock lock(m_mutex);
  if (WaveNowNs() >= m_llNoWaitUntil) {
    const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(llUntilNs)};
    m_cv.wait_until(lock, until, [this] { return m_bPublicUp || !m_bPublicConnecting; });
    if (!m_bPublicUp && m_bPublicConnecting) m_llNoWaitUntil = WaveNowNs() + kNoWaitNs;
  }
  if (m_bPublicUp) return Answer::Up;
  if (m_szPublicRefusal.empty()) return Answer::Absent;
  if (pError != nullptr) *pError = m_szPublicRefusal;
  return Answer::Refused;
}

bool CPulseLink::WasUp() {
  std::lock_guard lock(m_mutex);
  return m_bWasUp;
}

int CPulseLink::Clients() {
  std::lock_guard lock(m_mutex);
  return m_nPublicClients;
}

std::vector<PulseDevice> CPulseLink::Devices(bool bOut) {
  std::lock_guard lock(m_mutex);
  std::vector<PulseDevice> devices = bOut ? m_publicOuts : m_publicIns;
  std::stable_partition(devices.begin(), devices.end(), [](const PulseDevice& device) { return !device.bMonitor; });
  return devices;
}

void CPulseLink::Add(CClient* pClient) {
  m_clients.push_back(pClient);
  PublishLocked();
  if (!m_bUp) RequestTick();
}

void CPulseLink::Remove(CClient* pClient) {
  std::erase(m_clients, pClient);
  PublishLocked();
  if (m_clients.empty()) {
    m_llTickAt = 0;
    ArmLocked();
  }
}

bool CPulseLink::Resolve(bool bOut, PulseTarget* pTarget) {
  if (!pTarget->bNamed) return true;
  const std::vector<PulseDevice>& devices = bOut ? m_outs : m_ins;
  if (std::ranges::find(devices, pTarget->szName, &PulseDevice::szName) != devices.end()) return true;
  const auto it = std::ranges::find(devices, pTarget->szDescription, &PulseDevice::szDescription);
  if (it == devices.end()) return false;
  pTarget->szName = it->szName;
  return true;
}

void CPulseLink::RequestTick() {
  if (m_llTickAt != 0 || m_clients.empty()) return;
  m_llTickAt = WaveNowNs() + (m_nQuickTicks > 0 ? kQuickTickNs : kTickNs);
  if (m_nQuickTicks > 0) --m_nQuickTicks;
  ArmLocked();
}

void CPulseLink::Drop(pa_stream* pStream) {
  if (pStream == nullptr) return;
  if (pa_stream_get_state(pStream) == PA_STREAM_CREATING) {
    // It can't be closed before the server has answered, and would stay in the server for ever.
    pa_stream_set_write_callback(pStream, nullptr, nullptr);
    pa_stream_set_read_callback(pStream, nullptr, nullptr);
    pa_stream_set_state_callback(
        pStream,
        [](pa_stream* pOne, void*) {
          if (pa_stream_get_state(pOne) != PA_STREAM_CREATING) Drop(pOne);
        },
        nullptr);
    return;
  }
  pa_stream_set_state_callback(pStream, nullptr, nullptr);
  pa_stream_set_write_callback(pStream, nullptr, nullptr);
  pa_stream_set_read_callback(pStream, nullptr, nullptr);
  pa_stream_disconnect(pStream);
  pa_stream_unref(pStream);
}

void CPulseLink::Linger(pa_stream* pStream) {
  pa_stream_set_state_callback(pStream, nullptr, nullptr);
  pa_stream_set_write_callback(pStream, nullptr, nullptr);
  const auto onDrained = [](pa_stream* pDone, int /*nSuccess*/, void* pUser) {
    auto* pLink = static_cast<CPulseLink*>(pUser);
    if (std::erase_if(pLink->m_lingering, [pDone](const Lingering& one) { return one.pStream == pDone; }) > 0) {
      Drop(pDone);
    }
  };
  pa_operation* pOperation = pa_stream_drain(pStream, onDrained, this);
  if (pOperation == nullptr) {
    Drop(pStream);
    return;
  }
  pa_operation_unref(pOperation);
  m_lingering.push_back({pStream, WaveNowNs() + kLingerNs});
  ArmLocked();
}

void CPulseLink::EndLingeringLocked(int64_t llNow, bool bAll) {
  std::erase_if(m_lingering, [=](const Lingering& one) {
    if (!bAll && one.llUntil > llNow) return false;
    Drop(one.pStream);
    return true;
  });
}

void CPulseLink::ArmLocked() {
  int64_t llNext = m_llTickAt;
  for (const Lingering& one : m_lingering) llNext = llNext == 0 ? one.llUntil : std::min(llNext, one.llUntil);
  m_pTimer->Arm(llNext);
}

void CPulseLink::TickLocked() {
  const int64_t llNow = WaveNowNs();
  EndLingeringLocked(llNow, false);
  if (m_llTickAt != 0 && llNow >= m_llTickAt) {
    m_llTickAt = 0;
    if (m_bUp) {
      for (CClient* pClient : m_clients) pClient->OnTick();
    } else {
      if (m_pContext != nullptr && llNow - m_llConnectAt > kConnectNs) LostLocked();
      ConnectLocked();
      RequestTick();
    }
  }
  ArmLocked();
}

void CPulseLink::ConnectLocked() {
  if (m_pContext != nullptr) return;
  pa_proplist* pProperties = pa_proplist_new();
  pa_proplist_sets(pProperties, PA_PROP_APPLICATION_NAME, "tonara");
  pa_proplist_sets(pProperties, PA_PROP_APPLICATION_ID, "tonara");
  m_pContext = pa_context_new_with_proplist(Api(), "tonara", pProperties);
  pa_proplist_free(pProperties);
  m_llConnectAt = WaveNowNs();
  m_szRefusal.clear();
  pa_context_set_state_callback(m_pContext, OnState, this);
  PublishLocked();
  // Without autospawn: a fork from a program of many threads, for a server that the session starts.
  if (pa_context_connect(m_pContext, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 && m_pContext != nullptr) {
    LostLocked();
  }
}

void CPulseLink::LostLocked() {
  if (m_pContext == nullptr) return;
  const int nError = pa_context_errno(m_pContext);
  if (IsContextRefusal(nError)) m_szRefusal = pa_strerror(nError);
  EndLingeringLocked(0, true);
  if (m_bUp) m_nQuickTicks = kQuickTicks;
  m_bUp = false;
  // The clients' streams go before the context that they belong to.
  for (CClient* pClient : m_clients) pClient->OnServerLost();
  pa_context_set_state_callback(m_pContext, nullptr, nullptr);
  pa_context_set_subscribe_callback(m_pContext, nullptr, nullptr);
  pa_context_disconnect(m_pContext);
  pa_context_unref(m_pContext);
  m_pContext = nullptr;
  PublishLocked();
  RequestTick();
}

void CPulseLink::PublishLocked() {
  {
    std::lock_guard lock(m_mutex);
    m_bPublicUp = m_bUp;
    m_bPublicConnecting = m_pContext != nullptr && !m_bUp;
    m_bWasUp = m_bWasUp || m_bUp;
    m_nPublicClients = static_cast<int>(m_clients.size());
    m_szPublicRefusal = m_szRefusal;
    if (m_bUp) {  // else the last lists stay: a server that restarts has the same devices
      m_publicOuts = m_outs;
      m_publicIns = m_ins;
      m_llNoWaitUntil = 0;
    }
  }
  m_cv.notify_all();
}

void CPulseLink::OnState(pa_context* pContext, void* pUser) {
  auto* pLink = static_cast<CPulseLink*>(pUser);
  switch (pa_context_get_state(pContext)) {
    case PA_CONTEXT_READY:
      pLink->ListLocked();
      break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
      pLink->LostLocked();
      break;
    default:
      break;
  }
}

void CPulseLink::ListLocked() {
  m_outs.clear();
  m_ins.clear();
  m_nListsPending = 2;
  pa_context_set_subscribe_callback(m_pContext, OnEvent, this);
  constexpr auto kMask = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE);
  Unref(pa_context_subscribe(m_pContext, kMask, nullptr, nullptr));
  Unref(pa_context_get_sink_info_list(m_pContext, OnSink, this));
  Unref(pa_context_get_source_info_list(m_pContext, OnSource, this));
}

void CPulseLink::ListDoneLocked() {
  if (m_nListsPending > 0 && --m_nListsPending == 0) {
    m_bUp = true;
    PublishLocked();
    for (CClient* pClient : m_clients) pClient->OnServerUp();
  } else if (m_bUp) {
    PublishLocked();
    for (CClient* pClient : m_clients) pClient->OnDevices();
  }
}

template <typename Info>
void CPulseLink::OnInfo(const Info* pInfo, int nEol, bool bOut) {
  if (nEol != 0) {  // positive: complete; negative: gone before we asked, which another event tells
    ListDoneLocked();
    return;
  }
  const std::string szName = pInfo->name;
  if (szName == kSzDummy || szName == std::string(kSzDummy) + ".monitor") return;
  std::vector<PulseDevice>& devices = bOut ? m_outs : m_ins;
  auto it = std::ranges::find(devices, pInfo->index, &PulseDevice::dwIndex);
  if (it == devices.end()) it = devices.insert(devices.end(), PulseDevice{});
  it->dwIndex = pInfo->index;
  it->szName = szName;
  it->szDescription = pInfo->description != nullptr ? pInfo->description : szName;
  it->bMonitor = IsMonitor(*pInfo);
}

void CPulseLink::OnSink(pa_context* /*pContext*/, const pa_sink_info* pInfo, int nEol, void* pUser) {
  static_cast<CPulseLink*>(pUser)->OnInfo(pInfo, nEol, true);
}

void CPulseLink::OnSource(pa_context* /*pContext*/, const pa_source_info* pInfo, int nEol, void* pUser) {
  static_cast<CPulseLink*>(pUser)->OnInfo(pInfo, nEol, false);
}

void CPulseLink::OnEvent(pa_context* pContext, pa_subscription_event_type_t eType, uint32_t dwIndex, void* pUser) {
  auto* pLink = static_cast<CPulseLink*>(pUser);
  const unsigned uFacility = static_cast<unsigned>(eType) & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
  const unsigned uKind = static_cast<unsigned>(eType) & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
  const bool bOut = uFacility == PA_SUBSCRIPTION_EVENT_SINK;
  if (!bOut && uFacility != PA_SUBSCRIPTION_EVENT_SOURCE) return;
  if (uKind == PA_SUBSCRIPTION_EVENT_REMOVE) {
    std::erase_if(bOut ? pLink->m_outs : pLink->m_ins, [=](const PulseDevice& one) { return one.dwIndex == dwIndex; });
    if (pLink->m_bUp) pLink->ListDoneLocked();
  } else if (uKind == PA_SUBSCRIPTION_EVENT_NEW) {
    if (bOut) {
      Unref(pa_context_get_sink_info_by_index(pContext, dwIndex, OnSink, pUser));
    } else {
      Unref(pa_context_get_source_info_by_index(pContext, dwIndex, OnSource, pUser));
    }
  }
  // Changes are mostly volumes and idling; names do not change in place.
}

bool MakePulseSpec(const PCMWAVEFORMAT& format, pa_sample_spec* pSpec, pa_channel_map* pMap, std::string* pError) {
  pSpec->format = PA_SAMPLE_INVALID;
  if (format.wFormatTag == 1) {
    switch (format.wBitsPerSample) {
      case 8:
        pSpec->format = PA_SAMPLE_U8;
        break;
      case 16:
        pSpec->format = PA_SAMPLE_S16LE;
        break;
      case 24:
        pSpec->format = PA_SAMPLE_S24LE;
        break;
      case 32:
        pSpec->format = PA_SAMPLE_S32LE;
        break;
      default:
        break;
    }
  }
  pSpec->rate = format.nSamplesPerSec;
  pSpec->channels = static_cast<uint8_t>(std::min<uint16_t>(format.nChannels, 255));
  const bool bKnown = pSpec->format != PA_SAMPLE_INVALID && pa_sample_spec_valid(pSpec) != 0 &&
                      pa_frame_size(pSpec) == format.nBlockAlign &&
                      pa_channel_map_init_extend(pMap, pSpec->channels, PA_CHANNEL_MAP_WAVEEX) != nullptr;
  if (!bKnown && pError != nullptr) *pError = pa_strerror(PA_ERR_INVALID);
  return bKnown;
}

bool IsPulseRefusal(int nError) {
  return nError == PA_ERR_ACCESS || nError == PA_ERR_INVALID || nError == PA_ERR_NOTSUPPORTED ||
         nError == PA_ERR_NOTIMPLEMENTED || nError == PA_ERR_TOOLARGE || nError == PA_ERR_FORKED;
}

}  // namespace tonara
