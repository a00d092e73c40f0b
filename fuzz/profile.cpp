// Profile files: any bytes parse; they come out as they went in; what is set reads back, here and after
// another parse; all other keys keep their values.
#include "platform/profile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/textcodec.h"

namespace {

using tonara::CProfile;

constexpr const char* kSections[] = {"General", "a", "Rule_1", "é"};
constexpr const char* kKeys[] = {"Path", "k", "Version", "é"};

void Check(bool bHolds) {
  if (!bHolds) std::abort();
}

using Values = std::vector<std::pair<bool, std::string>>;

Values ReadAll(const CProfile& profile) {
  Values values;
  for (const char* szSection : kSections) {
    for (const char* szKey : kKeys) {
      values.emplace_back(profile.HasKey(szSection, szKey), profile.GetString(szSection, szKey, "none"));
      Check(tonara::IsUtf8(values.back().second));
      const int32_t n = profile.GetInt(szSection, szKey, 1);
      Check(profile.GetUInt(szSection, szKey, 1) >= static_cast<uint32_t>(n < 0 ? 0 : n));
    }
  }
  return values;
}

/// The value as a line can hold it.
std::string Kept(std::string_view value) {
  std::string kept = tonara::ToUtf8(value);
  std::erase_if(kept, [](char c) { return c == '\n' || c == '\r' || c == '\0'; });
  return kept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  if (nSize < 2) return 0;
  const size_t nSection = pData[0] % std::size(kSections);
  const size_t nKey = pData[1] % std::size(kKeys);
  std::string_view rest(reinterpret_cast<const char*>(pData) + 2, nSize - 2);
  // The first line is the value to be set, the rest is the file.
  const size_t nCut = rest.find('\x1F');
  const std::string_view value = rest.substr(0, nCut);
  const std::string_view file = nCut == std::string_view::npos ? std::string_view{} : rest.substr(nCut + 1);

  CProfile profile;
  profile.Parse(file);
  if (!file.starts_with("\xFF\xFE") && !file.starts_with("\xFE\xFF")) Check(profile.Bytes() == file);

  Values expected = ReadAll(profile);
  profile.SetString(kSections[nSection], kKeys[nKey], value);
  expected[nSection * std::size(kKeys) + nKey] = {true, Kept(value)};
  Check(ReadAll(profile) == expected);

  CProfile again;
  again.Parse(profile.Bytes());
  Check(ReadAll(again) == expected);
  const std::string bytes = again.Bytes();
  again.SetString(kSections[nSection], kKeys[nKey], value);
  Check(again.Bytes() == bytes);
  return 0;
}
