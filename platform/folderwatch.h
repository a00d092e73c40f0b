// Tells that something changed in a folder (names, sizes, write times), if wanted with all below it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tonara {

/// One watched folder. Built on inotify; an overflow of the kernel's queue counts as a change; a
/// folder that is absent, deleted, made again or mounted is armed as soon as it exists (within a second), which
/// counts as a change; a slow look at names, sizes and times covers network shares that send no events,
/// and folders beyond the kernel's limit of watches. A file being written is told at its beginning and when
/// it is closed, not at each write. All objects share one thread, which sleeps while
/// nothing happens. Open and Close from one thread at a time.
class CFolderWatch {
 public:
  CFolderWatch();
  ~CFolderWatch();
  CFolderWatch(const CFolderWatch&) = delete;
  CFolderWatch& operator=(const CFolderWatch&) = delete;

  /// Starts watching; replaces an earlier watch. Never fails: see above. Does not wait for the disk.
  void Open(const std::string& szFolder, bool bSubFolders);
  void Close();
  [[nodiscard]] bool IsOpen() const;
  /// True once after each change or group of changes. Never blocks. Any thread.
  bool TakeChanged();

  /// How the watching is done from the next Open on; for tests and for trying out a network share.
  struct Tuning {
    uint32_t dwSlowLookMs = 45000;  ///< period of the slow look
    bool bKernelEvents = true;      ///< false: the slow look alone
    uint32_t dwMaxFolders = 20000;  ///< watches of one tree; what lies beyond is left to the slow look
  };
  static void SetTuning(const Tuning& tuning);

 private:
  class CImpl;
  std::unique_ptr<CImpl> m_pImpl;
};

}  // namespace tonara
