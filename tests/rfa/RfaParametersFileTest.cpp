// RfaParameters::Exchange: the one routine that writes and reads a parameter document.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "formats/ZrBarnXml.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"

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
  EXPECT_EQ(RfaStoredText(RfaParameters()), expected);
}

TEST(RfaParametersExchange, WritingTouchesNoField) {
  RfaParameters p;
  p.Sx = 1.0 / 3.0;
  ZrBarnXml tree("w");
  ASSERT_TRUE(p.Exchange(tree, "ini"));
  EXPECT_EQ(p.Sx, 1.0 / 3.0);
}

struct NumberCase {
  double value;
  const char* text;
};

class RfaParametersNumberTest : public ::testing::TestWithParam<NumberCase> {};

// The file elements and the background group's theta text alike.
TEST_P(RfaParametersNumberTest, DoublesUseTheStreamDefaultOfSixDigits) {
  const std::string expected = GetParam().text;
  RfaParameters p;
  p.McpDipR = GetParam().value;
  p.MappingAzThetaMax_deg = GetParam().value;
  const std::string text = RfaStoredText(p);
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
  const std::string text = RfaStoredText(RfaDistinctParameters());
  RfaParameters read;
  ASSERT_TRUE(ReadInto(read, text));
  EXPECT_EQ(RfaStoredText(read), text);
  EXPECT_NE(text, RfaStoredText(RfaParameters()));
}

TEST(RfaParametersExchange, MissingRootReturnsFalseAndTouchesNothing) {
  RfaParameters p;
  EXPECT_FALSE(ReadInto(p, "<other><Sx_>42.5</Sx_></other>"));
  EXPECT_EQ(p.Sx, 100.0);
  EXPECT_FALSE(ReadInto(p, ""));
}

// Any element order; unknown elements ignored; an unparsable number reads 0 and a boolean
// other than "true"/"false" keeps the value.
TEST(RfaParametersExchange, ReadsElementsInAnyOrderAndForgivesBadTexts) {
  RfaParameters p;
  ASSERT_TRUE(
      ReadInto(p,
               "<ini><IsMaskOutside_>false</IsMaskOutside_><Sx_>1</Sx_><Unknown_>3</Unknown_>"
               "<Sr_>abc</Sr_><Size_l_>x</Size_l_><IsBgSh_>TRUE</IsBgSh_><Sy_>2</Sy_></ini>"));
  EXPECT_FALSE(p.IsMaskOutside);
  EXPECT_EQ(p.Sx, 1);
  EXPECT_EQ(p.Sy, 2);
  EXPECT_EQ(p.Sr, 0.0);
  EXPECT_EQ(p.Size_l, 0);
  EXPECT_TRUE(p.IsBgSh);
}

}  // namespace
