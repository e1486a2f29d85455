// Request texts byte for byte, response reading, round trips and the reading of host answers.
#include "hostlink/ZrCmdPackUnpack.h"

#include "hostlink/ZrHostReplies.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "tests/common/ZrTestUtil.h"

namespace {

using Arguments = std::function<void(ZrCmdPackUnpack&)>;

// The text of a request whose command `arguments` packs.
std::string RequestText(const Arguments& arguments) {
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
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

// What `arguments` packs, read back as a response with its command opened.
ZrCmdPackUnpack RoundTrip(const Arguments& arguments) {
  ZrCmdPackUnpack response = Response(RequestText(arguments));
  EXPECT_TRUE(response.OpenCmd());
  return response;
}

auto Fields(const ZrRegion& r) {
  return std::make_tuple(r.regionType, r.cx, r.cy, r.w, r.h, r.color.r, r.color.g, r.color.b,
                         r.isMovable, r.name);
}

}  // namespace

TEST(ZrCmdPackUnpack, RequestTextsByteForByte) {
  // Values follow the name, each end tag with a line feed; texts are escaped; key lists are
  // numbered children with "key" and "val"; a region sits in its own element, fields in order;
  // floating values carry the digits they need to read back exactly.
  EXPECT_EQ(RequestText([](ZrCmdPackUnpack& r) {
              r.SetFunc(ZrHostFunction::RegionAdd);
              int32_t id = -12;
              r.IDDocChildWindow(id);
              bool flag = true;
              r.Packer().Value("isMovable", flag);
              std::string name = "a<b&c\"d'e";
              r.Packer().Value("name", name);
              std::map<std::string, std::string> keys = {{"a<b", "1&2"}, {"z", ""}};
              r.Packer().KeyStringList("ImageKeyString", keys);
              ZrRegion region{"ELLIPSE", 1.5f, -2, 3, 4, {0, 255, 0}, true, "dip"};
              r.Region(region);
              float x0 = 0.5f, y0 = 1.0f / 3;
              double d = 0.1;
              r.Packer().Value("x0", x0);
              r.Packer().Value("y0", y0);
              r.Packer().Value("d", d);
            }),
            "<air><i0><cmd>RegionAdd</cmd>\n<IDDocChildWindow>-12</IDDocChildWindow>\n"
            "<isMovable>true</isMovable>\n<name>a&lt;b&amp;c&quot;d'e</name>\n"
            "<ImageKeyString><i0><key>a&lt;b</key>\n<val>1&amp;2</val>\n</i0>\n<i1><key>z</key>\n"
            "<val></val>\n</i1>\n</ImageKeyString>\n<region><regionType>ELLIPSE</regionType>\n"
            "<cx>1.5</cx>\n<cy>-2</cy>\n<w>3</w>\n<h>4</h>\n<color><r>0</r>\n<g>255</g>\n<b>0</b>\n"
            "</color>\n<isMovable>true</isMovable>\n<name>dip</name>\n</region>\n<x0>0.5</x0>\n"
            "<y0>0.333333343</y0>\n<d>0.10000000000000001</d>\n</i0>\n</air>\n");
  // The write mode has its root at once; a negative command index keeps its sign.
  ZrCmdPackUnpack request("w");
  EXPECT_EQ(request.GetMode(), "w");
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air></air>\n");
  EXPECT_TRUE(request.OpenCmdIndex(-2));
  request.CloseCmdIndex(-2);
  request.GetText(text);
  EXPECT_EQ(text, "<air><i-2></i-2>\n</air>\n");
}

TEST(ZrCmdPackUnpack, ResponseReading) {
  ZrCmdPackUnpack response = Response(
      "<air><i0><ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>42</IDDocChildWindow>\n"
      "<isModeImage>true</isModeImage>\n<ImageKeyDouble><entry><key>a</key><val>1.5</val>"
      "</entry><x attr=\"1\"><val>-2</val><key>b&amp;c</key></x><i0><val>3</val></i0>"
      "<entry><key>d</key><val>4</val></entry></ImageKeyDouble>\n</i0>\n"
      "<i1><count>3</count>\n</i1>\n</air>\n");
  EXPECT_EQ(response.GetMode(), "r");
  ASSERT_TRUE(response.OpenCmd());
  int32_t id = -1, missing = 77;
  bool mode = false;
  std::string code;
  EXPECT_EQ(response.Packer().Value("ReturnCode", code), 1);
  EXPECT_EQ(response.IDDocChildWindow(id), 1);
  EXPECT_EQ(response.Packer().Value("isModeImage", mode), 1);
  EXPECT_EQ(response.Packer().Value("RegionID", missing), 0);  // missing: the caller's value
  EXPECT_EQ(std::make_tuple(code, id, mode, missing), std::make_tuple("ok", 42, true, 77));
  // Key list entries of any name are read; the one without "key" is skipped.
  std::map<std::string, double> keys = {{"stale", 9}};
  ASSERT_TRUE(response.Packer().KeyDoubleList("ImageKeyDouble", keys));
  EXPECT_EQ(keys, (std::map<std::string, double>{{"a", 1.5}, {"b&c", -2}, {"d", 4}}));
  std::map<std::string, std::string> strings = {{"k", "v"}};
  EXPECT_FALSE(response.Packer().KeyStringList("ImageKeyString", strings));
  EXPECT_EQ(strings.size(), 1u);
  // Another command element by its index.
  response.CloseCmd();
  EXPECT_TRUE(response.OpenCmdIndex(1));
  int32_t count = -5;
  EXPECT_EQ(response.Packer().Value("count", count), 1);
  EXPECT_EQ(count, 3);
  // Without a command element values come from the root and are missing.
  ZrCmdPackUnpack rootOnly = Response("<air><i1><count>3</count>\n</i1>\n</air>\n");
  EXPECT_FALSE(rootOnly.OpenCmd());
  count = -5;
  EXPECT_EQ(rootOnly.Packer().Value("count", count), 0);
  EXPECT_EQ(count, -5);
  EXPECT_FALSE(ZrCmdPackUnpack("r").OpenCmd());  // nothing set yet
}

TEST(ZrCmdPackUnpack, RoundTripsKeepEveryValue) {
  const std::map<std::string, std::string> strings = {
      {"<tag>", "\"quoted\" & 'single'"}, {"a&b", "&lt;"}, {"empty", ""}};
  const std::map<std::string, double> numbers = {
      {"x", 0.5}, {"y", -1e-300}, {"z", 123456789.25}, {"w", 0.1}, {"v", 1.0 / 3}};
  const ZrRegion region{"RECTANGLE", 10.25f, -3.5f, 1.0f / 3, 100.003f, {1, 2, 3}, true, "a & b"};
  ZrLongMatrix ids(1, 4);
  for (int32_t i = 0; i < 4; ++i) ids.Data[i] = i * 1000 - 7;
  for (const bool bb : {false, true}) {
    ZrCmdPackUnpack response = RoundTrip([&](ZrCmdPackUnpack& r) {
      auto s = strings;
      auto n = numbers;
      auto g = region;
      r.Packer().KeyStringList("S", s);
      r.Packer().KeyDoubleList("D", n);
      r.Region(g);
      r.IDList(ids, bb);
    });
    std::map<std::string, std::string> readStrings;
    std::map<std::string, double> readNumbers;
    ZrRegion readRegion;
    ZrLongMatrix readIds;
    ASSERT_TRUE(response.Packer().KeyStringList("S", readStrings));
    ASSERT_TRUE(response.Packer().KeyDoubleList("D", readNumbers));
    ASSERT_TRUE(response.Region(readRegion));
    ASSERT_TRUE(response.IDList(readIds));
    EXPECT_EQ(std::make_tuple(readStrings, readNumbers, Fields(readRegion), readIds.ColSize,
                              std::vector<int32_t>(readIds.Data, readIds.Data + readIds.Count())),
              std::make_tuple(strings, numbers, Fields(region), 1,
                              std::vector<int32_t>(ids.Data, ids.Data + 4)));
  }
  EXPECT_NE(RequestText([&](ZrCmdPackUnpack& r) { r.IDList(ids, true); }).find("<base64b>"),
            std::string::npos);
  EXPECT_NE(RequestText([&](ZrCmdPackUnpack& r) { r.IDList(ids, false); }).find("<base64>"),
            std::string::npos);
}

TEST(ZrCmdPackUnpack, GuardsNameTheirFault) {
  ZrCmdPackUnpack response = Response("<air><i0></i0>\n</air>\n");
  response.CloseCmd();  // leaves "air" for the nameless root
  EXPECT_ZR_ERROR(response.CloseCmd(), "Over CloseRack/void ZrCmdPackUnpack::CloseCmd()");
  EXPECT_ZR_ERROR(response.CloseCmdIndex(3),
                  "Over CloseRack/void ZrCmdPackUnpack::CloseCmdIndex(int32_t)");
  ZrCmdPackUnpack request("w");
  EXPECT_ZR_ERROR(request.SetText("<air></air>\n"), "mode is illigal");
  EXPECT_ZR_ERROR(ZrCmdPackUnpack("r").SetText("<air><i0><ReturnCode>ok</ReturnCode"),
                  "Illigal Tag Structure");
  // An unknown function leaves the command open without a name.
  request.OpenCmd();
  EXPECT_ZR_ERROR(request.SetFunc(36), "Undefiend function number");
  std::string text;
  request.GetText(text);
  EXPECT_EQ(text, "<air><i0></i0>\n</air>\n");
}

// Answers read without a socket: a ReturnCode other than "ok" is the error, missing values
// give the defaults.
TEST(ZrHostReply, ReturnCodeIsTheErrorMissingValuesTheDefaults) {
  const auto answer = [](const std::string& body) {
    ZrCmdPackUnpack response("r");
    response.SetText("<air><i0>" + body + "</i0>\n</air>\n");
    return response;
  };
  ZrCmdPackUnpack a = answer("<ReturnCode>Window is not found:3</ReturnCode>\n<count>4</count>\n");
  EXPECT_ZR_ERROR(ZrHostReply::Count(a), "Window is not found:3");
  ZrCmdPackUnpack b = answer("<ReturnCode></ReturnCode>\n");
  EXPECT_ZR_ERROR(ZrHostReply::Open(b), "");
  ZrCmdPackUnpack c = answer("<ReturnCode>ok</ReturnCode>\n");
  EXPECT_EQ(ZrHostReply::WindowId(c, -1), -1);
  ZrCmdPackUnpack d = answer("<filenameUtf8>\xC3\xA9 &amp; b.tif</filenameUtf8>\n");
  EXPECT_EQ(ZrHostReply::RegionId(d, 17), 17);
  EXPECT_EQ(ZrHostReply::FileName(d), "\xC3\xA9 & b.tif");
  bool loaded = true, success = true;
  ZrHostReply::Loaded(d, loaded, success);
  EXPECT_TRUE(loaded && success);
  ZrCmdPackUnpack e = Response("<other></other>\n");
  EXPECT_EQ(ZrHostReply::Count(e), 0);
}

// A region record in its own element or flat in the command element; without its geometry the
// answer is refused rather than read as a region at (0, 0) of size 0.
TEST(ZrHostReply, RegionRecordNestedOrFlatOrRefused) {
  const std::string fields =
      "<regionType>ELLIPSE</regionType>\n<cx>10.5</cx>\n<cy>-3</cy>\n"
      "<w>8</w>\n<h>6</h>\n<name>dip</name>\n";
  const std::string bodies[] = {"<region>" + fields + "</region>\n", fields,
                                "<RegionID>3</RegionID>\n",
                                "<cx>10.5</cx>\n<cy>-3</cy>\n<w>8</w>\n"};
  for (const std::string& body : bodies) {
    ZrCmdPackUnpack response = Response("<air><i0>" + body + "</i0>\n</air>\n");
    ZrRegion region;
    if (body.find("<h>") == std::string::npos) {
      EXPECT_ZR_ERROR(ZrHostReply::RegionRecord(response, region),
                      "The host's answer holds no region record (cx, cy, w, h)");
      continue;
    }
    ZrHostReply::RegionRecord(response, region);
    EXPECT_EQ(
        std::make_tuple(region.regionType, region.cx, region.cy, region.w, region.h, region.name),
        std::make_tuple("ELLIPSE", 10.5f, -3.0f, 8.0f, 6.0f, "dip"))
        << body;
  }
}
