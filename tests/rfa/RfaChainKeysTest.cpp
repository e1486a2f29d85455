// The key writer's layout and the result groups of the chain operations.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestUtil.h"

namespace {

using DoubleKeys = std::map<std::string, double>;
using TextKeys = std::map<std::string, std::string>;

TEST(RfaKeyWriter, StoresEntriesUnderTheOpenGroup) {
  DoubleKeys doubles{{"log/previous", 4.0}};
  TextKeys texts;
  RfaKeyWriter keys(doubles, texts);
  keys.OpenGroup("First");
  keys.SetDouble("D", -2.5);
  keys.SetInt("I", -7);
  keys.SetBool("Yes", true);
  keys.SetBool("No", false);
  keys.SetText("T", "some text");
  keys.OpenGroup("Second");
  keys.SetDouble("D", 1e300);
  keys.SetDouble("D", 3.0);  // replaces
  const DoubleKeys expected{{"log/previous", 4.0}, {"First/D", -2.5}, {"First/I", -7.0},
                            {"First/Yes", 1.0},    {"First/No", 0.0}, {"Second/D", 3.0}};
  EXPECT_EQ(doubles, expected);
  EXPECT_EQ(texts, (TextKeys{{"First/T", "some text"}}));
}

TEST(RfaKeyWriter, RefusesEntriesBeforeAnyGroup) {
  DoubleKeys doubles;
  TextKeys texts;
  RfaKeyWriter keys(doubles, texts);
  EXPECT_ZR_ERROR(keys.SetDouble("Sx", 1.0), "Key writer: no group is open for key \"Sx\"");
  EXPECT_ZR_ERROR(keys.SetInt("n", 1), "Key writer: no group is open for key \"n\"");
  EXPECT_ZR_ERROR(keys.SetBool("b", true), "Key writer: no group is open for key \"b\"");
  EXPECT_ZR_ERROR(keys.SetText("t", "x"), "Key writer: no group is open for key \"t\"");
  EXPECT_TRUE(doubles.empty());
  EXPECT_TRUE(texts.empty());
}

struct GroupCase {
  const char* name;
  void (*write)(RfaKeyWriter&, const RfaParameters&);
  DoubleKeys doubles;
  TextKeys texts;
};

class RfaResultGroups : public testing::TestWithParam<GroupCase> {};

TEST_P(RfaResultGroups, WritesExactlyItsEntries) {
  const GroupCase& c = GetParam();
  DoubleKeys doubles;
  TextKeys texts;
  RfaKeyWriter keys(doubles, texts);
  // Each field at a value of its own; the three mapping flags differ from each other too.
  RfaParameters p = RfaDistinctParameters();
  p.MappingIsAz = false;
  c.write(keys, p);
  EXPECT_EQ(doubles, c.doubles);
  EXPECT_EQ(texts, c.texts);
}

const GroupCase kGroupCases[] = {
    {"MoveToCenter",
     RfaWriteMoveToCenterKeys,
     {{"MoveToCenter/Sx", 101.5}, {"MoveToCenter/Sy", 102.5}},
     {}},
    {"Background",
     RfaWriteBackgroundKeys,
     {{"RFA_background/ScreenRadius", 103.5},
      {"RFA_background/ScreenMargin", 11.0},
      {"RFA_background/MappingIsGnomonic", 1.0},
      {"RFA_background/MappingIsAz_", 0.0},
      {"RFA_background/MappingIsAzM2_", 1.0},
      {"RFA_background/Size_l", 7.0},
      {"RFA_background/UseAllSphere", 1.0}},
     {{"RFA_background/MappingAzThetaMax_deg", "85.5"}}},
    {"AverageAlong",
     RfaWriteAverageAlongKeys,
     {{"AverageAlong/CenterX", 104.5}, {"AverageAlong/CenterY", 105.5}},
     {}},
    {"MaskMcpDipCarriesXCentreAsCenterY",
     RfaWriteMaskMcpDipKeys,
     {{"MaskMcpDip/CenterX", 106.5}, {"MaskMcpDip/CenterY", 106.5}, {"MaskMcpDip/Radius", 108.5}},
     {}},
    {"MaskOutsideCarriesXCentreAsCenterY",
     RfaWriteMaskOutsideKeys,
     {{"MaskOutside/CenterX", 109.0},
      {"MaskOutside/CenterY", 109.0},
      {"MaskOutside/RadiusOfX", 111.0},
      {"MaskOutside/RadiusOfY", 112.0}},
     {}},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaResultGroups, testing::ValuesIn(kGroupCases), ZrCaseName());

}  // namespace
