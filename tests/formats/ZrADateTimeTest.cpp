// Calendar checks, carries, text forms and parsing of ZrADateTime.
#include "formats/ZrADateTime.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

ZrADateTime At(int y, int m, int d, int h = 0, int mi = 0, int s = 0) {
  ZrADateTime t;
  t.SetDate(y, m, d);
  t.SetTime(h, mi, s);
  return t;
}

}  // namespace

TEST(ZrADateTime, SettersRejectOutOfRangeFieldsAndFollowTheGregorianLeapRule) {
  struct {
    int Y, M, D, H, Mi, S;
    const char* Message;
  } const cases[] = {
      {2024, 0, 1, 0, 0, 0, "illigal month value"}, {2024, 13, 1, 0, 0, 0, "illigal month value"},
      {2024, 4, 31, 0, 0, 0, "illigal date value"}, {2024, 4, 0, 0, 0, 0, "illigal date value"},
      {2024, 4, 30, 24, 0, 0, "Illigal Hour"},      {2024, 4, 30, 23, 60, 0, "Illigal min"},
      {2024, 4, 30, 23, 59, 60, "Illigal sec"},     {2024, 4, 30, 23, 59, 59, "<no ZrError>"},
      {2023, 2, 29, 0, 0, 0, "illigal date value"}, {1900, 2, 29, 0, 0, 0, "illigal date value"},
      {2024, 2, 29, 0, 0, 0, "<no ZrError>"},       {2000, 2, 29, 0, 0, 0, "<no ZrError>"}};
  for (const auto& c : cases) {
    ZrADateTime t;
    EXPECT_ZR_ERROR(
        {
          t.SetDate(c.Y, c.M, c.D);
          t.SetTime(c.H, c.Mi, c.S);
        },
        c.Message)
        << c.Y << "/" << c.M << "/" << c.D << " " << c.H << ":" << c.Mi << ":" << c.S;
  }
  // A failed setter keeps the fields set before it.
  ZrADateTime t = At(2020, 5, 6);
  EXPECT_ZR_ERROR(t.SetDate(2031, 14, 1), "illigal month value");
  // The year is set before the month is checked.
  EXPECT_EQ(std::make_tuple(t.year, t.month, t.day), std::make_tuple(2031, 4, 5));
}

TEST(ZrADateTime, TextForms) {
  const ZrADateTime t = At(2024, 1, 31, 9, 5, 0);
  EXPECT_EQ((std::vector<std::string>{t.TimeString(), t.CompactDateString(), t.DateString(),
                                      t.DateTimeString(), t.FileStampString()}),
            (std::vector<std::string>{"09:05:00", "20240131", "2024/01/31", "2024/01/31 09:05:00",
                                      "20240131-090500"}));
}

TEST(ZrADateTime, Parsing) {
  ZrADateTime t;
  t.ParseDate("2024/1/5");  // unpadded numbers are accepted
  EXPECT_EQ(t.DateString(), "2024/01/05");
  std::string caught;
  try {
    t.ParseDate("2024/1");
  } catch (const char* message) {  // a plain message, not a ZrError
    caught = message;
  }
  EXPECT_EQ(caught, "illigal String");
  EXPECT_ZR_ERROR(t.ParseDate("2024/2/30"), "illigal date value");
  t.ParseDateTime("2023/12/31 23:59:58");
  EXPECT_EQ(t.DateTimeString(), "2023/12/31 23:59:58");
  EXPECT_ZR_ERROR(t.ParseDateTime("2023/12/31 23:59"), "illigal String");
  EXPECT_ZR_ERROR(t.ParseDateTime("2023/12/31 24:00:00"), "Illigal Hour");
}

struct AddCase {
  const char* Start;
  char Unit;  // d days, M months, h hours, m minutes
  long double Amount;
  const char* Expected;
};

class ZrADateTimeAdd : public ::testing::TestWithParam<AddCase> {};

TEST_P(ZrADateTimeAdd, Carries) {
  const AddCase& c = GetParam();
  ZrADateTime t;
  t.ParseDateTime(c.Start);
  if (c.Unit == 'd') t.AddDays(static_cast<int32_t>(c.Amount));
  if (c.Unit == 'M') t.AddMonths(static_cast<int32_t>(c.Amount));
  if (c.Unit == 'h') t.AddHours(c.Amount);
  if (c.Unit == 'm') t.AddMinutes(c.Amount);
  EXPECT_EQ(t.DateTimeString(), c.Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrADateTimeAdd,
    ::testing::Values(AddCase{"2023/12/31 10:00:00", 'd', 1, "2024/01/01 10:00:00"},
                      AddCase{"2024/02/28 10:00:00", 'd', 1, "2024/02/29 10:00:00"},
                      AddCase{"2023/02/28 10:00:00", 'd', 1, "2023/03/01 10:00:00"},
                      AddCase{"2024/01/01 10:00:00", 'd', 366, "2025/01/01 10:00:00"},
                      AddCase{"2024/03/01 10:00:00", 'd', -1, "2024/02/29 10:00:00"},
                      AddCase{"2024/01/01 10:00:00", 'd', -1, "2023/12/31 10:00:00"},
                      AddCase{"2024/11/15 10:00:00", 'M', 3, "2025/02/15 10:00:00"},
                      AddCase{"2024/01/15 10:00:00", 'M', -13, "2022/12/15 10:00:00"},
                      // Months do not clamp the day.
                      AddCase{"2024/01/31 10:00:00", 'M', 1, "2024/02/31 10:00:00"},
                      AddCase{"2024/01/01 00:30:00", 'h', -1, "2023/12/31 23:30:00"},
                      AddCase{"2024/12/31 23:00:00", 'h', 2, "2025/01/01 01:00:00"},
                      AddCase{"2024/01/01 05:00:00", 'h', 48, "2024/01/03 05:00:00"},
                      AddCase{"2024/01/01 23:50:00", 'm', 15, "2024/01/02 00:05:00"},
                      AddCase{"2024/01/01 00:10:00", 'm', -20, "2023/12/31 23:50:00"}));

TEST(ZrADateTime, NowIsAValidStampInTheFixedZone) {
  ZrADateTime t, check;
  t.Now();
  EXPECT_GE(t.year, 2020);
  EXPECT_NO_THROW(check.SetDate(t.year, t.month + 1, t.day + 1));
  EXPECT_NO_THROW(check.SetTime(t.hour, t.minute, t.second));
  EXPECT_EQ(t.millisecond, 0);
}
