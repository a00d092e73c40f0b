// Whole files: read with a limit, and replaced so that after a kill or a power cut there is the old
// file or the new one, whole. And text files that only grow.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tonara {

/// The bytes of a regular file, or nothing if it can't be opened, isn't a regular file (a FIFO, a
/// device node and a folder are refused without blocking) or is larger than nLimit. Any thread.
std::optional<std::string> ReadWholeFile(const std::string& szPath, size_t nLimit = size_t{16} << 20);

/// Replaces szPath by these bytes: temporary file in the same folder, flushed to disk, renamed over
/// the old one, folder synced. Permissions of an existing file are kept, else 0644; a symbolic link
/// is followed. On failure false, the old file untouched, no temporary file left, *pError (nullable)
/// the cause. Any thread; blocks on the disk.
bool WriteFileAtomic(const std::string& szPath, std::string_view bytes, std::string* pError = nullptr);

/// A text file that lines are appended to, each by one write, so that they reach the system even if
/// the program dies. Not locked: one thread at a time. All operations block on the disk.
class CAppendFile {
 public:
  CAppendFile() = default;
  ~CAppendFile() { Close(); }
  CAppendFile(const CAppendFile&) = delete;
  CAppendFile& operator=(const CAppendFile&) = delete;

  /// Opens, or makes, the file; closes an earlier one. False if that fails or it isn't a regular file.
  /// A last line that a power cut has left without its end is ended before the first Append.
  bool Open(const std::string& szPath);
  void Close();
  [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }
  /// True if the file has been deleted since: what is appended would be lost.
  [[nodiscard]] bool IsDeleted() const;
  /// False if the text doesn't fit on the disk; then nothing of it stays in the file.
  bool Append(std::string_view text);

 private:
  int m_fd = -1;
  bool m_bTorn = false;
};

}  // namespace tonara
