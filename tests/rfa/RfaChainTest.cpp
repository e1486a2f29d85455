// The host-free operation chain (order against the library calls, key groups, unchecked steps)
// and the key writer that records its steps.
#include "rfa/RfaChain.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaInterpolation.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaResultCheck.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// A 200 x 200 screen off the image centre, with the parameters that suit it (the dip after
// the move by (+7, -8) is at (117, 87)).
struct ChainFixture : testing::Test {
  ChainFixture() {
    for (const RfaOperation& operation : RfaOperations()) P.*operation.Checked = false;
  }

  std::set<std::string> Groups() const {
    std::set<std::string> groups;
    for (const auto& entry : Doubles) groups.insert(entry.first.substr(0, entry.first.find('/')));
    for (const auto& entry : Texts) groups.insert(entry.first.substr(0, entry.first.find('/')));
    return groups;
  }

  const ZrFloatMatrix Screen =
      RfaMakeSyntheticScreen(RfaScreenOptions(200, 200, 93, 108, 80, 110, 95, 8, 21));
  RfaParameters P = RfaGeometry(93, 108, 80, 5, 4, 100, 100, 117, 87, 9, 100, 100, 76, 76);
  std::map<std::string, double> Doubles{{"log/entry", 1.0}};
  std::map<std::string, std::string> Texts{{"log/text", "earlier"}};
  RfaKeyWriter Keys{Doubles, Texts};
};

// Each step writes its own group as it runs and changes the image; the result is the library
// calls' in the fixed order.
TEST_F(ChainFixture, AllStepsEqualTheLibraryCallsInTheirFixedOrder) {
  P.IsMoveCenter = P.IsBgSh = P.IsBgAz = P.IsMaskMcpDip = P.IsMaskOutside = true;
  P.MaskRx = 60;  // inside the fitted disc, so that the outside mask clears pixels the fit left
  ZrFloatMatrix image = Screen, previous = Screen;
  std::set<std::string> written{"log"};
  RfaApplyCheckedOperations(image, P, Keys, {}, [&](const char* group, const ZrFloatMatrix& m) {
    written.insert(group);
    EXPECT_EQ(Groups(), written) << group;
    EXPECT_FALSE(ZrSameBits(m, previous)) << group;
    previous = m;
  });
  EXPECT_EQ(written, (std::set<std::string>{"log", "MoveToCenter", "RFA_background", "AverageAlong",
                                            "MaskMcpDip", "MaskOutside"}));

  ZrFloatMatrix expected = Screen, background;
  RfaMoveToCenter(expected, P.Sx, P.Sy);
  RfaSphericalHarmonicsBackground(background, P, expected);
  expected = RfaDivideByBackground(expected, background);
  expected = RfaDivideByBackground(expected,
                                   RfaAzimuthalAverageBackground(expected, static_cast<float>(P.Ax),
                                                                 static_cast<float>(P.Ay), 1.0f));
  RfaMaskMcpDip(expected, P.McpDipCx, P.McpDipCy, P.McpDipR);
  RfaMaskOutside(expected, P.MaskCx, P.MaskCy, P.MaskRx, P.MaskRy);
  EXPECT_TRUE(ZrSameBits(image, expected));
}

// The options beyond the plug-in's: the sub-pixel move, the fit's background and the image it
// was fitted to handed out.
TEST_F(ChainFixture, SubpixelMoveAndTheFitsImages) {
  P.IsMoveCenter = P.IsBgSh = true;
  P.Sx = 93.3;
  P.Sy = 107.6;
  ZrFloatMatrix image = Screen, background, fitted;
  RfaChainOptions options;
  options.Subpixel = true;
  options.Background = &background;
  options.Fitted = &fitted;
  RfaApplyCheckedOperations(image, P, Keys, options);
  ZrFloatMatrix moved = Screen;
  RfaMoveToCenterSubpixel(moved, P.Sx, P.Sy, RfaInterpolation::Keys);
  EXPECT_TRUE(ZrSameBits(fitted, moved));
  EXPECT_TRUE(ZrSameBits(image, RfaDivideByBackground(fitted, background)));
  EXPECT_EQ(Doubles.at("MoveToCenter/Sx"), 93.3);
}

// The step observer sees every checked step once, in order, with the image it left; the check
// that follows it tells a result from an empty or non-finite image and names the likely cause.
TEST_F(ChainFixture, ResultCheckNamesTheStepThatLeftNothingOrNonFinitePixels) {
  const char* all = "MoveToCenter RFA_background AverageAlong MaskMcpDip MaskOutside";
  struct Case {
    const char* Steps;  // the checked steps, in the chain's order
    void (*Change)(RfaParameters&, ZrFloatMatrix&);
    const char* Problem;
    bool Empty;
  };
  const Case cases[] = {
      {all, [](RfaParameters&, ZrFloatMatrix&) {}, "", false},
      {all, [](RfaParameters&, ZrFloatMatrix& m) { m(90, 100) = m(100, 90) = INFINITY; }, "",
       false},
      {all, [](RfaParameters& q, ZrFloatMatrix&) { q.SizeL = -1; },
       "the result is 0 everywhere: the spherical-harmonics degree Size_l_=-1 is below 0, so "
       "that background is 0",
       true},
      {all, [](RfaParameters& q, ZrFloatMatrix&) { q.McpDipR = 1e30; },
       "the result is 0 everywhere: the MCP dip mask (McpDipCx_=117 McpDipCy_=87 "
       "McpDipR_=1e+30) covers every pixel left",
       true},
      {all, [](RfaParameters& q, ZrFloatMatrix&) { q.MaskCx = q.MaskCy = -500; },
       "the result is 0 everywhere: the outside mask (MaskCx_=-500 MaskCy_=-500 MaskRx_=76 "
       "MaskRy_=76) keeps none of the pixels left: the screen (Sx_=93 Sy_=108 Sr_=80) likely "
       "lies elsewhere on this 200 x 200 image or outside it, or the parameters are for another "
       "image",
       true},
      {"MaskMcpDip", [](RfaParameters&, ZrFloatMatrix& m) { m.Fill(0.0f); },
       "the result is 0 everywhere: the image holds no finite pixel other than 0", true},
      {"MaskMcpDip", [](RfaParameters&, ZrFloatMatrix& m) { m(90, 100) = m(100, 90) = -INFINITY; },
       "the result holds 2 non-finite pixels: the image's own infinite pixels, which no checked "
       "operation replaces",
       false},
  };
  for (const Case& c : cases) {
    RfaParameters q = P;
    for (const RfaOperation& operation : RfaOperations())
      q.*operation.Checked = std::string(c.Steps).find(operation.Group) != std::string::npos;
    ZrFloatMatrix image = Screen;
    c.Change(q, image);
    RfaResultCheck check(q, image);
    std::string seen;
    RfaApplyCheckedOperations(image, q, Keys, {}, [&](const char* group, const ZrFloatMatrix& m) {
      seen += (seen.empty() ? "" : " ") + std::string(group);
      check(group, m);
      EXPECT_EQ(&m, &image) << group;
    });
    EXPECT_EQ(seen, c.Steps);
    EXPECT_EQ(check.Problem(), c.Problem) << c.Steps;
    EXPECT_EQ(check.IsEmpty(), c.Empty) << c.Problem;
  }
}

// Both key maps as one text, "<key>=<number>" and "<key>="<text>"" separated by blanks.
std::string KeysText(const std::map<std::string, double>& doubles,
                     const std::map<std::string, std::string>& texts) {
  std::ostringstream out;
  for (const auto& entry : doubles) out << entry.first << "=" << entry.second << " ";
  for (const auto& entry : texts) out << entry.first << "=\"" << entry.second << "\" ";
  return out.str();
}

TEST(RfaKeyWriter, StoresEntriesUnderTheOpenGroupAndRefusesThemBeforeAny) {
  std::map<std::string, double> doubles{{"log/previous", 4.0}};
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);
  EXPECT_ZR_ERROR(keys.SetDouble("Sx", 1.0), "Key writer: no group is open for key \"Sx\"");
  EXPECT_ZR_ERROR(keys.SetInt("n", 1), "Key writer: no group is open for key \"n\"");
  EXPECT_ZR_ERROR(keys.SetBool("b", true), "Key writer: no group is open for key \"b\"");
  EXPECT_ZR_ERROR(keys.SetText("t", "x"), "Key writer: no group is open for key \"t\"");
  keys.OpenGroup("First");
  keys.SetDouble("D", -2.5);
  keys.SetInt("I", -7);
  keys.SetBool("Yes", true);
  keys.SetBool("No", false);
  keys.SetText("T", "some text");
  keys.OpenGroup("Second");
  keys.SetDouble("D", 1e300);
  keys.SetDouble("D", 3.0);  // replaces
  EXPECT_EQ(KeysText(doubles, texts),
            "First/D=-2.5 First/I=-7 First/No=0 First/Yes=1 Second/D=3 log/previous=4 "
            "First/T=\"some text\" ");
}

struct GroupCase {
  const char* Name;
  void (*Write)(RfaKeyWriter&, const RfaParameters&);
  const char* Keys;
};

class RfaResultGroups : public testing::TestWithParam<GroupCase> {};

TEST_P(RfaResultGroups, WritesExactlyItsEntries) {
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);
  // Each field at a value of its own; the three mapping flags differ from each other too.
  RfaParameters p = RfaDistinctParameters();
  p.MappingIsAz = false;
  GetParam().Write(keys, p);
  EXPECT_EQ(KeysText(doubles, texts), GetParam().Keys);
}

const GroupCase kGroupCases[] = {
    {"MoveToCenter", RfaWriteMoveToCenterKeys, "MoveToCenter/Sx=101.5 MoveToCenter/Sy=102.5 "},
    {"Background", RfaWriteBackgroundKeys,
     "RFA_background/MappingIsAzM2_=1 RFA_background/MappingIsAz_=0 "
     "RFA_background/MappingIsGnomonic=1 RFA_background/ScreenMargin=11 "
     "RFA_background/ScreenRadius=103.5 RFA_background/Size_l=7 RFA_background/UseAllSphere=1 "
     "RFA_background/MappingAzThetaMax_deg=\"85.5\" "},
    {"AverageAlong", RfaWriteAverageAlongKeys,
     "AverageAlong/CenterX=104.5 AverageAlong/CenterY=105.5 "},
    {"MaskMcpDipCarriesXCentreAsCenterY", RfaWriteMaskMcpDipKeys,
     "MaskMcpDip/CenterX=106.5 MaskMcpDip/CenterY=106.5 MaskMcpDip/Radius=108.5 "},
    {"MaskOutsideCarriesXCentreAsCenterY", RfaWriteMaskOutsideKeys,
     "MaskOutside/CenterX=109 MaskOutside/CenterY=109 MaskOutside/RadiusOfX=111 "
     "MaskOutside/RadiusOfY=112 "},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaResultGroups, testing::ValuesIn(kGroupCases), ZrCaseName());

}  // namespace
