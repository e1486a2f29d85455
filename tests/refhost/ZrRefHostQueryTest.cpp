// Window, key, region and line queries against the reference host.
#include <gtest/gtest.h>

#include <tuple>

#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"

using ZrRefHostQuery = ZrRefHostFixture;

TEST_F(ZrRefHostQuery, WindowsFocusAndModes) {
  testing::internal::CaptureStdout();
  const int32_t a = host_.AddImageWindow(ZrFloatMatrix(2, 2));
  EXPECT_EQ(client_->WindowGetFocusedID(), a);
  const int32_t b = client_->ImageNewWindow();
  EXPECT_NE(a, b);
  EXPECT_EQ(client_->WindowGetFocusedID(), b);  // a new window takes the focus
  host_.SetFocus(a);
  EXPECT_EQ(client_->WindowGetFocusedID(), a);
  EXPECT_TRUE(client_->GetIsModeImage(a));
  EXPECT_FALSE(client_->GetIsModeSeries(a));
  EXPECT_FALSE(client_->GetIsModeImage(12345));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ImageNewWindow()\n");
  // A series window's mode is checked before anything is sent.
  const size_t before = host_.Requests().size();
  EXPECT_ZR_ERROR(client_->SeriesNewWindow("/tmp", "Image"), "Error:Please set right windowMode");
  EXPECT_ZR_ERROR(client_->SeriesNewWindow("/tmp", ""), "Error:Please set right windowMode");
  EXPECT_EQ(host_.Requests().size(), before);
}

TEST_F(ZrRefHostQuery, KeyMapsWithCharactersNeedingEscapes) {
  const int32_t id = client_->ImageNewWindow();
  const std::map<std::string, double> doubles = {
      {"a<b>", 0.5}, {"a & b", -1.25e10}, {"\"q\"", 3}, {"plain", 0}};
  const std::map<std::string, std::string> strings = {
      {"log", "<app><name>x</name>\n</app>\n"}, {"k&", "v < w > \"z\" & 'y'"}, {"e", ""}};
  client_->ImageKeyDoubleSet(id, doubles);
  client_->ImageKeyStringSet(id, strings);
  std::map<std::string, double> d = {{"stale", 1}};
  std::map<std::string, std::string> s;
  client_->ImageKeyDoubleGet(id, d);
  client_->ImageKeyStringGet(id, s);
  EXPECT_EQ(std::make_pair(d, s), std::make_pair(doubles, strings));
  ZrRefHostWindow window;
  ASSERT_TRUE(host_.GetWindow(id, window));
  EXPECT_EQ(window.KeyString, strings);
  client_->ImageKeyStringSet(id, {});
  client_->ImageKeyStringGet(id, s);
  EXPECT_TRUE(s.empty());
}

TEST_F(ZrRefHostQuery, RegionsRoundTripAndStatistics) {
  ZrFloatMatrix image(10, 6);
  image.SetBegin(-2, 1);
  for (int32_t y = 1; y < 7; ++y) {
    for (int32_t x = -2; x < 8; ++x) image(x, y) = static_cast<float>(x + 10 * y);
  }
  const int32_t id = host_.AddImageWindow(image);
  const ZrRegion box{"RECTANGLE", 1, 3, 2, 2, {255, 0, 7}, false, "box <1>"};  // x 0..2, y 2..4
  const int32_t r1 = client_->RegionAdd(id, box);
  const int32_t r2 = client_->RegionAdd(id, {"ELLIPSE", 5, 5, 0.5f, 0.5f, {}, true, ""});
  ZrLongMatrix ids;
  client_->RegionGetIDList(id, ids, true);
  EXPECT_EQ(std::make_pair(ids.ColSize, std::vector<int32_t>(ids.Data, ids.Data + ids.Count())),
            std::make_pair(1, std::vector<int32_t>({r1, r2})));
  EXPECT_NE(r1, r2);
  ZrRegion back;
  client_->RegionGet(id, r1, back);
  EXPECT_EQ(std::make_tuple(back.regionType, back.cx, back.cy, back.w, back.h, back.color.r,
                            back.color.b, back.isMovable, back.name),
            std::make_tuple(box.regionType, 1.0f, 3.0f, 2.0f, 2.0f, 255, 7, false, box.name));
  float mn = 0, mx = 0, avg = 0;
  client_->RegionGetIMinMaxAverage(id, r1, mn, mx, avg);
  // (0, 2) .. (2, 4)
  EXPECT_EQ(std::vector<float>({mn, mx, avg}), std::vector<float>({20, 42, 31}));
  client_->RegionGetIMinMaxAverage(id, r2, mn, mx, avg);
  EXPECT_EQ(std::vector<float>({mn, mx, avg}), std::vector<float>({55, 55, 55}));
  EXPECT_ZR_ERROR(client_->RegionGetIMinMaxAverage(id, 999, mn, mx, avg),
                  "Region is not found:999");
  client_->RegionClear(id);
  client_->RegionGetIDList(id, ids);
  EXPECT_EQ(ids.RowSize, 0);
}

TEST_F(ZrRefHostQuery, LinesAreKeptWithTheirProperties) {
  const int32_t id = client_->ImageNewWindow();
  const int32_t l1 = client_->LineAdd(id, 1.5f, 2, 3, 4.25f, 0.5f, {9, 8, 7}, true, "a&b");
  const int32_t l2 = client_->LineAdd(id, 0, 0, 0, 0, 1, {}, false, "");
  ZrLongMatrix ids;
  client_->LineGetIDList(id, ids);
  EXPECT_EQ(std::vector<int32_t>(ids.Data, ids.Data + ids.Count()), std::vector<int32_t>({l1, l2}));
  ZrRefHostWindow window;
  ASSERT_TRUE(host_.GetWindow(id, window));
  const ZrRefHostLine& l = window.Lines.at(l1);
  EXPECT_EQ(
      std::make_tuple(l.X0, l.Y0, l.X1, l.Y1, l.Width, l.Color.r, l.Color.b, l.IsMovable, l.Name),
      std::make_tuple(1.5f, 2.0f, 3.0f, 4.25f, 0.5f, 9, 7, true, "a&b"));
}
