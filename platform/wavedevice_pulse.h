// Private to the wave devices: the connection to a sound server that all streams of the process share.
//
// One thread ("pulse") runs libpulse's main loop; libpulse's lock is held whenever that thread is not
// asleep in poll, and owners of devices take it for a few instructions. Nothing here waits for the
// server but WaitUp, which has a deadline. Lock order: libpulse's lock, then a device's queue.
#pragma once

#include <pulse/pulseaudio.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/waveformat.h"

namespace tonara {

/// A sink or a source of the server.
struct PulseDevice {
  uint32_t dwIndex = 0;       ///< the server's, new at each appearance
  std::string szName;         ///< the server's name, which streams are opened by
  std::string szDescription;  ///< what people read
  bool bMonitor = false;      ///< a source that hears a sink
};

/// Which device a stream is meant for.
struct PulseTarget {
  bool bNamed = false;  ///< false: whatever is the default, wherever the server moves it
  std::string szName;
  std::string szDescription;
  std::string szLabel;  ///< for notices
};

/// An absolute alarm on CLOCK_MONOTONIC in the main loop. Arm, Kick and Disarm may be called from any
/// thread without libpulse's lock; construction and destruction need it.
class CPulseTimer {
 public:
  using Handler = void (*)(void* pUser);
  CPulseTimer(pa_mainloop_api* pApi, Handler fnHandler, void* pUser);
  ~CPulseTimer();
  CPulseTimer(const CPulseTimer&) = delete;
  CPulseTimer& operator=(const CPulseTimer&) = delete;

  void Arm(int64_t llAtNs);
  void Kick() { Arm(1); }
  void Disarm() { Arm(0); }

 private:
  static void OnReadable(pa_mainloop_api* pApi, pa_io_event* pEvent, int fd, pa_io_event_flags_t eFlags, void* pUser);

  pa_mainloop_api* const m_pApi;
  const Handler m_fnHandler;
  void* const m_pUser;
  int m_fd;
  pa_io_event* m_pEvent;
};

class CPulseLink {
 public:
  /// A device, as the link sees it. All calls come with libpulse's lock held.
  class CClient {
   public:
    virtual ~CClient() = default;
    /// The server answers and its devices are known.
    virtual void OnServerUp() = 0;
    /// The connection broke; every stream of it is dead.
    virtual void OnServerLost() = 0;
    /// A sink or a source came or went.
    virtual void OnDevices() = 0;
    /// About a second has passed since RequestTick.
    virtual void OnTick() = 0;
  };

  /// How far the server has answered.
  enum class Answer { Up, Absent, Refused };

  /// The process's connection while anybody holds it; made, but not yet connected, if there is none.
  static std::shared_ptr<CPulseLink> Get();
  /// The same, without making one.
  static std::shared_ptr<CPulseLink> Existing();
  CPulseLink();
  ~CPulseLink();
  CPulseLink(const CPulseLink&) = delete;
  CPulseLink& operator=(const CPulseLink&) = delete;

  /// Connects if needed and waits until the server has answered and told its devices, at most until
  /// that instant. After a wait in vain the next ones return at once for two seconds. *pError gets
  /// the server's text if it refuses. Any thread but the main loop's, without libpulse's lock.
  Answer WaitUp(int64_t llUntilNs, std::string* pError);
  /// True once a server has answered.
  [[nodiscard]] bool WasUp();
  /// The devices as last known: in the server's order, monitors behind. Any thread.
  [[nodiscard]] std::vector<PulseDevice> Devices(bool bOut);
  [[nodiscard]] int Clients();

  void Lock() { pa_threaded_mainloop_lock(m_pLoop); }
  void Unlock() { pa_threaded_mainloop_unlock(m_pLoop); }

  // With libpulse's lock held:
  void Add(CClient* pClient);
  void Remove(CClient* pClient);
  /// The context if the server is up, else null.
  [[nodiscard]] pa_context* Context() const { return m_bUp ? m_pContext : nullptr; }
  [[nodiscard]] pa_mainloop_api* Api() const { return pa_threaded_mainloop_get_api(m_pLoop); }
  /// Completes a target with the present name of its device; false if there is no such device now. The
  /// name counts first; a device that came back under another name is known by its description.
  bool Resolve(bool bOut, PulseTarget* pTarget);
  /// Asks for one OnTick: soon after a loss, then at each second.
  void RequestTick();
  /// Lets a stream play out what the server holds of it and drops it then, at most a second later.
  void Linger(pa_stream* pStream);
  /// Cuts a stream off from its callbacks, closes and frees it.
  static void Drop(pa_stream* pStream);

 private:
  struct Lingering {
    pa_stream* pStream;
    int64_t llUntil;
  };

  void ConnectLocked();
  void LostLocked();
  void PublishLocked();
  void ListLocked();
  void ListDoneLocked();
  void TickLocked();
  void EndLingeringLocked(int64_t llNow, bool bAll);
  void ArmLocked();
  template <typename Info>
  void OnInfo(const Info* pInfo, int nEol, bool bOut);

  static void OnState(pa_context* pContext, void* pUser);
  static void OnEvent(pa_context* pContext, pa_subscription_event_type_t eType, uint32_t dwIndex, void* pUser);
  static void OnSink(pa_context* pContext, const pa_sink_info* pInfo, int nEol, void* pUser);
  static void OnSource(pa_context* pContext, const pa_source_info* pInfo, int nEol, void* pUser);

  // Under libpulse's lock.
  pa_threaded_mainloop* m_pLoop;
  pa_context* m_pContext = nullptr;
  std::unique_ptr<CPulseTimer> m_pTimer;
  std::vector<CClient*> m_clients;
  std::vector<Lingering> m_lingering;
  std::vector<PulseDevice> m_outs;
  std::vector<PulseDevice> m_ins;
  bool m_bUp = false;
  int m_nListsPending = 0;  ///< first lists not yet complete
  int64_t m_llConnectAt = 0;
  int64_t m_llTickAt = 0;  ///< 0: no tick wanted
  int m_nQuickTicks = 0;
  std::string m_szRefusal;

  // What other threads see, under m_mutex.
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bPublicUp = false;
  bool m_bPublicConnecting = false;
  bool m_bWasUp = false;
  int m_nPublicClients = 0;
  std::string m_szPublicRefusal;
  std::vector<PulseDevice> m_publicOuts;
  std::vector<PulseDevice> m_publicIns;
  int64_t m_llNoWaitUntil = 0;
};

/// Holds libpulse's lock for a scope. Not on the main loop's thread, which has it anyway.
class CPulseGuard {
 public:
  explicit CPulseGuard(CPulseLink& link) : m_link(link) { m_link.Lock(); }
  ~CPulseGuard() { m_link.Unlock(); }
  CPulseGuard(const CPulseGuard&) = delete;
  CPulseGuard& operator=(const CPulseGuard&) = delete;

 private:
  CPulseLink& m_link;
};

/// The server's word for a format; false with *pError (nullable) for one that it can't know.
bool MakePulseSpec(const PCMWAVEFORMAT& format, pa_sample_spec* pSpec, pa_channel_map* pMap, std::string* pError);

/// True if the error says that the server won't, rather than that something isn't there.
bool IsPulseRefusal(int nError);

}  // namespace tonara
