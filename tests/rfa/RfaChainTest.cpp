// The host-free operation chain: order, key groups, and the unchecked case.
#include "rfa/RfaChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// A 200 x 200 screen off the image centre, with the parameters that suit it (the dip after
// the move by (+7, -8) is at (117, 87)).
struct ChainFixture : testing::Test {
  ChainFixture() {
    p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
  }

  std::set<std::string> Groups() const {
    std::set<std::string> groups;
    for (const auto& entry : doubles) groups.insert(entry.first.substr(0, entry.first.find('/')));
    for (const auto& entry : texts) groups.insert(entry.first.substr(0, entry.first.find('/')));
    return groups;
  }

  const RfaSyntheticScreenOptions options = RfaScreenOptions(200, 200, 93, 108, 80, 110, 95, 8, 21);
  const ZrFloatMatrix screen = RfaMakeSyntheticScreen(options);
  RfaParameters p = RfaGeometry(93, 108, 80, 5, 4, 100, 100, 117, 87, 9, 100, 100, 76, 76);
  std::map<std::string, double> doubles{{"log/entry", 1.0}};
  std::map<std::string, std::string> texts{{"log/text", "earlier"}};
  RfaKeyWriter keys{doubles, texts};
};

TEST_F(ChainFixture, NothingCheckedLeavesImageAndKeysAlone) {
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  EXPECT_TRUE(ZrSameBits(image, screen));
  EXPECT_EQ(doubles.size(), 1u);
  EXPECT_EQ(texts.size(), 1u);
}

TEST_F(ChainFixture, HostFreeStepsRunInTheirFixedOrder) {
  p.IsMoveCenter = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);

  ZrFloatMatrix expected = screen;
  RfaMoveToCenter(expected, p.Sx, p.Sy);
  expected = RfaDivideByBackground(expected,
                                   RfaAzimuthalAverageBackground(expected, static_cast<float>(p.Ax),
                                                                 static_cast<float>(p.Ay), 1.0f));
  RfaMaskMcpDip(expected, p.McpDipCx, p.McpDipCy, p.McpDipR);
  RfaMaskOutside(expected, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
  EXPECT_TRUE(ZrSameBits(image, expected));
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", "MoveToCenter", "AverageAlong", "MaskMcpDip",
                                             "MaskOutside"}));
}

TEST_F(ChainFixture, AzimuthalDivisionFlattensTheCentredScreen) {
  // Moved to the centre and divided by its own azimuthal average about the new centre, every
  // ring of the screen averages to 1 (the tilt remains, as it does not depend on the radius).
  p.IsMoveCenter = p.IsBgAz = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  double sum = 0.0;
  int n = 0;
  for (int32_t y = 0; y < 200; ++y) {
    for (int32_t x = 0; x < 200; ++x) {
      const double d = std::hypot(x - 100.0, y - 100.0);
      if (d > 50.0 && d < 60.0 && image(x, y) != 0.0f) {
        sum += image(x, y);
        ++n;
      }
    }
  }
  ASSERT_GT(n, 1000);
  EXPECT_NEAR(sum / n, 1.0, 0.01);
}

struct SingleStepCase {
  const char* name;
  bool RfaParameters::*flag;
  const char* group;
};

class RfaChainSingleStepTest : public ChainFixture,
                               public testing::WithParamInterface<SingleStepCase> {};

TEST_P(RfaChainSingleStepTest, WritesOnlyItsGroupAndChangesTheImage) {
  p.*(GetParam().flag) = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", GetParam().group}));
  EXPECT_FALSE(ZrSameBits(image, screen));
  EXPECT_EQ(image.ColSize, screen.ColSize);
  EXPECT_EQ(image.RowSize, screen.RowSize);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RfaChainSingleStepTest,
    testing::Values(SingleStepCase{"MoveToCenter", &RfaParameters::IsMoveCenter, "MoveToCenter"},
                    SingleStepCase{"Background", &RfaParameters::IsBgSh, "RFA_background"},
                    SingleStepCase{"AverageAlong", &RfaParameters::IsBgAz, "AverageAlong"},
                    SingleStepCase{"MaskMcpDip", &RfaParameters::IsMaskMcpDip, "MaskMcpDip"},
                    SingleStepCase{"MaskOutside", &RfaParameters::IsMaskOutside, "MaskOutside"}),
    ZrCaseName());

TEST_F(ChainFixture, SphericalHarmonicsDivisionFlattensTheScreen) {
  // Without fine structure, noise and dip the screen is the smooth background itself; after
  // moving it to the centre the fit of degree 4 explains it to within a few per cent, and the
  // quotient is zero outside the fitted disc.
  ZrFloatMatrix image = RfaMakeSyntheticScreen(RfaSmoothScreen(options));
  p.IsMoveCenter = p.IsBgSh = true;
  RfaApplyCheckedOperations(image, p, keys);
  const double fitted = p.Sr - p.SMargin;
  for (int32_t y = 0; y < 200; ++y) {
    for (int32_t x = 0; x < 200; ++x) {
      const double d = std::hypot(x - 100.0, y - 100.0);
      if (d < fitted - 1.0) {
        ASSERT_NEAR(image(x, y), 1.0, 0.05) << "(" << x << "," << y << ")";
      } else if (d >= fitted) {
        ASSERT_EQ(image(x, y), 0.0f) << "(" << x << "," << y << ")";
      }
    }
  }
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", "MoveToCenter", "RFA_background"}));
}

TEST_F(ChainFixture, FullChainGivesAFiniteFlattenedScreen) {
  p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  std::vector<float> inside;
  for (int32_t y = 0; y < 200; ++y) {
    for (int32_t x = 0; x < 200; ++x) {
      const float v = image(x, y);
      ASSERT_TRUE(std::isfinite(v)) << "(" << x << "," << y << ")";
      const bool inDip = std::hypot(x - p.McpDipCx, y - p.McpDipCy) <= p.McpDipR;
      const bool outside = std::hypot(x - p.MaskCx, y - p.MaskCy) > p.MaskRx + 0.5 + 1e-6;
      if (inDip || outside) {
        ASSERT_EQ(v, 0.0f) << "(" << x << "," << y << ")";
      }
      if (std::hypot(x - 100.0, y - 100.0) < 60.0 && v != 0.0f) inside.push_back(v);
    }
  }
  ASSERT_GT(inside.size(), 9000u);
  std::nth_element(inside.begin(), inside.begin() + inside.size() / 2, inside.end());
  EXPECT_NEAR(inside[inside.size() / 2], 1.0, 0.1);
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", "MoveToCenter", "RFA_background",
                                             "AverageAlong", "MaskMcpDip", "MaskOutside"}));
}

}  // namespace
