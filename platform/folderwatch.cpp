#include "platform/folderwatch.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/lock.h"
#include "platform/paths.h"

namespace tonara {
namespace {

// Writes to a file (IN_MODIFY) are left out: copying one film would have its readers list the folder
// all the time. It is told when it appears and when its writer closes it. A change of nothing but the
// write time, which the kernel gives as IN_MODIFY too, is seen on network shares only.
constexpr uint32_t kMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB |
                           IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr uint32_t kRetryMs = 1000;  // for a folder that isn't there
// What tells of the folder itself, from the one above. Its own IN_DELETE_SELF comes only when the last open file of a
// deleted folder is closed, and by then another may stand in its place.
constexpr uint32_t kParentMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_MASK_ADD;
constexpr int kMaxReads = 64;        // of one folder's events in a round
constexpr int kMaxDepth = 32;        // links to folders may make a tree endless
constexpr uint64_t kLookShare = 20;  // a slow look may take one part in so many of the time

/// What a look at a tree has seen, as numbers that don't depend on the order of the names.
struct Stamp {
  uint64_t llFolders = 0;
  uint64_t llFiles = 0;
  bool bFiles = false;     ///< files were looked at too
  int64_t llNewestNs = 0;  ///< latest change of anything, nanoseconds since 1970

  /// Compares what both have seen.
  [[nodiscard]] bool Differs(const Stamp& other) const {
    return llFolders != other.llFolders || (bFiles && other.bFiles && llFiles != other.llFiles);
  }
};

struct Watch {
  // Set by Open, then constant.
  std::string szFolder;  ///< without '/' behind it
  bool bSubFolders = false;
  CFolderWatch::Tuning tuning;
  int64_t llOpenedNs = 0;  ///< nanoseconds since 1970
  // Shared.
  std::atomic<bool> bChanged{false};
  std::atomic<bool> bClosed{false};
  // The watcher thread's own.
  std::string szRoot;                             ///< the folder as the disk spells it, '/' behind it
  int fd = -1;                                    ///< inotify; -1 while there is none
  int nRootWd = -1;                               ///< -1 while the folder has no kernel events
  int nParentWd = -1;                             ///< of the folder above it
  std::string szRootName;                         ///< its name there
  std::pair<dev_t, ino_t> idRoot;                 ///< of the folder that has them
  std::unordered_map<int, std::string> mapPaths;  ///< watch -> folder, '/' behind it
  bool bPartial = false;                          ///< parts of the tree are without kernel events
  bool bEvents = false;                           ///< there were events since the last look
  bool bLooked = false;                           ///< there was a look
  bool bThere = false;                            ///< and it found the folder
  Stamp stamp;
  uint64_t llNextLook = 0;
  uint64_t llNextResolve = 0;
};

bool IsDots(const char* szName) {
  return std::strcmp(szName, ".") == 0 || std::strcmp(szName, "..") == 0;
}

/// File systems of this machine, whose every change comes as an event. All others may be shares.
bool IsLocal(const std::string& szFolder) {
  struct statfs fs {};
  if (statfs(szFolder.c_str(), &fs) != 0) return false;
  constexpr std::array<uint32_t, 10> kLocal = {
      0xEF53,      // ext2, ext3, ext4
      0x58465342,  // xfs
      0x9123683E,  // btrfs
      0x01021994,  // tmpfs
      0xF2F52010,  // f2fs
      0x794C7630,  // overlay
      0x4D44,      // vfat
      0x2011BAB0,  // exfat
      0x7366746E,  // ntfs3
      0x2FC12FC1,  // zfs
  };
  return std::find(kLocal.begin(), kLocal.end(), static_cast<uint32_t>(fs.f_type)) != kLocal.end();
}

uint64_t Mix(uint64_t h, uint64_t v) {
  h ^= v + 0x9E3779B97F4A7C15ULL + (h << 6) + (h >> 2);
  return h * 0xFF51AFD7ED558CCDULL;
}

int64_t Nanoseconds(const timespec& ts) {
  return int64_t{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

/// Looks at a folder, and if wanted at all below it.
class CLook {
 public:
  CLook(bool bSubFolders, bool bFiles) : m_bSubFolders(bSubFolders) { m_stamp.bFiles = bFiles; }

  /// False if the folder isn't there.
  bool Run(const std::string& szFolder, Stamp* pStamp) {
    struct stat st {};
    if (stat(szFolder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return false;
    Folder(szFolder, st, 0);
    *pStamp = m_stamp;
    return true;
  }

 private:
  uint64_t HashOf(const std::string& szPath, const struct stat& st) {
    m_stamp.llNewestNs = std::max(m_stamp.llNewestNs, Nanoseconds(st.st_ctim));
    uint64_t h = Mix(std::hash<std::string>{}(szPath), st.st_dev);
    h = Mix(h, st.st_ino);
    h = Mix(h, static_cast<uint64_t>(Nanoseconds(st.st_mtim)));
    return S_ISDIR(st.st_mode) ? h : Mix(h, static_cast<uint64_t>(st.st_size));
  }

  void Folder(const std::string& szFolder, const struct stat& st, int nDepth) {
    if (!m_seen.emplace(st.st_dev, st.st_ino).second) return;
    m_stamp.llFolders += HashOf(szFolder, st);
    if (!m_stamp.bFiles && !m_bSubFolders) return;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(szFolder.c_str()), closedir);
    if (!dir) return;
    while (const dirent* pEntry = readdir(dir.get())) {
      if (IsDots(pEntry->d_name)) continue;
      if (!m_stamp.bFiles && pEntry->d_type == DT_REG) continue;
      struct stat stEntry {};
      if (fstatat(dirfd(dir.get()), pEntry->d_name, &stEntry, 0) != 0) continue;
      const std::string path = szFolder + pEntry->d_name;
      if (S_ISDIR(stEntry.st_mode)) {
        if (m_bSubFolders && nDepth < kMaxDepth) Folder(path + "/", stEntry, nDepth + 1);
      } else if (m_stamp.bFiles) {
        m_stamp.llFiles += HashOf(path, stEntry);
      }
    }
  }

  bool m_bSubFolders;
  Stamp m_stamp;
  std::set<std::pair<dev_t, ino_t>> m_seen;
};

/// The thread of all watches. It is never joined: a share that has gone away may hold it in the kernel
/// for minutes, and nobody is to wait for that. It uses nothing but this object, which is never destroyed.
class CWatcher {
 public:
  static CWatcher& Get() {
    static CWatcher* const pWatcher = std::make_unique<CWatcher>().release();
    return *pWatcher;
  }

  // Any mounting or unmounting makes the second one ready with POLLPRI; a path may then mean another folder.
  CWatcher()
      : m_fdWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        m_fdMounts(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

  void Add(std::shared_ptr<Watch> pWatch) {
    const CGuard guard(m_cs);
    m_vNew.push_back(std::move(pWatch));
    if (!m_bStarted) {
      try {
        std::thread([this] { Run(); }).detach();
        m_bStarted = true;
      } catch (const std::system_error&) {
        // No thread to be had now: the next Open tries again.
      }
    }
    Wake();
  }

  void Wake() const {
    const uint64_t one = 1;
    // Fails only if a wake-up is pending already.
    if (write(m_fdWake, &one, sizeof one) < 0) return;
  }

  [[nodiscard]] CFolderWatch::Tuning Tuning() {
    const CGuard guard(m_cs);
    return m_tuning;
  }
  void SetTuning(const CFolderWatch::Tuning& tuning) {
    const CGuard guard(m_cs);
    m_tuning = tuning;
  }

 private:
  void Run() {
    pthread_setname_np(pthread_self(), "folderwatch");
    for (;;) {
      std::vector<pollfd> fds = {{m_fdWake, POLLIN, 0}, {m_fdMounts, POLLPRI, 0}};
      uint64_t llDue = UINT64_MAX;
      for (const auto& pWatch : m_vWatches) {
        fds.push_back({pWatch->fd, POLLIN, 0});  // a negative one is left out by poll
        llDue = std::min(llDue, pWatch->llNextLook);
      }
      int nTimeout = -1;
      if (llDue != UINT64_MAX) {
        const uint64_t llNow = SystemClock().MonotonicMs();
        nTimeout = llDue <= llNow ? 0 : static_cast<int>(std::min<uint64_t>(llDue - llNow, 60000));
      }
      poll(fds.data(), fds.size(), nTimeout);

      uint64_t count = 0;
      while (read(m_fdWake, &count, sizeof count) > 0) {
      }
      const bool bMounts = (fds[1].revents & POLLPRI) != 0;
      for (const auto& pWatch : m_vWatches) {
        if (pWatch->bClosed) continue;
        if (bMounts) CheckRoot(*pWatch);
        ReadEvents(*pWatch);
      }
      TakeNew();
      for (const auto& pWatch : m_vWatches) {
        if (!pWatch->bClosed && SystemClock().MonotonicMs() >= pWatch->llNextLook) Look(*pWatch);
      }
    }
  }

  /// Drops what was closed, takes what was opened.
  void TakeNew() {
    std::erase_if(m_vWatches, [](const auto& pWatch) {
      if (pWatch->bClosed) Disarm(*pWatch);
      return pWatch->bClosed.load();
    });
    const CGuard guard(m_cs);
    for (auto& pWatch : m_vNew) m_vWatches.push_back(std::move(pWatch));
    m_vNew.clear();
  }

  static void Disarm(Watch& watch) {
    if (watch.fd >= 0) close(watch.fd);  // takes all its watches with it
    watch.fd = -1;
    watch.nRootWd = -1;
    watch.nParentWd = -1;
    watch.mapPaths.clear();
    watch.bPartial = false;
  }

  /// Watches a folder and, if wanted, all below it. The watch comes before the listing, so that a
  /// sub-folder made meanwhile is seen by one of them.
  static void AddTree(Watch& watch, const std::string& szFolder, int nDepth) {
    if (watch.mapPaths.size() >= watch.tuning.dwMaxFolders || nDepth > kMaxDepth) {
      watch.bPartial = true;
      return;
    }
    const int wd = inotify_add_watch(watch.fd, szFolder.c_str(), kMask);
    if (wd < 0) {
      // Gone again, or not for us to see, is nothing to watch; the kernel's limit is.
      if (errno != ENOENT && errno != ENOTDIR && errno != EACCES) watch.bPartial = true;
      return;
    }
    if (nDepth == 0) watch.nRootWd = wd;
    // A folder reached a second time, by a link, gives the number that it has.
    if (!watch.mapPaths.emplace(wd, szFolder).second || !watch.bSubFolders) return;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(szFolder.c_str()), closedir);
    if (!dir) return;
    while (const dirent* pEntry = readdir(dir.get())) {
      if (IsDots(pEntry->d_name)) continue;
      bool bFolder = pEntry->d_type == DT_DIR;
      if (pEntry->d_type == DT_LNK || pEntry->d_type == DT_UNKNOWN) {
        struct stat st {};
        bFolder = fstatat(dirfd(dir.get()), pEntry->d_name, &st, 0) == 0 && S_ISDIR(st.st_mode);
      }
      if (bFolder && !watch.bClosed) AddTree(watch, szFolder + pEntry->d_name + "/", nDepth + 1);
    }
  }

  static void RemoveTree(Watch& watch, const std::string& szFolder) {
    std::erase_if(watch.mapPaths, [&](const auto& entry) {
      if (!entry.second.starts_with(szFolder)) return false;
      inotify_rm_watch(watch.fd, entry.first);
      return true;
    });
  }

  static int DepthOf(const Watch& watch, const std::string& szFolder) {
    return static_cast<int>(
        std::count(szFolder.begin() + static_cast<std::ptrdiff_t>(watch.szRoot.size()), szFolder.end(), '/'));
  }

  static void ReadEvents(Watch& watch) {
    alignas(inotify_event) std::array<char, 16384> buffer;
    // Not without end: a folder in which something is always going on must not keep the others waiting.
    for (int nReads = 0; nReads < kMaxReads && watch.fd >= 0; ++nReads) {
      const ssize_t n = read(watch.fd, buffer.data(), buffer.size());
      if (n <= 0) return;
      bool bRearm = false;
      for (ssize_t i = 0; i < n && !bRearm;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + i, sizeof event);
        const char* szName = event.len > 0 ? buffer.data() + i + sizeof event : "";
        i += static_cast<ssize_t>(sizeof event + event.len);
        bRearm = !HandleEvent(watch, event, szName);
      }
      if (bRearm) {
        Disarm(watch);
        watch.llNextLook = 0;
      }
    }
  }

  /// False if the whole tree has to be looked at anew.
  static bool HandleEvent(Watch& watch, const inotify_event& event, const char* szName) {
    if (event.wd == watch.nParentWd && szName == watch.szRootName) {
      watch.bChanged = true;
      return false;
    }
    const auto it = watch.mapPaths.find(event.wd);
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
      watch.bChanged = true;
      return false;
    }
    if (it == watch.mapPaths.end()) return true;  // of the folder above, or still queued of one that has moved away
    watch.bEvents = true;
    if (event.wd == watch.nRootWd && (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0) {
      watch.bChanged = true;
      return false;
    }
    if ((event.mask & IN_IGNORED) != 0) {
      watch.mapPaths.erase(it);
      return true;
    }
    watch.bChanged = true;
    if (!watch.bSubFolders || szName[0] == '\0') return true;
    const std::string path = it->second + szName + "/";
    if ((event.mask & IN_ISDIR) != 0 && (event.mask & (IN_MOVED_FROM | IN_DELETE)) != 0) RemoveTree(watch, path);
    if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
      // A link to a folder isn't marked as one: let the kernel say (IN_ONLYDIR).
      AddTree(watch, path, DepthOf(watch, path));
      // What was put into a new folder before its watch gave no event: have it looked at once more.
      watch.bChanged = true;
    }
    return true;
  }

  /// Finds the folder's spelling on the disk. Not looked for at each retry: that lists whole folders.
  static void FindRoot(Watch& watch, uint64_t llNow) {
    struct stat st {};
    std::string szFound = watch.szFolder;
    if (stat(szFound.c_str(), &st) != 0 && llNow >= watch.llNextResolve) {
      watch.llNextResolve = llNow + watch.tuning.dwSlowLookMs;
      szFound = ResolvePath(szFound);
    } else if (!watch.szRoot.empty() && stat(szFound.c_str(), &st) != 0) {
      return;  // keep what was found before
    }
    if (watch.szRoot == szFound + "/") return;
    Disarm(watch);
    watch.szRoot = szFound + "/";
  }

  /// Has the folder looked at if its path means another one by now, or none.
  static void CheckRoot(Watch& watch) {
    struct stat st {};
    const bool bThere = stat(watch.szRoot.c_str(), &st) == 0;
    const bool bSame = watch.nRootWd >= 0 && watch.idRoot == std::pair(st.st_dev, st.st_ino);
    if (bThere ? !bSame : watch.nRootWd >= 0) watch.llNextLook = 0;
  }

  /// True if the folder got its kernel events just now.
  static bool Arm(Watch& watch) {
    struct stat st {};
    if (stat(watch.szRoot.c_str(), &st) != 0) {
      Disarm(watch);
      return false;
    }
    // Mounted over, or made anew while its old self still lives: the path now means another folder.
    if (watch.nRootWd >= 0 && watch.idRoot != std::pair(st.st_dev, st.st_ino)) Disarm(watch);
    if (watch.nRootWd >= 0 || !watch.tuning.bKernelEvents) return false;
    if (watch.fd < 0) watch.fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (watch.fd < 0) return false;
    watch.bPartial = false;
    AddTree(watch, watch.szRoot, 0);
    watch.idRoot = {st.st_dev, st.st_ino};
    const std::string_view path(watch.szRoot.data(), watch.szRoot.size() - 1);
    const size_t nSlash = path.rfind('/');
    if (nSlash != std::string_view::npos) {
      watch.szRootName = path.substr(nSlash + 1);
      watch.nParentWd = inotify_add_watch(watch.fd, watch.szRoot.substr(0, nSlash + 1).c_str(), kParentMask);
    }
    return watch.nRootWd >= 0;
  }

  /// The slow look; also arms a folder that has appeared.
  static void Look(Watch& watch) {
    const uint64_t llStart = SystemClock().MonotonicMs();
    FindRoot(watch, llStart);
    const bool bArmedNow = Arm(watch);
    // On this machine's own disks every change is an event, so that the time stamps of the folders,
    // as a check, are enough.
    const bool bLocal = watch.nRootWd >= 0 && !watch.bPartial && IsLocal(watch.szRoot);
    Stamp stamp;
    const bool bThere = CLook(watch.bSubFolders, !bLocal || !watch.bLooked).Run(watch.szRoot, &stamp);
    if (!watch.bLooked) {
      // Whoever opens a watch reads the folder then; only what changed since is news. File times come
      // from a clock that is up to one timer tick behind.
      constexpr int64_t kTickNs = 10000000;
      if (bThere && stamp.llNewestNs >= watch.llOpenedNs - kTickNs) watch.bChanged = true;
    } else if (bThere != watch.bThere || bArmedNow) {
      watch.bChanged = true;
    } else if (bThere && stamp.Differs(watch.stamp) && !(bLocal && watch.bEvents)) {
      watch.bChanged = true;
    }
    watch.bLooked = true;
    watch.bThere = bThere;
    watch.bEvents = false;
    watch.stamp = stamp;
    const uint64_t llNow = SystemClock().MonotonicMs();
    const uint64_t llPause = std::max<uint64_t>(watch.tuning.dwSlowLookMs, (llNow - llStart) * kLookShare);
    watch.llNextLook = llNow + (bThere ? llPause : std::min(kRetryMs, watch.tuning.dwSlowLookMs));
  }

  const int m_fdWake;
  const int m_fdMounts;  ///< negative where there is none: then the slow look finds out
  CLock m_cs;
  std::vector<std::shared_ptr<Watch>> m_vNew GUARDED_BY(m_cs);
  bool m_bStarted GUARDED_BY(m_cs) = false;
  CFolderWatch::Tuning m_tuning GUARDED_BY(m_cs);
  std::vector<std::shared_ptr<Watch>> m_vWatches;  // the thread's own
};

}  // namespace

class CFolderWatch::CImpl {
 public:
  void Set(std::shared_ptr<Watch> pNew) {
    std::shared_ptr<Watch> pOld;
    {
      const CGuard guard(m_cs);
      pOld = std::exchange(m_pWatch, pNew);
    }
    if (pNew) CWatcher::Get().Add(std::move(pNew));
    if (!pOld) return;
    pOld->bClosed = true;
    CWatcher::Get().Wake();
  }
  std::shared_ptr<Watch> Get() {
    const CGuard guard(m_cs);
    return m_pWatch;
  }

 private:
  CLock m_cs;
  std::shared_ptr<Watch> m_pWatch GUARDED_BY(m_cs);
};

CFolderWatch::CFolderWatch() : m_pImpl(std::make_unique<CImpl>()) {}

CFolderWatch::~CFolderWatch() {
  Close();
}

void CFolderWatch::Open(const std::string& szFolder, bool bSubFolders) {
  auto pWatch = std::make_shared<Watch>();
  pWatch->szFolder = szFolder;
  while (pWatch->szFolder.size() > 1 && (pWatch->szFolder.back() == '/' || pWatch->szFolder.back() == '\\')) {
    pWatch->szFolder.pop_back();
  }
  pWatch->bSubFolders = bSubFolders;
  pWatch->tuning = CWatcher::Get().Tuning();
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  pWatch->llOpenedNs = Nanoseconds(ts);
  m_pImpl->Set(std::move(pWatch));
}

void CFolderWatch::Close() {
  m_pImpl->Set(nullptr);
}

bool CFolderWatch::IsOpen() const {
  return m_pImpl->Get() != nullptr;
}

bool CFolderWatch::TakeChanged() {
  const std::shared_ptr<Watch> pWatch = m_pImpl->Get();
  return pWatch && pWatch->bChanged.exchange(false);
}

void CFolderWatch::SetTuning(const Tuning& tuning) {
  CWatcher::Get().SetTuning(tuning);
}

}  // namespace tonara
