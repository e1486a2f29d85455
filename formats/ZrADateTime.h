// Calendar date and time in a fixed time zone: stamped from the clock, printed in fixed text
// forms, parsed back with range checks and moved by days, months, hours and minutes.
#pragma once

#include <cstdint>
#include <string>

// Month and day are held 0-based (January is 0, the 1st is 0) and shown 1-based in text.
class ZrADateTime {
 public:
  ZrADateTime();
  virtual ~ZrADateTime();
  ZrADateTime(const ZrADateTime&) = default;
  ZrADateTime& operator=(const ZrADateTime&) = default;

  // Reads the system clock as local time of timeZone; millisecond becomes 0.
  void Now();

  void SetMonth(int32_t m);  // 1..12, else "illigal month value"
  void SetDay(int32_t d);    // 1..length of the month, else "illigal date value"
  void SetDate(int32_t y, int32_t m, int32_t d);
  void SetTime(int32_t h, int32_t mi, int32_t s);  // "Illigal Hour", "Illigal min", "Illigal sec"

  std::string TimeString() const;         // 09:05:00
  std::string CompactDateString() const;  // 20240131
  std::string DateString() const;         // 2024/01/31
  std::string DateTimeString() const;     // 2024/01/31 09:05:00
  std::string FileStampString() const;    // 20240131-090500

  // "y/m/d". Fewer than three numbers throw the plain text "illigal String" as a
  // const char* (not a ZrError): callers catch it separately.
  void ParseDate(const std::string& text);
  // "y/m/d h:mi:s". Fewer than six numbers throw ZrError "illigal String".
  void ParseDateTime(const std::string& text);

  void AddDays(int32_t n);
  void AddMonths(int32_t n);  // the day is not clamped to the new month's length
  void AddHours(long double h);
  void AddMinutes(long double m);

  static bool IsLeapYear(int32_t y);
  int32_t MonthLength() const;  // days of the current month in the current year

  std::string timeZone = "TZ=JST-9";
  int32_t year = 1970;
  int32_t month = 0;
  int32_t day = 0;
  int32_t hour = 0;
  int32_t minute = 0;
  int32_t second = 0;
  int32_t millisecond = 0;

  static const int32_t monthDays[12];
  static const int32_t yearDays;
  static const int32_t leapMonthDays[12];
  static const int32_t leapYearDays;
  static const char* const weekdayNames[7];
};
