// Request texts byte for byte, response reading, and the host function table.
#include "hostlink/ZrCmdPackUnpack.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

std::string RequestText(int32_t function, void (*arguments)(ZrCmdPackUnpack&)) {
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  request.SetFunc(function);
  arguments(request);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  return text;
}

ZrCmdPackUnpack Response(const std::string& text) {
  ZrCmdPackUnpack response("r");
  response.SetText(text);
  return response;
}

}  // namespace

TEST(ZrCmdPackUnpack, RequestWithoutArgumentsIsRootCommandAndName) {
  EXPECT_EQ(RequestText(7, [](ZrCmdPackUnpack&) {}),
            "<air><i0><cmd>ImageNewWindow</cmd>\n</i0>\n</air>\n");
}

TEST(ZrCmdPackUnpack, RequestValuesFollowTheNameEachEndTagWithLineFeed) {
  const std::string text = RequestText(21, [](ZrCmdPackUnpack& r) {
    int32_t id = -12;
    r.IDDocChildWindow(id);
    bool flag = true;
    r.Packer().Value("isMovable", flag);
    std::string name = "a<b&c\"d'e";
    r.Packer().Value("name", name);
  });
  EXPECT_EQ(text,
            "<air><i0><cmd>GetIsModeImage</cmd>\n<IDDocChildWindow>-12</IDDocChildWindow>\n"
            "<isMovable>true</isMovable>\n<name>a&lt;b&amp;c&quot;d'e</name>\n</i0>\n</air>\n");
}

TEST(ZrCmdPackUnpack, KeyListEntriesAreNumberedChildrenWithKeyAndVal) {
  const std::string text = RequestText(64, [](ZrCmdPackUnpack& r) {
    std::map<std::string, std::string> keys = {{"a<b", "1&2"}, {"z", ""}};
    r.Packer().KeyStringList("ImageKeyString", keys);
  });
  EXPECT_EQ(text,
            "<air><i0><cmd>ImageKeyStringSet</cmd>\n<ImageKeyString><i0><key>a&lt;b</key>\n"
            "<val>1&amp;2</val>\n</i0>\n<i1><key>z</key>\n<val></val>\n</i1>\n</ImageKeyString>\n"
            "</i0>\n</air>\n");
}

TEST(ZrCmdPackUnpack, RegionRecordSitsInItsOwnElementInFieldOrder) {
  const std::string text = RequestText(27, [](ZrCmdPackUnpack& r) {
    ZrRegion region;
    region.regionType = "ELLIPSE";
    region.color.g = 255;
    region.isMovable = true;
    region.name = "dip";
    r.Region(region);
  });
  const size_t at = text.find("<region><regionType>ELLIPSE</regionType>\n<cx>");
  ASSERT_NE(at, std::string::npos) << text;
  const std::string tail = text.substr(text.find("<color>"));
  EXPECT_EQ(tail,
            "<color><r>0</r>\n<g>255</g>\n<b>0</b>\n</color>\n<isMovable>true</isMovable>\n"
            "<name>dip</name>\n</region>\n</i0>\n</air>\n");
}

TEST(ZrCmdPackUnpack, WriteModeHasRootAtOnceReadModeOnlyAfterSetText) {
  ZrCmdPackUnpack request("w");
  EXPECT_EQ(request.GetMode(), "w");
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air></air>\n");
  ZrCmdPackUnpack response("r");
  EXPECT_EQ(response.GetMode(), "r");
  EXPECT_FALSE(response.OpenCmd());
  EXPECT_ZR_ERROR(request.SetText("<air></air>\n"), "mode is illigal");
}

TEST(ZrCmdPackUnpack, ResponseValuesAreReadAndMissingOnesKeepTheCallersValue) {
  ZrCmdPackUnpack response = Response(
      "<air><i0><ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>42</IDDocChildWindow>\n"
      "<isModeImage>true</isModeImage>\n</i0>\n</air>\n");
  ASSERT_TRUE(response.OpenCmd());
  int32_t id = -1, missing = 77;
  bool mode = false;
  std::string code;
  EXPECT_EQ(response.Packer().Value("ReturnCode", code), 1);
  EXPECT_EQ(response.IDDocChildWindow(id), 1);
  EXPECT_EQ(response.Packer().Value("isModeImage", mode), 1);
  EXPECT_EQ(response.Packer().Value("RegionID", missing), 0);
  EXPECT_EQ(code, "ok");
  EXPECT_EQ(id, 42);
  EXPECT_TRUE(mode);
  EXPECT_EQ(missing, 77);
}

TEST(ZrCmdPackUnpack, WithoutCommandElementValuesComeFromTheRootAndAreMissing) {
  ZrCmdPackUnpack response = Response("<air><i1><count>3</count>\n</i1>\n</air>\n");
  EXPECT_FALSE(response.OpenCmd());
  int32_t count = -5;
  EXPECT_EQ(response.Packer().Value("count", count), 0);
  EXPECT_EQ(count, -5);
  EXPECT_TRUE(response.OpenCmdIndex(1));
  EXPECT_EQ(response.Packer().Value("count", count), 1);
  EXPECT_EQ(count, 3);
}

TEST(ZrCmdPackUnpack, KeyListReaderAcceptsAnyEntryName) {
  ZrCmdPackUnpack response = Response(
      "<air><i0><ImageKeyDouble><entry><key>a</key><val>1.5</val></entry>"
      "<x attr=\"1\"><val>-2</val><key>b&amp;c</key></x><i0><val>3</val></i0>"
      "<entry><key>d</key><val>4</val></entry></ImageKeyDouble>\n</i0>\n</air>\n");
  ASSERT_TRUE(response.OpenCmd());
  std::map<std::string, double> keys = {{"stale", 9}};
  ASSERT_TRUE(response.Packer().KeyDoubleList("ImageKeyDouble", keys));
  const std::map<std::string, double> expected = {{"a", 1.5}, {"b&c", -2}, {"d", 4}};
  EXPECT_EQ(keys, expected);  // the entry without "key" is skipped
}

TEST(ZrCmdPackUnpack, KeyListRoundTripWithCharactersNeedingEscapes) {
  ZrCmdPackUnpack request("w");
  std::map<std::string, std::string> written = {
      {"<tag>", "\"quoted\" & 'single'"}, {"a&b", "&lt;"}, {"empty", ""}};
  // Numbers travel in the stream's default text form (six significant digits).
  std::map<std::string, double> numbers = {{"x", 0.5}, {"y", -1e-300}, {"z", 123456}};
  request.OpenCmd();
  request.Packer().KeyStringList("S", written);
  request.Packer().KeyDoubleList("D", numbers);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  ZrCmdPackUnpack response = Response(text);
  ASSERT_TRUE(response.OpenCmd());
  std::map<std::string, std::string> read;
  std::map<std::string, double> readNumbers;
  ASSERT_TRUE(response.Packer().KeyStringList("S", read));
  ASSERT_TRUE(response.Packer().KeyDoubleList("D", readNumbers));
  EXPECT_EQ(read, written);
  EXPECT_EQ(readNumbers, numbers);
}

TEST(ZrCmdPackUnpack, EscapedEntityTextInKeysCollapsesOnReading) {
  // The reader unescapes repeatedly, so an "&amp;" written into a key comes back as "&".
  ZrCmdPackUnpack request("w");
  std::map<std::string, std::string> written = {{"amp&amp;", "x&lt;y"}};
  request.OpenCmd();
  request.Packer().KeyStringList("S", written);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  EXPECT_NE(text.find("<key>amp&amp;amp;</key>"), std::string::npos) << text;
  ZrCmdPackUnpack response = Response(text);
  ASSERT_TRUE(response.OpenCmd());
  std::map<std::string, std::string> read;
  response.Packer().KeyStringList("S", read);
  EXPECT_EQ(read, (std::map<std::string, std::string>{{"amp&", "x&lt;y"}}));
}

TEST(ZrCmdPackUnpack, MissingKeyListLeavesMapAndReturnsFalse) {
  ZrCmdPackUnpack response = Response("<air><i0></i0>\n</air>\n");
  ASSERT_TRUE(response.OpenCmd());
  std::map<std::string, std::string> keys = {{"k", "v"}};
  EXPECT_FALSE(response.Packer().KeyStringList("ImageKeyString", keys));
  EXPECT_EQ(keys.size(), 1u);
}

TEST(ZrCmdPackUnpack, RegionAndColourRoundTrip) {
  ZrRegion region;
  region.regionType = "RECTANGLE";
  region.cx = 10.25f;
  region.cy = -3.5f;
  region.w = 7;
  region.h = 0.125f;
  region.color = {1, 2, 3};
  region.isMovable = true;
  region.name = "a & b";
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  request.Region(region);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  ZrCmdPackUnpack response = Response(text);
  ASSERT_TRUE(response.OpenCmd());
  ZrRegion read;
  ASSERT_TRUE(response.Region(read));
  EXPECT_EQ(read.regionType, region.regionType);
  EXPECT_EQ(read.cx, region.cx);
  EXPECT_EQ(read.cy, region.cy);
  EXPECT_EQ(read.w, region.w);
  EXPECT_EQ(read.h, region.h);
  EXPECT_EQ(read.color.r, 1);
  EXPECT_EQ(read.color.g, 2);
  EXPECT_EQ(read.color.b, 3);
  EXPECT_TRUE(read.isMovable);
  EXPECT_EQ(read.name, region.name);
}

TEST(ZrCmdPackUnpack, IdListRoundTripInBothEncodings) {
  for (const bool bb : {false, true}) {
    ZrLongMatrix ids(1, 4);
    for (int32_t i = 0; i < 4; ++i) ids.Data[i] = i * 1000 - 7;
    ZrCmdPackUnpack request("w");
    request.OpenCmd();
    request.IDList(ids, bb);
    request.CloseCmd();
    std::string text;
    request.GetText(text);
    EXPECT_NE(text.find(bb ? "<base64b>" : "<base64>"), std::string::npos) << text;
    ZrCmdPackUnpack response = Response(text);
    ASSERT_TRUE(response.OpenCmd());
    ZrLongMatrix read;
    ASSERT_TRUE(response.IDList(read));
    ASSERT_EQ(read.ColSize, 1);
    ASSERT_EQ(read.RowSize, 4);
    for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(read.Data[i], ids.Data[i]);
  }
}

TEST(ZrCmdPackUnpack, CommandGuardsAppendTheirSignature) {
  ZrCmdPackUnpack response = Response("<air><i0></i0>\n</air>\n");
  response.CloseCmd();  // leaves "air" for the nameless root
  EXPECT_ZR_ERROR(response.CloseCmd(), "Over CloseRack/void ZrCmdPackUnpack::CloseCmd()");
  EXPECT_ZR_ERROR(response.CloseCmdIndex(3),
                  "Over CloseRack/void ZrCmdPackUnpack::CloseCmdIndex(int32_t)");
}

TEST(ZrCmdPackUnpack, NegativeCommandIndexKeepsItsSign) {
  ZrCmdPackUnpack request("w");
  EXPECT_TRUE(request.OpenCmdIndex(-2));
  request.CloseCmdIndex(-2);
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air><i-2></i-2>\n</air>\n");
}

TEST(ZrCmdPackUnpack, UnknownFunctionLeavesCommandOpenWithoutName) {
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  EXPECT_ZR_ERROR(request.SetFunc(36), "Undefiend function number");
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air><i0></i0>\n</air>\n");
}

class ZrFunctionTable : public ::testing::TestWithParam<int32_t> {};

TEST_P(ZrFunctionTable, NumbersOneToHundredNineExceptThirtySixAreNamed) {
  const int32_t n = GetParam();
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  if (n < 1 || n > 109 || n == 36) {
    EXPECT_ZR_ERROR(request.SetFunc(n), "Undefiend function number");
    return;
  }
  request.SetFunc(n);
  const std::string& name = ZrCmdPackUnpack::FunctionTable().at(n);
  EXPECT_EQ(ZrCmdPackUnpack::FunctionNumber(name), n);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air><i0><cmd>" + name + "</cmd>\n</i0>\n</air>\n");
}

INSTANTIATE_TEST_SUITE_P(AllNumbers, ZrFunctionTable, ::testing::Range(-1, 112));

TEST(ZrFunctionTableNames, SizeAndTheNamesTheProgramSends) {
  const auto& table = ZrCmdPackUnpack::FunctionTable();
  EXPECT_EQ(table.size(), 108u);
  const std::map<int32_t, std::string> sent = {
      {1, "Update"},
      {4, "WindowGetFocusedID"},
      {7, "ImageNewWindow"},
      {8, "ImageGet"},
      {9, "ImageSet"},
      {16, "GetFileName"},
      {21, "GetIsModeImage"},
      {27, "RegionAdd"},
      {28, "RegionClear"},
      {32, "RegionGetIDList"},
      {33, "RegionGet"},
      {35, "RegionDrawingAdd"},
      {37, "RegionPolygonGetVertexList"},
      {43, "RegionGetIMinMaxAverage"},
      {44, "LineAdd"},
      {45, "LineGetIDList"},
      {48, "GetIsModeSeries"},
      {49, "SeriesNewWindow"},
      {51, "SeriesGetCount"},
      {55, "SeriesImageIndexSetWithLoadImage"},
      {56, "SeriesImageIndexSet"},
      {58, "SeriesImageSave"},
      {61, "ImageKeyDoubleGet"},
      {62, "ImageKeyDoubleSet"},
      {63, "ImageKeyStringGet"},
      {64, "ImageKeyStringSet"},
      {65, "SeriesKeyDoubleGet"},
      {67, "SeriesKeyStringGet"},
      {69, "SeriesIndexKeyDoubleGet"},
      {70, "SeriesIndexKeyDoubleSet"},
      {71, "SeriesIndexKeyStringGet"},
      {72, "SeriesIndexKeyStringSet"},
      {77, "FIImageGetBySharedMemory"},
      {78, "FIImageSetBySharedMemory"},
      {93, "SeriesSaveRenew"},
      {104, "GetIsLoaded"},
      {109, "RegionGetListIdIMinMaxAverageColor"},
  };
  for (const auto& entry : sent) EXPECT_EQ(table.at(entry.first), entry.second) << entry.first;
  EXPECT_EQ(ZrCmdPackUnpack::FunctionNumber("NoSuchFunction"), -1);
}
