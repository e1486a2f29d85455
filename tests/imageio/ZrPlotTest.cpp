// Line charts: the picture's size, where a line is drawn, refusals.
#include "imageio/ZrPlot.h"

#include <gtest/gtest.h>

#include <QImage>

#include "tests/common/ZrTestUtil.h"

namespace {

TEST(ZrPlot, PanelsStackAndLinesLandOnTheirData) {
  ZrPlotPanel flat;
  flat.Title = "flat";
  flat.Series = {{"level", {0, 10}, {5, 5}, 0xFF0000, false}};
  ZrPlotPanel empty;  // nothing to draw: axes left out, the panel's place kept
  const std::string png = ZrPlotPng({flat, empty}, 400, 200);
  QImage picture;
  ASSERT_TRUE(picture.loadFromData(reinterpret_cast<const uchar*>(png.data()),
                                   static_cast<int>(png.size()), "PNG"));
  EXPECT_EQ(picture.size(), QSize(400, 400));
  // A flat line sits in the middle of its panel's plot area (from 36 to 148 pixels down).
  int red = 0;
  for (int y = 0; y < 200; ++y) {
    const QRgb c = picture.pixel(250, y);
    if (qRed(c) > 200 && qGreen(c) < 80) red = y;
  }
  EXPECT_NEAR(red, (36 + 148) / 2, 2);
  for (int y = 200; y < 400; ++y) ASSERT_NE(picture.pixel(250, y), qRgb(255, 0, 0)) << y;
  EXPECT_ZR_ERROR(ZrPlotPng({}),
                  "Plot: a picture needs a panel and at least 200 x 120 pixels "
                  "for each");
}

}  // namespace
