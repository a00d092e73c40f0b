#include "core/formats.h"

#include <locale.h>

#include <cstdio>

namespace tonara {
namespace {

/// The C locale on this thread for a scope.
class CPlainNumbers {
 public:
  CPlainNumbers() : m_old(uselocale(Plain())) {}
  ~CPlainNumbers() { uselocale(m_old); }
  CPlainNumbers(const CPlainNumbers&) = delete;
  CPlainNumbers& operator=(const CPlainNumbers&) = delete;

 private:
  static locale_t Plain() {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return plain;
  }
  locale_t m_old;
};

}  // namespace

std::string FormatDuree(uint32_t dwSecondes) {
  const uint32_t h = dwSecondes / 3600;
  const uint32_t m = dwSecondes % 3600 / 60;
  const uint32_t s = dwSecondes % 60;
  std::string out;
  if (h != 0) out += FormatTexte("%u h ", h);
  if (m != 0) out += FormatTexte("%u mn ", m);
  if (s != 0) out += FormatTexte("%u s", s);
  return out;
}

std::string FormatTemps(uint32_t dwMs, int nMode) {
  const uint32_t s = dwMs / 1000;
  std::string out = FormatTexte("%02u:%02u:%02u", s / 3600, s % 3600 / 60, s % 60);
  if (nMode == 1) out += FormatTexte(".%u", dwMs % 1000 / 100);
  return out;
}

std::string FormatTexte(const char* szFormat, ...) {
  va_list args;
  va_start(args, szFormat);
  std::string out = FormatTexteV(szFormat, args);
  va_end(args);
  return out;
}

std::string FormatTexteV(const char* szFormat, va_list args) {
  const CPlainNumbers plain;
  char buffer[1024];
  va_list again;
  va_copy(again, args);
  const int nLength = vsnprintf(buffer, sizeof buffer, szFormat, args);
  std::string out;
  if (nLength > 0) {
    const auto n = static_cast<size_t>(nLength);
    if (n < sizeof buffer) {
      out.assign(buffer, n);
    } else {
      out.resize(n);
      vsnprintf(out.data(), n + 1, szFormat, again);
    }
  }
  va_end(again);
  return out;
}

}  // namespace tonara
