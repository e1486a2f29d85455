// The host-free operation chain: order, key groups, and the unchecked case.
#include "rfa/RfaChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "samples/RfaSyntheticScreen.h"

namespace {

bool SameBits(const ZrFloatMatrix& a, const ZrFloatMatrix& b) {
  return a.ColSize == b.ColSize && a.RowSize == b.RowSize && a.ColBegin == b.ColBegin &&
         a.RowBegin == b.RowBegin &&
         std::memcmp(a.Data, b.Data, sizeof(float) * static_cast<size_t>(a.Count())) == 0;
}

// A 200 x 200 screen off the image centre, with the parameters that suit it.
struct ChainFixture : testing::Test {
  ChainFixture() {
    RfaSyntheticScreenOptions o;
    o.width = 200;
    o.height = 200;
    o.cx = 93.0;
    o.cy = 108.0;
    o.radius = 80.0;
    o.dipCx = 110.0;
    o.dipCy = 95.0;
    o.dipRadius = 8.0;
    o.seed = 21;
    screen = RfaMakeSyntheticScreen(o);
    p.Sx = 93.0;
    p.Sy = 108.0;
    p.Sr = 80.0;
    p.SMargin = 5;
    p.Size_l = 4;
    p.Ax = 100.0;
    p.Ay = 100.0;
    p.McpDipCx = 117.0;  // the dip after the move by (+7, -8)
    p.McpDipCy = 87.0;
    p.McpDipR = 9.0;
    p.MaskCx = 100.0;
    p.MaskCy = 100.0;
    p.MaskRx = 76.0;
    p.MaskRy = 76.0;
    p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
  }

  std::set<std::string> Groups() const {
    std::set<std::string> groups;
    for (const auto& entry : doubles) groups.insert(entry.first.substr(0, entry.first.find('/')));
    for (const auto& entry : texts) groups.insert(entry.first.substr(0, entry.first.find('/')));
    return groups;
  }

  ZrFloatMatrix screen;
  RfaParameters p;
  std::map<std::string, double> doubles{{"log/entry", 1.0}};
  std::map<std::string, std::string> texts{{"log/text", "earlier"}};
  RfaKeyWriter keys{doubles, texts};
};

TEST_F(ChainFixture, NothingCheckedLeavesImageAndKeysAlone) {
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  EXPECT_TRUE(SameBits(image, screen));
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
  EXPECT_TRUE(SameBits(image, expected));
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

void PrintTo(const SingleStepCase& c, std::ostream* os) {
  *os << c.name;
}

class RfaChainSingleStepTest : public ChainFixture,
                               public testing::WithParamInterface<SingleStepCase> {};

TEST_P(RfaChainSingleStepTest, WritesOnlyItsGroupAndChangesTheImage) {
  p.*(GetParam().flag) = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", GetParam().group}));
  EXPECT_FALSE(SameBits(image, screen));
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
    [](const testing::TestParamInfo<SingleStepCase>& row) { return std::string(row.param.name); });

TEST_F(ChainFixture, SphericalHarmonicsDivisionFlattensTheScreen) {
  // Without fine structure, noise and dip the screen is the smooth background itself; after
  // moving it to the centre the fit of degree 4 explains it to within a few per cent, and the
  // quotient is zero outside the fitted disc.
  RfaSyntheticScreenOptions o;
  o.width = 200;
  o.height = 200;
  o.cx = 93.0;
  o.cy = 108.0;
  o.radius = 80.0;
  o.fineAmplitude = 0.0;
  o.dipDepth = 0.0;
  o.noise = 0.0;
  ZrFloatMatrix image = RfaMakeSyntheticScreen(o);
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
