#include "platform/profile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <utility>

#include "platform/fileio.h"
#include "platform/textcodec.h"

namespace tonara {
namespace {

constexpr size_t kMaxFile = size_t{4} << 20;
constexpr std::string_view kBom = "\xEF\xBB\xBF";

// A carriage return counts: on a last line without a line feed it would else belong to the value.
bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool IsComment(std::string_view line) {
  line = Trim(line);
  return line.starts_with(';') || line.starts_with('#');
}

/// Name of the section that a line opens; text behind the bracket doesn't count.
std::optional<std::string_view> SectionOf(std::string_view line) {
  line = Trim(line);
  if (!line.starts_with('[')) return std::nullopt;
  const size_t end = line.find(']');
  if (end == std::string_view::npos) return std::nullopt;
  return Trim(line.substr(1, end - 1));
}

/// Key of a line "key=value", empty if it is none.
std::string_view KeyOf(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || IsComment(line) || Trim(line).starts_with('[')) return {};
  return Trim(line.substr(0, equals));
}

bool IsQuoted(std::string_view value) {
  return value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.front() == value.back();
}

/// Value of a line in UTF-8.
std::string ValueOf(std::string_view line) {
  std::string_view value = Trim(line.substr(line.find('=') + 1));
  if (IsQuoted(value)) value = value.substr(1, value.size() - 2);
  std::string out(value);
  std::erase(out, '\0');  // nobody who reads a value expects one
  return out;
}

/// The name would come back the same from a line of its own.
bool IsKeyName(std::string_view name) {
  return KeyOf(std::string(name) + "=") == name && !name.empty() &&
         name.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}
bool IsSectionName(std::string_view name) {
  return SectionOf("[" + std::string(name) + "]") == name && !name.empty() &&
         name.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

/// The value in the spelling that reads back as itself.
std::string SpellValue(std::string_view szValue) {
  std::string value = ToUtf8(szValue);
  std::erase_if(value, [](char c) { return c == '\n' || c == '\r' || c == '\0'; });
  if (Trim(value) != value || IsQuoted(value)) value = '"' + value + '"';
  return value;
}

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (static_cast<uint8_t>(c) & 0x80) != 0; });
}

/// Leading digits with an optional sign, cut to the limits.
template <class T>
T LeadingInteger(std::string_view text) {
  constexpr int64_t kFar = int64_t{1} << 40;
  const bool bNegative = text.starts_with('-');
  if (bNegative || text.starts_with('+')) text.remove_prefix(1);
  int64_t n = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    n = std::min(n * 10 + (c - '0'), kFar);
  }
  if (bNegative) n = -n;
  return static_cast<T>(std::clamp<int64_t>(n, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

}  // namespace

bool CProfile::Load(const std::string& szPath, bool* pbPresent) {
  struct stat st {};
  const bool bPresent = stat(szPath.c_str(), &st) == 0 || (errno != ENOENT && errno != ENOTDIR);
  if (pbPresent != nullptr) *pbPresent = bPresent;
  const std::optional<std::string> bytes = ReadWholeFile(szPath, kMaxFile);
  Parse(bytes ? std::string_view(*bytes) : std::string_view{});
  return bytes.has_value();
}

void CProfile::Parse(std::string_view bytes) {
  *this = CProfile{};
  std::string converted;
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    converted = DecodeText(bytes);
    bytes = converted;
  }
  m_bBom = bytes.starts_with(kBom);
  if (m_bBom) bytes.remove_prefix(kBom.size());

  bool bEolKnown = false;
  while (!bytes.empty()) {
    const size_t feed = bytes.find('\n');
    std::string_view line = bytes.substr(0, feed);
    Line entry;
    if (feed == std::string_view::npos) {
      bytes = {};
    } else {
      bytes.remove_prefix(feed + 1);
      entry.szEol = "\n";
      if (line.ends_with('\r')) {
        line.remove_suffix(1);
        entry.szEol = "\r\n";
      }
      if (!bEolKnown) m_szEol = entry.szEol;
      bEolKnown = true;
    }
    entry.szText = line;
    entry.bUtf8 = IsUtf8(line);
    m_bLegacy = m_bLegacy || !entry.bUtf8;
    const std::string decoded = entry.bUtf8 ? std::string() : ToUtf8(line);
    if (const auto name = SectionOf(entry.bUtf8 ? line : decoded)) {
      m_mapFirst.emplace(ToLowerAscii(*name), m_vSections.size());
      m_vSections.emplace_back();
    }
    m_vSections.back().vLines.push_back(std::move(entry));
  }
}

const CProfile::Section* CProfile::FindSection(std::string_view szSection) const {
  const auto it = m_mapFirst.find(ToLowerAscii(ToUtf8(szSection)));
  return it == m_mapFirst.end() ? nullptr : &m_vSections[it->second];
}

const CProfile::Line* CProfile::FindKey(std::string_view szSection, std::string_view szKey) const {
  const Section* pSection = FindSection(szSection);
  if (pSection == nullptr || szKey.empty()) return nullptr;
  const std::string key = ToUtf8(szKey);
  const auto found = std::find_if(pSection->vLines.begin(), pSection->vLines.end(), [&](const Line& line) {
    return EqualNoCase(line.bUtf8 ? KeyOf(line.szText) : KeyOf(ToUtf8(line.szText)), key);
  });
  return found == pSection->vLines.end() ? nullptr : &*found;
}

std::string CProfile::GetString(std::string_view szSection, std::string_view szKey, std::string_view szDefault) const {
  const Line* pLine = FindKey(szSection, szKey);
  return pLine == nullptr ? std::string(szDefault) : ValueOf(ToUtf8(pLine->szText));
}

int32_t CProfile::GetInt(std::string_view szSection, std::string_view szKey, int32_t nDefault) const {
  const Line* pLine = FindKey(szSection, szKey);
  return pLine == nullptr ? nDefault : LeadingInteger<int32_t>(Trim(ValueOf(ToUtf8(pLine->szText))));
}

uint32_t CProfile::GetUInt(std::string_view szSection, std::string_view szKey, uint32_t dwDefault) const {
  const Line* pLine = FindKey(szSection, szKey);
  return pLine == nullptr ? dwDefault : LeadingInteger<uint32_t>(Trim(ValueOf(ToUtf8(pLine->szText))));
}

bool CProfile::HasKey(std::string_view szSection, std::string_view szKey) const {
  return FindKey(szSection, szKey) != nullptr;
}

bool CProfile::HasSection(std::string_view szSection) const {
  return FindSection(szSection) != nullptr;
}

bool CProfile::HasStrayLines() const {
  const std::vector<Line>& lines = m_vSections.front().vLines;
  return std::any_of(lines.begin(), lines.end(),
                     [](const Line& line) { return !Trim(line.szText).empty() && !IsComment(line.szText); });
}

void CProfile::TurnToUtf8() {
  for (Section& section : m_vSections) {
    for (Line& line : section.vLines) {
      line.szText = ToUtf8(line.szText);
      line.bUtf8 = true;
    }
  }
  m_bLegacy = false;
}

void CProfile::InsertKey(Section& section, std::string szText) {
  // Behind the last key: what follows, a blank line or a comment, may belong to the next section.
  std::vector<Line>& lines = section.vLines;
  const auto lastKey =
      std::find_if(lines.rbegin(), lines.rend(), [](const Line& line) { return !KeyOf(line.szText).empty(); });
  size_t nAt = static_cast<size_t>(lines.rend() - lastKey);
  if (nAt == 0) {
    for (nAt = 1; nAt < lines.size() && !Trim(lines[nAt].szText).empty();) ++nAt;
  }
  if (lines[nAt - 1].szEol.empty()) lines[nAt - 1].szEol = m_szEol;
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(nAt), Line{std::move(szText), m_szEol, true});
}

void CProfile::AddSection(std::string_view szSection, std::string szText) {
  std::vector<Line>& last = m_vSections.back().vLines;
  if (!last.empty()) {
    if (last.back().szEol.empty()) last.back().szEol = m_szEol;
    if (!Trim(last.back().szText).empty()) last.push_back(Line{"", m_szEol, true});
  }
  m_mapFirst.emplace(ToLowerAscii(szSection), m_vSections.size());
  m_vSections.emplace_back();
  m_vSections.back().vLines = {Line{"[" + std::string(szSection) + "]", m_szEol, true},
                               Line{std::move(szText), m_szEol, true}};
}

void CProfile::SetString(std::string_view szSection, std::string_view szKey, std::string_view szValue) {
  if (!IsSectionName(szSection) || !IsKeyName(szKey)) return;
  const std::string value = SpellValue(szValue);
  const std::string section = ToUtf8(szSection);
  const std::string key = ToUtf8(szKey);

  const Line* pFound = FindKey(section, key);
  if (pFound != nullptr && ValueOf(ToUtf8(pFound->szText)) == ValueOf("=" + value)) return;
  if (m_bLegacy && !IsAscii(section + key + value)) TurnToUtf8();

  if (pFound != nullptr) {
    const auto it = m_mapFirst.find(ToLowerAscii(section));
    std::vector<Line>& lines = m_vSections[it->second].vLines;
    Line& line = lines[static_cast<size_t>(pFound - lines.data())];
    size_t nValue = line.szText.find('=') + 1;
    while (nValue < line.szText.size() && IsBlank(line.szText[nValue])) ++nValue;
    line.szText = line.szText.substr(0, nValue) + value;
    line.bUtf8 = IsUtf8(line.szText);
    return;
  }
  std::string szText = key + "=" + value;
  if (const auto it = m_mapFirst.find(ToLowerAscii(section)); it != m_mapFirst.end()) {
    InsertKey(m_vSections[it->second], std::move(szText));
  } else {
    AddSection(section, std::move(szText));
  }
}

void CProfile::SetInt(std::string_view szSection, std::string_view szKey, int64_t nValue) {
  SetString(szSection, szKey, std::to_string(nValue));
}

std::string CProfile::Bytes() const {
  std::string bytes;
  if (m_bBom) bytes = kBom;
  for (const Section& section : m_vSections) {
    for (const Line& line : section.vLines) bytes.append(line.szText).append(line.szEol);
  }
  return bytes;
}

bool CProfile::Save(const std::string& szPath, std::string* pError) const {
  const std::string bytes = Bytes();
  if (ReadWholeFile(szPath, kMaxFile) == bytes) return true;
  return WriteFileAtomic(szPath, bytes, pError);
}

std::string ReadProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                              std::string_view szDefault) {
  CProfile profile;
  profile.Load(szPath);
  return profile.GetString(szSection, szKey, szDefault);
}

int32_t ReadProfileInt(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                       int32_t nDefault) {
  CProfile profile;
  profile.Load(szPath);
  return profile.GetInt(szSection, szKey, nDefault);
}

bool WriteProfileString(const std::string& szPath, std::string_view szSection, std::string_view szKey,
                        std::string_view szValue, std::string* pError) {
  CProfile profile;
  bool bPresent = false;
  if (!profile.Load(szPath, &bPresent) && bPresent) {
    if (pError != nullptr) *pError = "the file can't be read";
    return false;
  }
  profile.SetString(szSection, szKey, szValue);
  return profile.Save(szPath, pError);
}

}  // namespace tonara
