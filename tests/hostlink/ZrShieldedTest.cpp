// The error frame of the host link's operations.
#include "hostlink/ZrShielded.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/common/ZrTestUtil.h"

TEST(ZrShielded, PassesOrTrailsZrErrorAndNamesAnyOther) {
  const auto fail = [] { throw ZrError("Over CloseRack"); };
  const auto other = [] { throw std::runtime_error("x"); };
  EXPECT_ZR_ERROR(ZrShielded("void F()", fail), "Over CloseRack");
  EXPECT_ZR_ERROR(ZrShielded("void F()", fail, ZrTrail::Append), "Over CloseRack/void F()");
  EXPECT_ZR_ERROR(ZrShielded("void F()", other), "undefined err:void F()");
  EXPECT_ZR_ERROR(ZrShielded("void F()", other, ZrTrail::Append), "undefined err:void F()");
  EXPECT_EQ(ZrShielded(
                "int G()", [] { return 7; }, ZrTrail::Append),
            7);
}
