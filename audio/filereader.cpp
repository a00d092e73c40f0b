#include "audio/filereader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/paths.h"

namespace tonara {
namespace {

constexpr uint32_t kTampon = 16384;

}  // namespace

bool CFileReader::Open(const std::string& szPath) {
  Close();
  // A NUL inside would cut the name at the system's border and open another file.
  if (szPath.empty() || szPath.find('\0') != std::string::npos) return false;
  const std::string path = ResolvePath(szPath);
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  // The name may have changed hands since: O_NONBLOCK so that a FIFO can't hold us, and a second look.
  const int iFile = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (iFile < 0) return false;
  if (fstat(iFile, &info) != 0 || !S_ISREG(info.st_mode)) {
    close(iFile);
    return false;
  }
  m_iFile = iFile;
  m_llTaille = static_cast<uint64_t>(std::max<off_t>(info.st_size, 0));
  if (!m_pTampon) m_pTampon = std::make_unique<uint8_t[]>(kTampon);
  posix_fadvise(m_iFile, 0, 0, POSIX_FADV_SEQUENTIAL);
  return true;
}

void CFileReader::Close() {
  if (m_iFile >= 0) close(m_iFile);
  m_iFile = -1;
  m_llTaille = 0;
  m_llBloc = 0;
  m_dwPos = 0;
  m_dwFill = 0;
}

void CFileReader::SetPosition(uint64_t llPos) {
  if (llPos >= m_llBloc && llPos - m_llBloc <= m_dwFill) {
    m_dwPos = static_cast<uint32_t>(llPos - m_llBloc);
    return;
  }
  m_llBloc = llPos;
  m_dwPos = 0;
  m_dwFill = 0;
}

int64_t CFileReader::Lit(uint8_t* pDest, uint32_t dwWanted) {
  uint32_t dwGiven = 0;
  while (dwGiven < dwWanted) {
    const uint32_t dwHeld = std::min(dwWanted - dwGiven, m_dwFill - m_dwPos);
    if (dwHeld > 0) {
      std::memcpy(pDest + dwGiven, m_pTampon.get() + m_dwPos, dwHeld);
      m_dwPos += dwHeld;
      dwGiven += dwHeld;
      continue;
    }
    if (m_iFile < 0) break;
    m_llBloc += m_dwFill;
    m_dwPos = 0;
    m_dwFill = 0;
    const uint32_t dwLeft = dwWanted - dwGiven;
    // A request as big as the buffer goes straight to its destination.
    const bool bDirect = dwLeft >= kTampon;
    const int64_t llRead =
        bDirect ? LitFichier(pDest + dwGiven, dwLeft, m_llBloc) : LitFichier(m_pTampon.get(), kTampon, m_llBloc);
    if (llRead < 0 && dwGiven == 0) return -1;
    if (llRead <= 0) break;
    if (bDirect) {
      m_llBloc += static_cast<uint64_t>(llRead);
      dwGiven += static_cast<uint32_t>(llRead);
    } else {
      m_dwFill = static_cast<uint32_t>(llRead);
    }
  }
  return dwGiven;
}

int64_t CFileReader::LitFichier(uint8_t* pDest, uint32_t dwWanted, uint64_t llPos) const {
  if (llPos > static_cast<uint64_t>(INT64_MAX)) return 0;
  ssize_t iRead = 0;
  do {
    iRead = pread(m_iFile, pDest, dwWanted, static_cast<off_t>(llPos));
  } while (iRead < 0 && errno == EINTR);
  return iRead;
}

}  // namespace tonara
