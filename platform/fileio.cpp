#include "platform/fileio.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace tonara {
namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr int kMaxTries = 50;
constexpr int kMaxLinks = 40;  // as the kernel's own limit for one path

class CFd {
 public:
  explicit CFd(int fd) : m_fd(fd) {}
  ~CFd() {
    if (m_fd >= 0) close(m_fd);
  }
  CFd(CFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  CFd& operator=(CFd&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  CFd(const CFd&) = delete;
  CFd& operator=(const CFd&) = delete;
  [[nodiscard]] int Get() const { return m_fd; }
  int Release() { return std::exchange(m_fd, -1); }
  [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }

 private:
  int m_fd;
};

bool Fail(std::string* pError, int nErrno) {
  if (pError != nullptr) *pError = std::strerror(nErrno);
  return false;
}

/// Folder of the path with its '/', or "./".
std::string FolderOf(const std::string& szPath) {
  const size_t slash = szPath.rfind('/');
  return slash == std::string::npos ? "./" : szPath.substr(0, slash + 1);
}

/// Follows links to the file that they name in the end, which need not exist. False at a loop.
bool FollowLinks(std::string* pPath) {
  for (int i = 0; i < kMaxLinks; ++i) {
    char target[4096];
    const ssize_t n = readlink(pPath->c_str(), target, sizeof target);
    if (n < 0) return true;  // no link, or nothing there
    if (n == static_cast<ssize_t>(sizeof target)) break;
    const std::string szTarget(target, static_cast<size_t>(n));
    *pPath = szTarget.starts_with('/') ? szTarget : FolderOf(*pPath) + szTarget;
  }
  return false;
}

/// The temporary file's name is always the same, so that what a kill leaves behind is taken up again by
/// the next write instead of piling up. A lock on it keeps writers of the same file apart.
std::string TempNameOf(const std::string& szPath) {
  const std::string szFolder = FolderOf(szPath);
  std::string szName = szPath.substr(szPath.rfind('/') + 1);
  constexpr size_t kNameMax = 255;
  constexpr std::string_view kSuffix = ".tmp";
  szName.resize(std::min(szName.size(), kNameMax - kSuffix.size() - 1));
  return szFolder + "." + szName + std::string(kSuffix);
}

/// Opens and locks the temporary file. Waits while another thread or process writes the same one.
CFd OpenTemp(std::string* pTemp) {
  // Some shares give a file another number at each question: there the loop must come to an end.
  for (int nTries = 0; nTries < kMaxTries; ++nTries) {
    CFd fd(open(pTemp->c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR));
    if (!fd.IsOpen()) break;
    struct stat stOpen {};
    struct stat stName {};
    if (fstat(fd.Get(), &stOpen) != 0 || !S_ISREG(stOpen.st_mode) || stOpen.st_nlink > 1) break;
    // Some network shares know no locks: there the writers of other processes are not kept apart.
    while (flock(fd.Get(), LOCK_EX) != 0 && errno == EINTR) {
    }
    // Whoever held the lock has renamed or removed this file meanwhile: start again with a new one.
    if (lstat(pTemp->c_str(), &stName) != 0 || stName.st_ino != stOpen.st_ino || stName.st_dev != stOpen.st_dev) {
      continue;
    }
    return fd;
  }
  // The name isn't to be had, or something of somebody else bears it: take one that is free.
  const int nCause = errno;
  *pTemp += ".XXXXXX";
  CFd fd(mkostemp(pTemp->data(), O_CLOEXEC));
  if (!fd.IsOpen() && nCause != 0) errno = nCause;
  return fd;
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = EIO;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

/// Gives the new file the owner and permissions of the old one, as far as it goes: only root may give
/// files away, and FAT and network shares refuse permissions that they can't keep.
void CopyRights(int fd, const struct stat* pOld) {
  struct stat stNew {};
  if (pOld != nullptr && fstat(fd, &stNew) == 0 && (stNew.st_uid != pOld->st_uid || stNew.st_gid != pOld->st_gid)) {
    static_cast<void>(!fchown(fd, pOld->st_uid, pOld->st_gid));
  }
  fchmod(fd, pOld != nullptr ? pOld->st_mode & 07777 : kNewFileMode);
}

/// Onto the disk. A share also tells here that it is full. Some can't be asked at all, which is no failure.
bool Flush(int fd) {
  return fsync(fd) == 0 || errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& szPath, size_t nLimit) {
  // Asked before opening as well: opening a device node alone may have effects.
  struct stat st {};
  if (stat(szPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  const CFd fd(open(szPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!fd.IsOpen() || fstat(fd.Get(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  if (static_cast<uint64_t>(st.st_size) > nLimit) return std::nullopt;

  std::string bytes;
  size_t nDone = 0;
  // One byte more than the size tells the end in one read; a file that grows meanwhile is followed.
  bytes.resize(static_cast<size_t>(st.st_size) + 1);
  for (;;) {
    const ssize_t n = read(fd.Get(), bytes.data() + nDone, bytes.size() - nDone);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    nDone += static_cast<size_t>(n);
    if (nDone > nLimit) return std::nullopt;
    if (nDone == bytes.size()) bytes.resize(bytes.size() * 2);
  }
  bytes.resize(nDone);
  return bytes;
}

bool WriteFileAtomic(const std::string& szPath, std::string_view bytes, std::string* pError) {
  std::string szTarget = szPath;
  if (!FollowLinks(&szTarget)) return Fail(pError, ELOOP);

  struct stat stOld {};
  const bool bExists = lstat(szTarget.c_str(), &stOld) == 0;
  if (!bExists && errno != ENOENT) return Fail(pError, errno);
  if (bExists && S_ISDIR(stOld.st_mode)) return Fail(pError, EISDIR);
  if (bExists && !S_ISREG(stOld.st_mode)) return Fail(pError, EINVAL);
  // Renaming would get past the write protection of the file itself.
  if (bExists && faccessat(AT_FDCWD, szTarget.c_str(), W_OK, AT_EACCESS) != 0) return Fail(pError, errno);

  std::string szTemp = TempNameOf(szTarget);
  errno = 0;
  const CFd fd = OpenTemp(&szTemp);
  if (!fd.IsOpen()) return Fail(pError, errno);

  // Flushed before it is renamed: else a power cut may leave the new name over an empty file.
  CopyRights(fd.Get(), bExists ? &stOld : nullptr);
  const bool bWritten = ftruncate(fd.Get(), 0) == 0 && WriteAll(fd.Get(), bytes) && Flush(fd.Get()) &&
                        rename(szTemp.c_str(), szTarget.c_str()) == 0;
  if (!bWritten) {
    const int nCause = errno;
    unlink(szTemp.c_str());
    return Fail(pError, nCause);
  }
  // Some file systems can't sync a folder; the file is in place whatever comes of it.
  const CFd folder(open(FolderOf(szTarget).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.IsOpen()) fsync(folder.Get());
  return true;
}

bool CAppendFile::Open(const std::string& szPath) {
  Close();
  // Not blocking: a FIFO nobody reads would hold the caller up for ever.
  CFd fd(open(szPath.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kNewFileMode));
  struct stat st {};
  if (!fd.IsOpen() || fstat(fd.Get(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  char cLast = '\n';
  m_bTorn = st.st_size > 0 && pread(fd.Get(), &cLast, 1, st.st_size - 1) == 1 && cLast != '\n';
  m_fd = fd.Release();
  return true;
}

void CAppendFile::Close() {
  if (m_fd >= 0) close(m_fd);
  m_fd = -1;
}

bool CAppendFile::IsDeleted() const {
  struct stat st {};
  return m_fd >= 0 && fstat(m_fd, &st) == 0 && st.st_nlink == 0;
}

bool CAppendFile::Append(std::string_view text) {
  if (m_fd < 0) return false;
  struct stat st {};
  if (fstat(m_fd, &st) != 0) return false;
  const std::string ended = m_bTorn ? "\n" + std::string(text) : std::string();
  if (m_bTorn) text = ended;
  if (!WriteAll(m_fd, text)) {
    // Half a line would be glued to the next one.
    if (ftruncate(m_fd, st.st_size) != 0) m_bTorn = true;
    return false;
  }
  m_bTorn = false;
  return true;
}

}  // namespace tonara
