#include "tests/support/fakeclock.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

namespace tonara::test {

CCivilTime CFakeClock::LocalTime() const {
  std::lock_guard lock(m_mutex);
  time_t seconds = static_cast<time_t>(m_llCalendarMs / 1000);
  tm local{};
  localtime_r(&seconds, &local);
  CCivilTime t;
  t.wYear = static_cast<uint16_t>(local.tm_year + 1900);
  t.wMonth = static_cast<uint16_t>(local.tm_mon + 1);
  t.wDayOfWeek = static_cast<uint16_t>(local.tm_wday);
  t.wDay = static_cast<uint16_t>(local.tm_mday);
  t.wHour = static_cast<uint16_t>(local.tm_hour);
  t.wMinute = static_cast<uint16_t>(local.tm_min);
  t.wSecond = static_cast<uint16_t>(local.tm_sec);
  t.wMilliseconds = static_cast<uint16_t>(m_llCalendarMs % 1000);
  return t;
}

int64_t CFakeClock::CalendarSeconds() const {
  std::lock_guard lock(m_mutex);
  return m_llCalendarMs / 1000;
}

uint64_t CFakeClock::MonotonicMs() const {
  std::lock_guard lock(m_mutex);
  return m_llMonotonicMs;
}

void CFakeClock::Advance(uint64_t ms) {
  std::lock_guard lock(m_mutex);
  m_llCalendarMs += static_cast<int64_t>(ms);
  m_llMonotonicMs += ms;
}

void CFakeClock::SetLocal(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
  tm local{};
  local.tm_year = nYear - 1900;
  local.tm_mon = nMonth - 1;
  local.tm_mday = nDay;
  local.tm_hour = nHour;
  local.tm_min = nMinute;
  local.tm_sec = nSecond;
  local.tm_isdst = -1;
  const int64_t seconds = static_cast<int64_t>(mktime(&local));
  std::lock_guard lock(m_mutex);
  m_llCalendarMs = seconds * 1000;
}

void CFakeClock::JumpSeconds(int64_t nSeconds) {
  std::lock_guard lock(m_mutex);
  m_llCalendarMs += nSeconds * 1000;
}

CTimeZone::CTimeZone(const char* szTz) : m_bHad(std::getenv("TZ") != nullptr), m_szOld{} {
  if (m_bHad) std::strncpy(m_szOld, std::getenv("TZ"), sizeof m_szOld - 1);
  setenv("TZ", szTz, 1);
  tzset();
}

CTimeZone::~CTimeZone() {
  if (m_bHad) {
    setenv("TZ", m_szOld, 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

}  // namespace tonara::test
