// Reading recorded host answers without a socket.
#include "hostlink/ZrHostReplies.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

ZrCmdPackUnpack Answer(const std::string& body) {
  ZrCmdPackUnpack response("r");
  response.SetText("<air><i0>" + body + "</i0>\n</air>\n");
  return response;
}

}  // namespace

TEST(ZrHostReply, ReturnCodeOtherThanOkBecomesTheError) {
  ZrCmdPackUnpack a = Answer("<ReturnCode>Window is not found:3</ReturnCode>\n<count>4</count>\n");
  EXPECT_ZR_ERROR(ZrHostReply::Count(a), "Window is not found:3");
  ZrCmdPackUnpack b = Answer("<ReturnCode></ReturnCode>\n");
  EXPECT_ZR_ERROR(ZrHostReply::Open(b), "");
}

TEST(ZrHostReply, MissingValuesGiveTheDefaults) {
  ZrCmdPackUnpack a = Answer("<ReturnCode>ok</ReturnCode>\n");
  EXPECT_EQ(ZrHostReply::WindowId(a, -1), -1);
  ZrCmdPackUnpack b = Answer("");
  EXPECT_EQ(ZrHostReply::RegionId(b, 17), 17);
  ZrCmdPackUnpack c("r");
  c.SetText("<other></other>\n");
  EXPECT_EQ(ZrHostReply::Count(c), 0);
  ZrCmdPackUnpack d = Answer("");
  bool loaded = true, success = true;
  ZrHostReply::Loaded(d, loaded, success);
  EXPECT_TRUE(loaded);
  EXPECT_TRUE(success);
}

TEST(ZrHostReply, ValuesOfEachKindOfAnswer) {
  ZrCmdPackUnpack a =
      Answer("<ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>5</IDDocChildWindow>\n");
  EXPECT_EQ(ZrHostReply::WindowId(a, -1), 5);
  ZrCmdPackUnpack b =
      Answer("<isModeImage>true</isModeImage>\n<isModeSeries>true</isModeSeries>\n");
  EXPECT_TRUE(ZrHostReply::IsModeImage(b));
  ZrCmdPackUnpack c = Answer("<isModeSeries>true</isModeSeries>\n");
  EXPECT_TRUE(ZrHostReply::IsModeSeries(c));
  ZrCmdPackUnpack d = Answer("<key>REFHOST_1</key>\n");
  EXPECT_EQ(ZrHostReply::SharedMemoryKey(d), "REFHOST_1");
  ZrCmdPackUnpack e = Answer("<min>-1.5</min>\n<max>2</max>\n<average>0.25</average>\n");
  float mn = 0, mx = 0, av = 0;
  ZrHostReply::MinMaxAverage(e, mn, mx, av);
  EXPECT_EQ(mn, -1.5f);
  EXPECT_EQ(mx, 2.0f);
  EXPECT_EQ(av, 0.25f);
  ZrCmdPackUnpack f = Answer("<filenameUtf8>\xC3\xA9 &amp; b.tif</filenameUtf8>\n");
  EXPECT_EQ(ZrHostReply::FileName(f), "\xC3\xA9 & b.tif");
  ZrCmdPackUnpack g = Answer(
      "<ReturnCode>ok</ReturnCode>\n<isLoaded>true</isLoaded>\n<isSuccess>false</isSuccess>\n");
  bool loaded = false, success = true;
  ZrHostReply::Loaded(g, loaded, success);
  EXPECT_TRUE(loaded);
  EXPECT_FALSE(success);
  ZrCmdPackUnpack h =
      Answer("<SeriesKeyString><i0><key>k</key><val>v</val></i0></SeriesKeyString>");
  std::map<std::string, std::string> keys;
  ZrHostReply::KeyStrings(h, "SeriesKeyString", keys);
  EXPECT_EQ(keys, (std::map<std::string, std::string>{{"k", "v"}}));
}

TEST(ZrHostReply, BrokenTextFailsWhenLoaded) {
  ZrCmdPackUnpack response("r");
  EXPECT_ZR_ERROR(response.SetText("<air><i0><ReturnCode>ok</ReturnCode"), "Illigal Tag Structure");
}
