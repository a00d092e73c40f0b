// Profile ("ini") files: sections in square brackets, key=value lines. Reading follows the habits of
// the Windows profile calls: names without regard to case, first match wins (of two sections of one name
// only the first is looked at), blanks around a value and one pair of quotes stripped, no escapes,
// integers are the leading digits. A line that begins with ';' or '#' is a comment. Writing changes only
// the lines it must: unknown keys, sections, comments, order and line ends stay as they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tonara {

/// A profile in memory. Not locked: one thread at a time.
class CProfile {
 public:
  /// Reads the file; false (and empty) if it can't be read, or is larger than 4 MB. *pbPresent
  /// (nullable) tells whether there was a file, or something else of that name, at all.
  bool Load(const std::string& szPath, bool* pbPresent = nullptr);
  /// Takes the bytes of a file: any bytes give a profile. A BOM is kept; UTF-16 is taken over as UTF-8.
  /// Text is UTF-8, and a line that isn't valid is read as Windows-1252, line by line: one damaged
  /// value doesn't touch its neighbours.
  void Parse(std::string_view bytes);

  /// Value of the key, or the default. A key that is there with an empty value gives an empty text.
  [[nodiscard]] std::string GetString(std::string_view szSection, std::string_view szKey,
                                      std::string_view szDefault = {}) const;
  /// Leading digits of the value, with an optional sign; 0 if there are none; the default if there is
  /// no such key. Values past 32 bits are cut to the nearest limit.
  [[nodiscard]] int32_t GetInt(std::string_view szSection, std::string_view szKey, int32_t nDefault) const;
  /// The same for an unsigned value; a negative one is cut to 0.
  [[nodiscard]] uint32_t GetUInt(std::string_view szSection, std::string_view szKey, uint32_t dwDefault) const;
  [[nodiscard]] bool HasKey(std::string_view szSection, std::string_view szKey) const;
  [[nodiscard]] bool HasSection(std::string_view szSection) const;
  /// True if there is no section in it at all.
  [[nodiscard]] bool HasNoSection() const { return m_vSections.size() <= 1; }
  /// True if a line stands before the first section that is neither blank nor a comment.
  [[nodiscard]] bool HasStrayLines() const;

  /// Sets the value: in place of the first match, else behind the last key of the first section of that
  /// name, else in a new section at the end of the file. Line ends and NULs in the value are dropped; a
  /// value that reading would change (outer blanks or quotes) is put in quotes; one that isn't UTF-8 is
  /// taken for Windows-1252. A value with other than ASCII characters turns lines in Windows-1252 into
  /// UTF-8, all at once, so that no mixture comes about. A line that already gives this value stays
  /// byte for byte. Empty names, and names that couldn't be read back, do nothing.
  void SetString(std::string_view szSection, std::string_view szKey, std::string_view szValue);
  void SetInt(std::string_view szSection, std::string_view szKey, int64_t nValue);

  /// The file's bytes as they would be written.
  [[nodiscard]] std::string Bytes() const;
  /// Writes by WriteFileAtomic; when the bytes on disk are already these, writes nothing.
  bool Save(const std::string& szPath, std::string* pError = nullptr) const;

 private:
  struct Line {
    std::string szText;      ///< as in the file, without its end
    std::string_view szEol;  ///< literal "\n", "\r\n", or empty on a last line without one
    bool bUtf8 = true;       ///< else Windows-1252
  };
  /// The header line and all up to the next header. Section 0 is what stands before the first header.
  struct Section {
    std::vector<Line> vLines;
  };
  [[nodiscard]] const Section* FindSection(std::string_view szSection) const;
  [[nodiscard]] const Line* FindKey(std::string_view szSection, std::string_view szKey) const;
  void InsertKey(Section& section, std::string szText);
  void AddSection(std::string_view szSection, std::string szText);
  void TurnToUtf8();

  std::vector<Section> m_vSections{1};
  std::unordered_map<std::string, size_t> m_mapFirst;  ///< lowered name -> first section of that name
  std::string_view m_szEol = "\n";                     ///< of lines that are added
  bool m_bBom = false;
  bool m_bLegacy = false;  ///< there are lines that aren't UTF-8
};

/// Single accesses, each on the whole file. The write is atomic like CProfile::Save; it fails, and
/// changes nothing, if there is a file that can't be read.
std::string ReadProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                              std::string_view szDefault);
int32_t ReadProfileInt(const std::string& szPath, std::string_view szSection, std::string_view szKey, int32_t nDefault);
bool WriteProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                        std::string_view szValue, std::string* pError = nullptr);

}  // namespace tonara
