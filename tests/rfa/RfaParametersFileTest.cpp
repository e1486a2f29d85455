// RfaParameters::Exchange: the one routine that writes and reads a parameter document.
#include <gtest/gtest.h>

#include <string>

#include "formats/ZrBarnXml.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"

namespace {

bool ReadInto(RfaParameters& p, const std::string& text) {
  ZrBarnXml tree("r");
  tree.SetText(text);
  return p.Exchange(tree, "ini");
}

// The file keys in their required order with the default value texts.
const char* const kDefaultLines[] = {"<ini><Sx_>100</Sx_>",
                                     "<Sy_>100</Sy_>",
                                     "<Sr_>100</Sr_>",
                                     "<SMargin_>10</SMargin_>",
                                     "<MappingIsGnomonic_>false</MappingIsGnomonic_>",
                                     "<MappingIsAz_>false</MappingIsAz_>",
                                     "<MappingAzThetaMax_deg_>90</MappingAzThetaMax_deg_>",
                                     "<Size_l_>5</Size_l_>",
                                     "<Ax_>128</Ax_>",
                                     "<Ay_>128</Ay_>",
                                     "<AdjThres_>0.1</AdjThres_>",
                                     "<AdjSize_>10</AdjSize_>",
                                     "<UseAllSphere_>false</UseAllSphere_>",
                                     "<IsShowTmp_>false</IsShowTmp_>",
                                     "<McpDipCx_>166</McpDipCx_>",
                                     "<McpDipCy_>150</McpDipCy_>",
                                     "<McpDipR_>10</McpDipR_>",
                                     "<MaskCx_>150</MaskCx_>",
                                     "<MaskCy_>150</MaskCy_>",
                                     "<MaskRx_>128</MaskRx_>",
                                     "<MaskRy_>128</MaskRy_>",
                                     "<IsMoveCenter_>true</IsMoveCenter_>",
                                     "<IsBgSh_>true</IsBgSh_>",
                                     "<IsBgAz_>true</IsBgAz_>",
                                     "<IsMaskMcpDip_>true</IsMaskMcpDip_>",
                                     "<IsMaskOutside_>true</IsMaskOutside_>",
                                     "</ini>"};

TEST(RfaParametersExchange, DefaultsAreWrittenInTheFileOrder) {
  RfaParameters p;
  std::string expected;
  for (const char* line : kDefaultLines) expected += std::string(line) + "\n";
  EXPECT_EQ(RfaStoredText(p), expected);
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

TEST_P(RfaParametersNumberTest, DoublesUseTheStreamDefaultOfSixDigits) {
  RfaParameters p;
  p.McpDipR = GetParam().value;
  p.MappingAzThetaMax_deg = GetParam().value;
  const std::string text = RfaStoredText(p);
  EXPECT_NE(text.find(std::string("<McpDipR_>") + GetParam().text + "</McpDipR_>"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find(std::string("<MappingAzThetaMax_deg_>") + GetParam().text + "<"),
            std::string::npos)
      << text;
  RfaParameters read;
  ASSERT_TRUE(ReadInto(read, text));
  EXPECT_EQ(read.McpDipR, std::stod(GetParam().text));
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

TEST(RfaParametersExchange, ElementOrderInTheFileDoesNotMatter) {
  RfaParameters p;
  ASSERT_TRUE(ReadInto(p,
                       "<ini><IsMaskOutside_>false</IsMaskOutside_><Sx_>1</Sx_>"
                       "<Unknown_>3</Unknown_><Sr_>2</Sr_></ini>"));
  EXPECT_FALSE(p.IsMaskOutside);
  EXPECT_EQ(p.Sx, 1);
  EXPECT_EQ(p.Sr, 2);
}

TEST(RfaParametersExchange, UnparsableNumberReadsZeroAndBadBooleanKeepsTheValue) {
  RfaParameters p;
  ASSERT_TRUE(ReadInto(p,
                       "<ini><Sr_>abc</Sr_><Size_l_>x</Size_l_><IsBgSh_>TRUE</IsBgSh_>"
                       "<IsMoveCenter_>false</IsMoveCenter_></ini>"));
  EXPECT_EQ(p.Sr, 0.0);
  EXPECT_EQ(p.Size_l, 0);
  EXPECT_TRUE(p.IsBgSh);
  EXPECT_FALSE(p.IsMoveCenter);
}

}  // namespace
