// The host-free operation chain: order against the library calls, key groups, unchecked steps.
#include "rfa/RfaChain.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

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

TEST_F(ChainFixture, AllStepsEqualTheLibraryCallsInTheirFixedOrder) {
  p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = true;
  ZrFloatMatrix image = screen;
  RfaApplyCheckedOperations(image, p, keys);

  ZrFloatMatrix expected = screen, background;
  RfaMoveToCenter(expected, p.Sx, p.Sy);
  RfaSphericalHarmonicsBackground(background, p, expected);
  expected = RfaDivideByBackground(expected, background);
  expected = RfaDivideByBackground(expected,
                                   RfaAzimuthalAverageBackground(expected, static_cast<float>(p.Ax),
                                                                 static_cast<float>(p.Ay), 1.0f));
  RfaMaskMcpDip(expected, p.McpDipCx, p.McpDipCy, p.McpDipR);
  RfaMaskOutside(expected, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
  EXPECT_TRUE(ZrSameBits(image, expected));
  EXPECT_EQ(Groups(), (std::set<std::string>{"log", "MoveToCenter", "RFA_background",
                                             "AverageAlong", "MaskMcpDip", "MaskOutside"}));
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

}  // namespace
