#include "platform/textcodec.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tonara {
namespace {

constexpr std::string_view kBomUtf8 = "\xEF\xBB\xBF";
constexpr std::string_view kBomUtf16Le = "\xFF\xFE";
constexpr std::string_view kBomUtf16Be = "\xFE\xFF";

// 0x80 to 0x9F, after the Unicode consortium's table CP1252.TXT; the five unassigned bytes become the
// C1 control of the same number, as Windows does.
constexpr std::array<uint16_t, 32> kCp1252High = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                  0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                  0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                  0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

uint8_t Byte(std::string_view text, size_t i) {
  return static_cast<uint8_t>(text[i]);
}

void AppendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
    return;
  }
  if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
  } else {
    if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    }
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  }
  out += static_cast<char>(0x80 | (c & 0x3F));
}

std::string FromCp1252(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char ch : bytes) {
    const auto c = static_cast<uint8_t>(ch);
    AppendUtf8(out, c >= 0x80 && c < 0xA0 ? kCp1252High[c - 0x80] : c);
  }
  return out;
}

std::string FromUtf16(std::string_view bytes, bool bBigEndian) {
  const auto unit = [&](size_t i) -> uint32_t {
    const uint32_t a = Byte(bytes, i);
    const uint32_t b = Byte(bytes, i + 1);
    return bBigEndian ? a << 8 | b : b << 8 | a;
  };
  std::string out;
  out.reserve(bytes.size());
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    uint32_t c = unit(i);
    if (c >= 0xD800 && c < 0xE000) {
      const uint32_t low = c < 0xDC00 && i + 3 < bytes.size() ? unit(i + 2) : 0;
      if (low >= 0xDC00 && low < 0xE000) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      } else {
        c = 0xFFFD;
      }
    }
    AppendUtf8(out, c);
  }
  return out;
}

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
  const size_t n = bytes.size();
  for (size_t i = 0; i < n;) {
    const uint8_t c = Byte(bytes, i);
    if (c < 0x80) {
      ++i;
      continue;
    }
    // Length, and the range of the second byte, which rules out overlong forms, surrogates and what
    // lies beyond U+10FFFF (table 3-7 of the Unicode standard).
    size_t nLen = 0;
    uint8_t lo = 0x80;
    uint8_t hi = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
      nLen = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      nLen = 3;
      if (c == 0xE0) lo = 0xA0;
      if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      nLen = 4;
      if (c == 0xF0) lo = 0x90;
      if (c == 0xF4) hi = 0x8F;
    } else {
      return false;
    }
    if (i + nLen > n) return false;
    for (size_t k = 1; k < nLen; ++k) {
      const uint8_t next = Byte(bytes, i + k);
      if (next < lo || next > hi) return false;
      lo = 0x80;
      hi = 0xBF;
    }
    i += nLen;
  }
  return true;
}

std::string ToUtf8(std::string_view bytes) {
  return IsUtf8(bytes) ? std::string(bytes) : FromCp1252(bytes);
}

std::string DecodeText(std::string_view bytes) {
  if (bytes.starts_with(kBomUtf16Le)) return FromUtf16(bytes.substr(2), false);
  if (bytes.starts_with(kBomUtf16Be)) return FromUtf16(bytes.substr(2), true);
  if (bytes.starts_with(kBomUtf8)) bytes.remove_prefix(kBomUtf8.size());
  return ToUtf8(bytes);
}

std::string CutUtf8(std::string_view text, size_t nMaxBytes) {
  if (text.size() <= nMaxBytes) return std::string(text);
  size_t n = nMaxBytes;
  // A character is at most four bytes: further back these are no longer parts of the one that is cut.
  for (int nBack = 0; nBack < 3 && n > 0 && (Byte(text, n) & 0xC0) == 0x80; ++nBack) --n;
  if ((Byte(text, n) & 0xC0) == 0x80) n = nMaxBytes;
  return std::string(text.substr(0, n));
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

std::string ToLowerAscii(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), LowerAscii);
  return out;
}

}  // namespace tonara
