#include "platform/singleinstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace tonara {
namespace {

/// Folders for the lock, best first. The user's runtime folder is asked for by its usual place too: a
/// start by cron or ssh may lack the variable, and must still see the instance of the desktop.
std::vector<std::string> LockFolders() {
  const std::string szUid = std::to_string(geteuid());
  std::vector<std::string> folders;
  const char* szRuntime = std::getenv("XDG_RUNTIME_DIR");
  if (szRuntime != nullptr && szRuntime[0] == '/') folders.emplace_back(szRuntime);
  folders.emplace_back("/run/user/" + szUid);
  folders.push_back("/tmp/tonara-" + szUid);
  return folders;
}

/// A folder of this user that others can't write to: in theirs the lock could be held against us.
bool IsOurs(const std::string& szFolder) {
  struct stat st {};
  return lstat(szFolder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid() &&
         (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

CSingleInstance::~CSingleInstance() {
  if (m_fd >= 0) close(m_fd);
}

bool CSingleInstance::Acquire(const std::string& szName) {
  if (m_fd >= 0) return true;
  std::string szFile = szName + ".lock";
  std::replace(szFile.begin(), szFile.end(), '/', '_');
  szFile.insert(0, "/");
  for (const std::string& szFolder : LockFolders()) {
    if (szFolder.starts_with("/tmp/tonara-")) mkdir(szFolder.c_str(), S_IRWXU);
    if (!IsOurs(szFolder)) continue;
    const int fd =
        open((szFolder + szFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (fd < 0) continue;
    int nResult = -1;
    while ((nResult = flock(fd, LOCK_EX | LOCK_NB)) != 0 && errno == EINTR) {
    }
    if (nResult == 0) {
      m_fd = fd;
      return true;
    }
    const bool bHeld = errno == EWOULDBLOCK;
    close(fd);
    if (bHeld) return false;
  }
  return true;
}

}  // namespace tonara
