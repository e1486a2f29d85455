// Calendar date and time: clock, text forms, parsing and carries.
#include "formats/ZrADateTime.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "numerics/ZrError.h"

const int32_t ZrADateTime::monthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const int32_t ZrADateTime::yearDays = 365;
const int32_t ZrADateTime::leapMonthDays[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const int32_t ZrADateTime::leapYearDays = 366;
const char* const ZrADateTime::weekdayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

namespace {

int32_t LengthOf(int32_t y, int32_t m) {
  return ZrADateTime::IsLeapYear(y) ? ZrADateTime::leapMonthDays[m] : ZrADateTime::monthDays[m];
}

template <class... A>
std::string Format(const char* format, A... args) {
  char buffer[96];
  std::snprintf(buffer, sizeof(buffer), format, args...);
  return buffer;
}

}  // namespace

ZrADateTime::ZrADateTime() = default;
ZrADateTime::~ZrADateTime() = default;

bool ZrADateTime::IsLeapYear(int32_t y) {
  if (y % 400 == 0) return true;
  if (y % 100 == 0) return false;
  return y % 4 == 0;
}

int32_t ZrADateTime::MonthLength() const {
  // A month pushed out of range by AddMonths callers is read modulo 12 rather than out of bounds.
  const int32_t m = ((month % 12) + 12) % 12;
  return LengthOf(year, m);
}

void ZrADateTime::Now() {
  const std::string::size_type eq = timeZone.find('=');
  if (eq != std::string::npos) {
    setenv(timeZone.substr(0, eq).c_str(), timeZone.substr(eq + 1).c_str(), 1);
  }
  tzset();
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  year = local.tm_year + 1900;
  month = local.tm_mon;
  day = local.tm_mday - 1;
  hour = local.tm_hour;
  minute = local.tm_min;
  second = local.tm_sec;
  millisecond = 0;
}

void ZrADateTime::SetMonth(int32_t m) {
  if (m < 1 || m > 12) throw ZrError("illigal month value");
  month = m - 1;
}

void ZrADateTime::SetDay(int32_t d) {
  if (d < 1 || d > MonthLength()) throw ZrError("illigal date value");
  day = d - 1;
}

void ZrADateTime::SetDate(int32_t y, int32_t m, int32_t d) {
  year = y;
  SetMonth(m);
  SetDay(d);
}

void ZrADateTime::SetTime(int32_t h, int32_t mi, int32_t s) {
  if (h > 23) throw ZrError("Illigal Hour");
  if (mi > 59) throw ZrError("Illigal min");
  if (s > 59) throw ZrError("Illigal sec");
  hour = h;
  minute = mi;
  second = s;
}

std::string ZrADateTime::TimeString() const {
  return Format("%02ld:%02ld:%02ld", static_cast<long>(hour), static_cast<long>(minute),
                static_cast<long>(second));
}

std::string ZrADateTime::CompactDateString() const {
  return Format("%04ld%02ld%02ld", static_cast<long>(year), static_cast<long>(month + 1),
                static_cast<long>(day + 1));
}

std::string ZrADateTime::DateString() const {
  return Format("%ld/%02ld/%02ld", static_cast<long>(year), static_cast<long>(month + 1),
                static_cast<long>(day + 1));
}

std::string ZrADateTime::DateTimeString() const {
  return Format("%ld/%02ld/%02ld %02ld:%02ld:%02ld", static_cast<long>(year),
                static_cast<long>(month + 1), static_cast<long>(day + 1), static_cast<long>(hour),
                static_cast<long>(minute), static_cast<long>(second));
}

std::string ZrADateTime::FileStampString() const {
  return Format("%04ld", static_cast<long>(year)) +
         Format("%02ld%02ld-%02ld%02ld%02ld", static_cast<long>(month + 1),
                static_cast<long>(day + 1), static_cast<long>(hour), static_cast<long>(minute),
                static_cast<long>(second));
}

void ZrADateTime::ParseDate(const std::string& text) {
  long y = 0;
  long m = 0;
  long d = 0;
  if (std::sscanf(text.c_str(), "%ld/%ld/%ld", &y, &m, &d) < 3) throw "illigal String";
  SetDate(static_cast<int32_t>(y), static_cast<int32_t>(m), static_cast<int32_t>(d));
}

void ZrADateTime::ParseDateTime(const std::string& text) {
  long v[6] = {};
  if (std::sscanf(text.c_str(), "%ld/%2ld/%2ld %2ld:%2ld:%2ld", &v[0], &v[1], &v[2], &v[3], &v[4],
                  &v[5]) < 6) {
    throw ZrError("illigal String");
  }
  SetDate(static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), static_cast<int32_t>(v[2]));
  SetTime(static_cast<int32_t>(v[3]), static_cast<int32_t>(v[4]), static_cast<int32_t>(v[5]));
}

void ZrADateTime::AddDays(int32_t n) {
  if (n > 0) {
    int64_t left = n;
    while (day + left >= MonthLength()) {
      left -= MonthLength() - day;
      day = 0;
      if (++month > 11) {
        month = 0;
        ++year;
      }
    }
    day += static_cast<int32_t>(left);
  } else if (n < 0) {
    int64_t d = static_cast<int64_t>(day) + n;
    while (d < 0) {
      if (--month < 0) {
        month = 11;
        --year;
      }
      d += MonthLength();
    }
    day = static_cast<int32_t>(d);
  }
}

void ZrADateTime::AddMonths(int32_t n) {
  // Whole years first so that a huge count does not loop for long.
  year += n / 12;
  month += n % 12;
  while (month > 11) {
    month -= 12;
    ++year;
  }
  while (month < 0) {
    month += 12;
    --year;
  }
}

void ZrADateTime::AddHours(long double h) {
  const long double t = hour + h;
  if (t >= 0 && t < 24) {
    hour = static_cast<int32_t>(t);
    return;
  }
  const long double k = std::floor(t / 24);
  AddDays(static_cast<int32_t>(k));
  hour = static_cast<int32_t>(t - 24 * k);
}

void ZrADateTime::AddMinutes(long double m) {
  const long double t = minute + m;
  if (t >= 0 && t < 60) {
    minute = static_cast<int32_t>(t);
    return;
  }
  const long double k = std::floor(t / 60);
  AddHours(k);
  minute = static_cast<int32_t>(t - 60 * k);
}
