// A regular file as a stream of bytes with a read buffer of our own, for sources that ask for one or
// four bytes at a time. Positions are 64 bits. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tonara {

class CFileReader {
 public:
  CFileReader() = default;
  ~CFileReader() { Close(); }
  CFileReader(const CFileReader&) = delete;
  CFileReader& operator=(const CFileReader&) = delete;

  /// Opens the path (resolved by ResolvePath) for reading; closes an earlier one. Only a regular file:
  /// a folder, a FIFO or a device node gives false at once and is never opened, since opening alone
  /// may block or have an effect. May block on the disk.
  bool Open(const std::string& szPath);
  void Close();
  [[nodiscard]] bool IsOpen() const { return m_iFile >= 0; }

  /// Length in bytes when it was opened.
  [[nodiscard]] uint64_t GetTaille() const { return m_llTaille; }
  [[nodiscard]] uint64_t GetPosition() const { return m_llBloc + m_dwPos; }
  /// Moves to any position; beyond the end the next Lit gives 0. Costs nothing within the buffer.
  void SetPosition(uint64_t llPos);

  /// Gives up to dwWanted bytes: fewer only at the end of the file. Less than 0 on a read error that
  /// gave nothing.
  int64_t Lit(uint8_t* pDest, uint32_t dwWanted);

 private:
  int64_t LitFichier(uint8_t* pDest, uint32_t dwWanted, uint64_t llPos) const;

  int m_iFile = -1;
  uint64_t m_llTaille = 0;
  std::unique_ptr<uint8_t[]> m_pTampon;
  uint64_t m_llBloc = 0;  ///< position in the file of the buffer's first byte
  uint32_t m_dwPos = 0;   ///< read position in the buffer, never beyond m_dwFill
  uint32_t m_dwFill = 0;  ///< bytes in the buffer
};

}  // namespace tonara
