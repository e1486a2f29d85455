// The chain's options beyond the plug-in's: the sub-pixel move and the fit's images handed out.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "rfa/RfaChain.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"

namespace {

TEST(RfaChainOptions, SubpixelMoveAndTheFitsImages) {
  const ZrFloatMatrix screen =
      RfaMakeSyntheticScreen(RfaScreenOptions(120, 120, 57.3, 63.6, 45, 70, 60, 5, 4));
  RfaParameters p = RfaGeometry(57.3, 63.6, 45, 4, 4, 60, 60, 70, 60, 5, 60, 60, 44, 44);
  p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);

  ZrFloatMatrix image = screen, background, fitted;
  RfaChainOptions options;
  options.Subpixel = true;
  options.Background = &background;
  options.Fitted = &fitted;
  RfaApplyCheckedOperations(image, p, keys, options);
  ZrFloatMatrix moved = screen;
  RfaMoveToCenterSubpixel(moved, p.Sx, p.Sy, RfaInterpolation::Keys);
  EXPECT_TRUE(ZrSameBits(fitted, moved));
  EXPECT_TRUE(ZrSameBits(image, RfaDivideByBackground(fitted, background)));
  EXPECT_EQ(doubles.at("MoveToCenter/Sx"), 57.3);

  // A centre on whole pixels moves as the roll does, so the chain gives the plug-in's bits.
  p.Sx = 57;
  p.Sy = 64;
  ZrFloatMatrix rolled = screen, shifted = screen;
  RfaApplyCheckedOperations(rolled, p, keys);
  RfaApplyCheckedOperations(shifted, p, keys, options);
  EXPECT_TRUE(ZrSameBits(rolled, shifted));
}

}  // namespace
