// The host's function table: its rows, and the lookups by number and by name.
#include "hostlink/ZrHostFunctions.h"

#include <gtest/gtest.h>

#include <iterator>
#include <vector>

TEST(ZrHostFunctions, NumbersOneTo109Without36FoundByNumberAndByName) {
  std::vector<int32_t> gaps;
  int32_t last = 0;
  for (const ZrHostFunctionRow& row : kZrHostFunctionRows) {
    for (int32_t n = last + 1; n < row.Number; ++n) gaps.push_back(n);
    last = row.Number;
    EXPECT_EQ(ZrHostFunctionFind(row.Number), &row) << row.Name;
    EXPECT_EQ(ZrHostFunctionFind(std::string(row.Name)), &row) << row.Name;
  }
  EXPECT_EQ(std::size(kZrHostFunctionRows), 108u);
  EXPECT_EQ(last, 109);
  EXPECT_EQ(gaps, std::vector<int32_t>{36});
  for (const int32_t none : {-1, 0, 36, 110}) EXPECT_EQ(ZrHostFunctionFind(none), nullptr) << none;
  EXPECT_EQ(ZrHostFunctionFind("NoSuchFunction"), nullptr);
  EXPECT_EQ(ZrHostFunctionFind("update"), nullptr);
  EXPECT_STREQ(ZrHostFunctionName(ZrHostFunction::RegionGetListIdIMinMaxAverageColor),
               "RegionGetListIdIMinMaxAverageColor");
}
