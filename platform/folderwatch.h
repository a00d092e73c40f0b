// Tells that something changed in a folder (names, sizes, write times), if wanted with all below it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tonara {

class CClock;

/// One watched folder. Built on inotify; an overflow of the kernel's queue counts as a change; a
/// folder that is absent, deleted or made again is armed as soon as it exists, which counts as a
/// change; a slow look at names, sizes and times covers network shares that send no events.
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

 private:
  class CImpl;
  std::unique_ptr<CImpl> m_pImpl;
};

}  // namespace tonara
