// The parameter set: its file (Exchange, the one routine that writes and reads it) and its
// fields set by key from a text.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "formats/ZrBarnXml.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameterFields.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestUtil.h"

namespace {

bool ReadInto(RfaParameters& p, const std::string& text) {
  ZrBarnXml tree("r");
  tree.SetText(text);
  return p.Exchange(tree, "ini");
}

TEST(RfaParametersExchange, DefaultsAreWrittenInTheFileOrder) {
  const std::string expected =
      "<ini><Sx_>100</Sx_>\n<Sy_>100</Sy_>\n<Sr_>100</Sr_>\n<SMargin_>10</SMargin_>\n"
      "<MappingIsGnomonic_>false</MappingIsGnomonic_>\n<MappingIsAz_>false</MappingIsAz_>\n"
      "<MappingAzThetaMax_deg_>90</MappingAzThetaMax_deg_>\n<Size_l_>5</Size_l_>\n"
      "<Ax_>128</Ax_>\n<Ay_>128</Ay_>\n<AdjThres_>0.1</AdjThres_>\n<AdjSize_>10</AdjSize_>\n"
      "<UseAllSphere_>false</UseAllSphere_>\n<IsShowTmp_>false</IsShowTmp_>\n"
      "<McpDipCx_>166</McpDipCx_>\n<McpDipCy_>150</McpDipCy_>\n<McpDipR_>10</McpDipR_>\n"
      "<MaskCx_>150</MaskCx_>\n<MaskCy_>150</MaskCy_>\n<MaskRx_>128</MaskRx_>\n"
      "<MaskRy_>128</MaskRy_>\n<IsMoveCenter_>true</IsMoveCenter_>\n<IsBgSh_>true</IsBgSh_>\n"
      "<IsBgAz_>true</IsBgAz_>\n<IsMaskMcpDip_>true</IsMaskMcpDip_>\n"
      "<IsMaskOutside_>true</IsMaskOutside_>\n</ini>\n";
  EXPECT_EQ(RfaParameterFileText(RfaParameters()), expected);
}

// Neither writing nor a file without the root element changes a field.
TEST(RfaParametersExchange, WritingOrAMissingRootTouchesNoField) {
  RfaParameters p;
  p.Sx = 1.0 / 3.0;
  ZrBarnXml tree("w");
  ASSERT_TRUE(p.Exchange(tree, "ini"));
  EXPECT_EQ(p.Sx, 1.0 / 3.0);
  EXPECT_FALSE(ReadInto(p, "<other><Sx_>42.5</Sx_></other>"));
  EXPECT_EQ(p.Sx, 1.0 / 3.0);
  EXPECT_FALSE(ReadInto(p, ""));
}

struct NumberCase {
  double Value;
  const char* Text;
};

class RfaParametersNumberTest : public ::testing::TestWithParam<NumberCase> {};

// The file elements and the background group's theta text alike.
TEST_P(RfaParametersNumberTest, DoublesUseTheStreamDefaultOfSixDigits) {
  const std::string expected = GetParam().Text;
  RfaParameters p;
  p.McpDipR = GetParam().Value;
  p.MappingAzThetaMaxDeg = GetParam().Value;
  const std::string text = RfaParameterFileText(p);
  EXPECT_NE(text.find("<McpDipR_>" + expected + "</McpDipR_>"), std::string::npos) << text;
  EXPECT_NE(text.find("<MappingAzThetaMax_deg_>" + expected + "<"), std::string::npos) << text;
  RfaParameters read;
  ASSERT_TRUE(ReadInto(read, text));
  EXPECT_EQ(read.McpDipR, std::stod(expected));
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);
  RfaWriteBackgroundKeys(keys, p);
  EXPECT_EQ(texts.at("RFA_background/MappingAzThetaMax_deg"), expected);
}

INSTANTIATE_TEST_SUITE_P(Values, RfaParametersNumberTest,
                         ::testing::Values(NumberCase{100.0, "100"}, NumberCase{0.1, "0.1"},
                                           NumberCase{166.5, "166.5"},
                                           NumberCase{1234567.0, "1.23457e+06"},
                                           NumberCase{0.123456789, "0.123457"},
                                           NumberCase{-2.5, "-2.5"}));

TEST(RfaParametersExchange, EveryFieldSurvivesARoundTrip) {
  // Every field differs from its default: one that is not read back shows in the second text.
  const std::string text = RfaParameterFileText(RfaDistinctParameters());
  RfaParameters read;
  ASSERT_TRUE(ReadInto(read, text));
  EXPECT_EQ(RfaParameterFileText(read), text);
  EXPECT_NE(text, RfaParameterFileText(RfaParameters()));
}

// Any element order; unknown elements ignored; an unparsable number reads 0 and a boolean
// other than "true"/"false" keeps the value.
TEST(RfaParametersExchange, ReadsElementsInAnyOrderAndForgivesBadTexts) {
  RfaParameters p;
  ASSERT_TRUE(
      ReadInto(p,
               "<ini><IsMaskOutside_>false</IsMaskOutside_><Sx_>1</Sx_><Unknown_>3</Unknown_>"
               "<Sr_>abc</Sr_><Size_l_>x</Size_l_><IsBgSh_>TRUE</IsBgSh_><Sy_>2</Sy_></ini>"));
  EXPECT_EQ(std::tuple(p.IsMaskOutside, p.Sx, p.Sy, p.Sr, p.SizeL, p.IsBgSh),
            std::tuple(false, 1.0, 2.0, 0.0, 0, true));
}

// Every key of a parameter file is accepted by --set and changes exactly the field written
// under that element.
TEST(RfaSetParameter, EveryKeyChangesTheFieldStoredUnderIt) {
  const std::string before = RfaParameterFileText(RfaParameters());
  int keys = 0;
  for (size_t end = before.find("</"); end != std::string::npos; end = before.find("</", end + 1)) {
    const std::string key = before.substr(end + 2, before.find('>', end) - end - 2);
    if (key == "ini") continue;
    ++keys;
    const size_t start = before.rfind('>', end) + 1;
    const std::string old = before.substr(start, end - start);
    const std::string value = old == "true" ? "false" : old == "false" ? "true" : "7";
    RfaParameters changed;
    RfaSetParameter(changed, key, value);
    std::string expected = before;
    EXPECT_EQ(RfaParameterFileText(changed), expected.replace(start, old.size(), value)) << key;
  }
  EXPECT_EQ(keys, static_cast<int>(RfaParameterFields().size()));
}

TEST(RfaSetParameter, BadValueIsRefusedAndLeavesTheSetAlone) {
  const char* cases[][3] = {
      {"Sxx_", "1", "unknown parameter key \"Sxx_\""},
      {"version", "1", "unknown parameter key \"version\""},
      {"Sx_", "12a", "parameter Sx_ needs a number, not \"12a\""},
      {"Sx_", "", "parameter Sx_ needs a number, not \"\""},
      {"Sx_", "nan", "parameter Sx_ needs a number, not \"nan\""},
      {"Sx_", "0x10", "parameter Sx_ needs a number, not \"0x10\""},  // a file reads 0
      {"Size_l", "2.5", "parameter Size_l_ needs a whole number, not \"2.5\""},
      {"SMargin_", "3000000000", "parameter SMargin_ needs a whole number, not \"3000000000\""},
      {"IsBgSh_", "yes", "parameter IsBgSh_ needs true or false, not \"yes\""}};
  for (const auto& [key, value, message] : cases) {
    RfaParameters params;
    EXPECT_ZR_ERROR(RfaSetParameter(params, key, value), message);
    EXPECT_EQ(RfaParameterFileText(params), RfaParameterFileText(RfaParameters())) << key;
  }
}

}  // namespace
