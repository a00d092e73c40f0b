// A file without a disk for readers that take a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tonara::fuzz {

class CMemFile {
 public:
  CMemFile() : m_iFile(memfd_create("fuzz", MFD_CLOEXEC)), m_szPath("/proc/self/fd/" + std::to_string(m_iFile)) {}
  ~CMemFile() { close(m_iFile); }
  CMemFile(const CMemFile&) = delete;
  CMemFile& operator=(const CMemFile&) = delete;

  bool Set(const uint8_t* pData, size_t nSize) const {
    return ftruncate(m_iFile, 0) == 0 && pwrite(m_iFile, pData, nSize, 0) == static_cast<ssize_t>(nSize);
  }
  [[nodiscard]] const std::string& Path() const { return m_szPath; }

 private:
  int m_iFile;
  std::string m_szPath;
};

}  // namespace tonara::fuzz
