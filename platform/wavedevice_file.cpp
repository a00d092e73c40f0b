// The backend "file:DIR": what an output plays goes to DIR/out-001.wav, out-002.wav, ... in real time;
// an input hears DIR/in.wav in a loop.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_paced.h"

namespace tonara {
namespace {

constexpr uint32_t kHeader = 44;
/// A RIFF size is 32 bits and counts 36 bytes of the header; then the next file goes on.
constexpr uint64_t kMaxData = 0xFFFFFFFFu - kHeader;
constexpr int64_t kRetryNs = 1'000'000'000;

void Put16(uint8_t* p, uint16_t w) {
  p[0] = static_cast<uint8_t>(w);
  p[1] = static_cast<uint8_t>(w >> 8);
}
void Put32(uint8_t* p, uint32_t dw) {
  Put16(p, static_cast<uint16_t>(dw));
  Put16(p + 2, static_cast<uint16_t>(dw >> 16));
}
uint16_t Get16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}
uint32_t Get32(const uint8_t* p) {
  return Get16(p) | uint32_t{Get16(p + 2)} << 16;
}

std::array<uint8_t, kHeader> MakeHeader(const PCMWAVEFORMAT& format, uint32_t dwData) {
  std::array<uint8_t, kHeader> header{};
  uint8_t* p = header.data();
  std::memcpy(p, "RIFF", 4);
  Put32(p + 4, dwData + kHeader - 8);
  std::memcpy(p + 8, "WAVEfmt ", 8);
  Put32(p + 16, 16);
  Put16(p + 20, format.wFormatTag);
  Put16(p + 22, format.nChannels);
  Put32(p + 24, format.nSamplesPerSec);
  Put32(p + 28, WaveBytesPerSec(format));
  Put16(p + 32, format.nBlockAlign);
  Put16(p + 34, format.wBitsPerSample);
  std::memcpy(p + 36, "data", 4);
  Put32(p + 40, dwData);
  return header;
}

class CFd {
 public:
  explicit CFd(int fd = -1) : m_fd(fd) {}
  ~CFd() { Close(); }
  CFd(const CFd&) = delete;
  CFd& operator=(const CFd&) = delete;
  void Set(int fd) {
    Close();
    m_fd = fd;
  }
  void Close() {
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
  }
  [[nodiscard]] int Get() const { return m_fd; }

 private:
  int m_fd;
};

bool WriteAt(int fd, const uint8_t* pData, size_t nLength, uint64_t llAt) {
  while (nLength > 0) {
    const ssize_t n = pwrite(fd, pData, nLength, static_cast<off_t>(llAt));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    pData += n;
    llAt += static_cast<uint64_t>(n);
    nLength -= static_cast<size_t>(n);
  }
  return true;
}

size_t ReadAt(int fd, uint8_t* pData, size_t nLength, uint64_t llAt) {
  size_t nDone = 0;
  while (nDone < nLength) {
    const ssize_t n = pread(fd, pData + nDone, nLength - nDone, static_cast<off_t>(llAt + nDone));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    nDone += static_cast<size_t>(n);
  }
  return nDone;
}

/// Data first, then the sizes in the header: whatever instant the process dies at, the header never
/// promises more than there is. Failures are told once; writing is tried again each second.
class CWavWriter final : public CPcmSink {
 public:
  CWavWriter(std::string szDir, const PCMWAVEFORMAT& format) : m_szDir(std::move(szDir)), m_format(format) { Create(); }

  void Consume(const uint8_t* pData, uint32_t dwLength) override {
    if (m_llRetryAt != 0 && WaveNowNs() < m_llRetryAt) return;
    if (m_fd.Get() >= 0 && m_llData + dwLength > kMaxData) m_fd.Close();
    if (m_fd.Get() < 0 && !Create()) return;
    if (!WriteAt(m_fd.Get(), pData, dwLength, kHeader + m_llData)) {
      Failed();
      return;
    }
    const auto dwData = static_cast<uint32_t>(m_llData + dwLength);
    std::array<uint8_t, 4> riff{};
    std::array<uint8_t, 4> data{};
    Put32(riff.data(), dwData + kHeader - 8);
    Put32(data.data(), dwData);
    if (!WriteAt(m_fd.Get(), data.data(), 4, 40) || !WriteAt(m_fd.Get(), riff.data(), 4, 4)) {
      Failed();
      return;
    }
    m_llData = dwData;
    m_llRetryAt = 0;
  }

 private:
  bool Create() {
    m_llData = 0;
    int fd = -1;
    while (fd < 0) {
      char szName[24];
      std::snprintf(szName, sizeof szName, "/out-%03u.wav", ++m_nNumber);
      m_szPath = m_szDir + szName;
      fd = open(m_szPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
      if (fd < 0 && errno != EEXIST) {
        Failed();
        --m_nNumber;
        return false;
      }
    }
    m_fd.Set(fd);
    const auto header = MakeHeader(m_format, 0);
    if (WriteAt(fd, header.data(), header.size(), 0)) return true;
    Failed();
    m_fd.Close();
    unlink(m_szPath.c_str());
    --m_nNumber;
    return false;
  }
  void Failed() {
    const int nError = errno;
    m_llRetryAt = WaveNowNs() + kRetryNs;
    if (!m_bTold) NotifyWave("Écriture impossible : " + m_szPath + " (" + std::strerror(nError) + ")");
    m_bTold = true;
  }

  const std::string m_szDir;
  const PCMWAVEFORMAT m_format;
  std::string m_szPath;
  CFd m_fd;
  unsigned m_nNumber = 0;
  uint64_t m_llData = 0;    ///< bytes of sound in the present file
  int64_t m_llRetryAt = 0;  ///< 0: no failure pending
  bool m_bTold = false;
};

class CWavLoop final : public CPcmSource {
 public:
  CWavLoop(const std::string& szPath, const PCMWAVEFORMAT& format)
      : m_bySilence(format.wBitsPerSample == 8 ? 0x80 : 0),
        m_fd(open(szPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (m_fd.Get() < 0) {
      if (errno != ENOENT) NotifyWave("Lecture impossible : " + szPath + " (" + std::strerror(errno) + ")");
      return;
    }
    if (!FindData(format)) {
      NotifyWave("Format inattendu : " + szPath);
      m_fd.Close();
    }
  }

  void Produce(uint8_t* pData, uint32_t dwLength) override {
    while (dwLength > 0) {
      const auto dwNow = static_cast<uint32_t>(std::min<uint64_t>(dwLength, m_llData - m_llAt));
      const size_t nRead = m_fd.Get() < 0 ? 0 : ReadAt(m_fd.Get(), pData, dwNow, m_llStart + m_llAt);
      if (nRead == 0) {
        std::memset(pData, m_bySilence, dwLength);
        return;
      }
      pData += nRead;
      dwLength -= static_cast<uint32_t>(nRead);
      m_llAt = (m_llAt + nRead) % m_llData;
    }
  }

 private:
  /// Walks the chunks to the sound. False if this is no file of that very format.
  bool FindData(const PCMWAVEFORMAT& format) {
    struct stat st {};
    std::array<uint8_t, 12> riff{};
    if (fstat(m_fd.Get(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    if (ReadAt(m_fd.Get(), riff.data(), riff.size(), 0) != riff.size()) return false;
    if (std::memcmp(riff.data(), "RIFF", 4) != 0 || std::memcmp(riff.data() + 8, "WAVE", 4) != 0) return false;
    const auto llFile = static_cast<uint64_t>(st.st_size);
    bool bFormat = false;
    for (uint64_t llAt = riff.size(); llAt + 8 <= llFile;) {
      std::array<uint8_t, 24> chunk{};
      const size_t nRead = ReadAt(m_fd.Get(), chunk.data(), chunk.size(), llAt);
      if (nRead < 8) return false;
      const uint32_t dwSize = Get32(chunk.data() + 4);
      const uint8_t* p = chunk.data() + 8;
      if (std::memcmp(chunk.data(), "fmt ", 4) == 0 && nRead == chunk.size()) {
        bFormat = Get16(p + 2) == format.nChannels && Get32(p + 4) == format.nSamplesPerSec &&
                  Get16(p + 14) == format.wBitsPerSample;
      } else if (std::memcmp(chunk.data(), "data", 4) == 0) {
        m_llStart = llAt + 8;
        m_llData = std::min<uint64_t>(dwSize, llFile - m_llStart);
        m_llData -= m_llData % format.nBlockAlign;
        return bFormat && m_llData > 0;
      }
      llAt += 8 + uint64_t{dwSize} + dwSize % 2;
    }
    return false;
  }

  const uint8_t m_bySilence;
  CFd m_fd;
  uint64_t m_llStart = 0;
  uint64_t m_llData = 0;
  uint64_t m_llAt = 0;
};

class CFileBackend final : public CSinglePairBackend {
 public:
  explicit CFileBackend(std::string szDir) : CSinglePairBackend("File"), m_szDir(std::move(szDir)) {
    while (m_szDir.size() > 1 && m_szDir.back() == '/') m_szDir.pop_back();
    if (m_szDir.empty()) m_szDir.push_back('.');
  }
  [[nodiscard]] const char* Name() const override { return "file"; }

  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                          WaveCallback fnDone, std::string* pError) override {
    if (!Accepts(nIndex, format, pError)) return nullptr;
    return std::make_unique<CPacedOut>("file-out", format, fnDone, std::make_unique<CWavWriter>(m_szDir, format));
  }
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                        WaveCallback fnDone, std::string* pError) override {
    if (!Accepts(nIndex, format, pError)) return nullptr;
    return std::make_unique<CPacedIn>("file-in", format, fnDone,
                                      std::make_unique<CWavLoop>(m_szDir + "/in.wav", format));
  }

 private:
  std::string m_szDir;
};

}  // namespace

std::unique_ptr<CWaveBackend> MakeFileBackend(std::string szDir) {
  return std::make_unique<CFileBackend>(std::move(szDir));
}

}  // namespace tonara
