// Profile ("ini") files: sections in square brackets, key=value lines. Reading follows the habits of
// the Windows profile calls: names without regard to case, first match wins, blanks around a value
// and one pair of quotes stripped, no escapes, integers are the leading digits. Writing changes only
// the lines it must: unknown keys, sections, comments, order and line ends stay as they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tonara {

/// A profile in memory. Not locked: one thread at a time.
class CProfile {
 public:
  /// Reads the file; false (and empty) if it can't be read. *pbPresent (nullable) tells whether there
  /// was a file at all.
  bool Load(const std::string& szPath, bool* pbPresent = nullptr);
  /// Takes the bytes of a file: any bytes give a profile. Text is decoded as in DecodeText.
  void Parse(std::string_view bytes);

  /// Value of the key, or the default. A key that is there with an empty value gives an empty text.
  [[nodiscard]] std::string GetString(std::string_view szSection, std::string_view szKey,
                                      std::string_view szDefault = {}) const;
  /// Leading digits of the value, with an optional sign; 0 if there are none; the default if there is
  /// no such key. Values past 32 bits are cut to the nearest limit.
  [[nodiscard]] int32_t GetInt(std::string_view szSection, std::string_view szKey, int32_t nDefault) const;
  [[nodiscard]] bool HasKey(std::string_view szSection, std::string_view szKey) const;
  [[nodiscard]] bool HasSection(std::string_view szSection) const;

  /// Sets the value: in place of the first match, else at the end of the first section of that name,
  /// else in a new section at the end of the file. Line feeds and NULs in the value are dropped; a value
  /// that reading would change (outer blanks or quotes) is put in quotes.
  void SetString(std::string_view szSection, std::string_view szKey, std::string_view szValue);
  void SetInt(std::string_view szSection, std::string_view szKey, int64_t nValue);

  /// The file's bytes as they would be written.
  [[nodiscard]] std::string Bytes() const;
  /// Writes by WriteFileAtomic; when the bytes on disk are already these, writes nothing.
  bool Save(const std::string& szPath, std::string* pError = nullptr) const;

 private:
  struct Line;
  std::vector<std::string> m_vLines;  // without line end
  std::string m_szEol = "\n";
  bool m_bLastHasEol = true;
  [[nodiscard]] int FindKey(std::string_view szSection, std::string_view szKey) const;
};

/// Single accesses, each on the whole file. The write is atomic like CProfile::Save.
std::string ReadProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                              std::string_view szDefault);
int32_t ReadProfileInt(const std::string& szPath, std::string_view szSection, std::string_view szKey, int32_t nDefault);
bool WriteProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                        std::string_view szValue, std::string* pError = nullptr);

}  // namespace tonara
