// The pure image operations of the RFA chain: roll, division, masks.
#include "rfa/RfaImageOps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix Numbered(int32_t cols, int32_t rows, int32_t colBegin = 0, int32_t rowBegin = 0) {
  ZrFloatMatrix m(cols, rows);
  m.SetBegin(colBegin, rowBegin);
  for (int64_t i = 0; i < m.Count(); ++i) m.Data[i] = static_cast<float>(i + 1);
  return m;
}

int32_t Wrap(int64_t v, int32_t n) {
  return static_cast<int32_t>(((v % n) + n) % n);
}

struct RollCase {
  const char* name;
  int32_t cols, rows, colBegin, rowBegin;
  double sx, sy;
  int32_t dx, dy;  // the expected roll, worked out by hand from trunc(size / 2 - centre)
};

class RfaMoveToCenterRoll : public testing::TestWithParam<RollCase> {};

TEST_P(RfaMoveToCenterRoll, RollsCyclicallyKeepingShape) {
  const RollCase& c = GetParam();
  const ZrFloatMatrix source = Numbered(c.cols, c.rows, c.colBegin, c.rowBegin);
  ZrFloatMatrix image = source;
  RfaMoveToCenter(image, c.sx, c.sy);
  ASSERT_EQ(image.ColSize, c.cols);
  ASSERT_EQ(image.RowSize, c.rows);
  EXPECT_EQ(image.ColBegin, c.colBegin);
  EXPECT_EQ(image.RowBegin, c.rowBegin);
  for (int32_t y = 0; y < c.rows; ++y) {
    for (int32_t x = 0; x < c.cols; ++x) {
      const float moved = source(c.colBegin + x, c.rowBegin + y);
      const int32_t tx = c.colBegin + Wrap(x + c.dx, c.cols);
      const int32_t ty = c.rowBegin + Wrap(y + c.dy, c.rows);
      ASSERT_EQ(image(tx, ty), moved) << "from (" << x << "," << y << ")";
    }
  }
}

const RollCase kRollCases[] = {
    {"Unmoved", 8, 6, 0, 0, 4.0, 3.0, 0, 0},
    {"RightDown", 8, 6, 0, 0, 2.7, 1.2, 1, 1},
    {"LeftUpTruncatesTowardZero", 8, 6, 0, 0, 5.9, 4.99, -1, -1},
    {"OddSizesDivideDown", 7, 5, 0, 0, 1.0, 0.0, 2, 2},
    {"WrapsBeyondTheExtent", 8, 6, 0, 0, -20.5, 30.0, 24, -27},
    {"BeginsPlayNoPart", 8, 6, -3, 10, 2.0, 1.0, 2, 2},
    {"SingleColumn", 1, 5, 0, 0, 7.0, 0.5, -7, 1},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaMoveToCenterRoll, testing::ValuesIn(kRollCases), ZrCaseName());

TEST(RfaMoveToCenter, RefusesNonFiniteCentreAndIgnoresEmptyImage) {
  ZrFloatMatrix image = Numbered(4, 4);
  EXPECT_ZR_ERROR(RfaMoveToCenter(image, std::numeric_limits<double>::quiet_NaN(), 1.0),
                  "Move to center: screen centre is not a finite number");
  EXPECT_ZR_ERROR(RfaMoveToCenter(image, 1.0, std::numeric_limits<double>::infinity()),
                  "Move to center: screen centre is not a finite number");
  ZrFloatMatrix empty;
  RfaMoveToCenter(empty, 3.0, 3.0);
  EXPECT_TRUE(empty.IsEmpty());
}

TEST(RfaDivideByBackground, DividesAndGivesZeroWhereBackgroundIsZero) {
  ZrFloatMatrix image(3, 2);
  ZrFloatMatrix background(3, 2);
  image.SetBegin(2, -1);
  background.SetBegin(2, -1);
  const float pixels[] = {6.0f, 0.0f, -3.0f, 5.0f, 1.0f, 0.0f};
  const float bg[] = {2.0f, 4.0f, 0.0f, 0.0f, -0.0f, 0.5f};
  std::copy(pixels, pixels + 6, image.Data);
  std::copy(bg, bg + 6, background.Data);
  const ZrFloatMatrix q = RfaDivideByBackground(image, background);
  EXPECT_EQ(q.ColBegin, 2);
  EXPECT_EQ(q.RowBegin, -1);
  const float expected[] = {3.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(q.Data[i], expected[i]) << i;
}

struct ShapeCase {
  const char* name;
  int32_t cols, rows, colBegin, rowBegin;
  const char* message;
};

class RfaDivideByBackgroundShape : public testing::TestWithParam<ShapeCase> {};

TEST_P(RfaDivideByBackgroundShape, RefusesOtherShape) {
  const ShapeCase& c = GetParam();
  const ZrFloatMatrix image = Numbered(4, 3, 1, 2);
  const ZrFloatMatrix background = Numbered(c.cols, c.rows, c.colBegin, c.rowBegin);
  EXPECT_ZR_ERROR(RfaDivideByBackground(image, background), c.message);
}

const ShapeCase kShapeCases[] = {
    {"Columns", 3, 3, 1, 2, "ColSize or RowSize is different"},
    {"Rows", 4, 4, 1, 2, "ColSize or RowSize is different"},
    {"Transposed", 3, 4, 1, 2, "ColSize or RowSize is different"},
    {"ColBegin", 4, 3, 0, 2, "ColBegin is different"},
    {"RowBegin", 4, 3, 1, 0, "RowBegin is different"},
    {"SizeBeforeBegin", 5, 3, 0, 0, "ColSize or RowSize is different"},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaDivideByBackgroundShape, testing::ValuesIn(kShapeCases),
                         ZrCaseName());

struct DipCase {
  const char* name;
  int32_t colBegin, rowBegin;
  double cx, cy, r;
};

class RfaMaskMcpDipDisc : public testing::TestWithParam<DipCase> {};

// Independent check: a pixel is cleared exactly when its distance from the centre is at most
// r + 0.5 > 0 (the cases avoid distances within float rounding of that limit).
TEST_P(RfaMaskMcpDipDisc, ZeroesTheDiscOnly) {
  const DipCase& c = GetParam();
  ZrFloatMatrix image = Numbered(12, 10, c.colBegin, c.rowBegin);
  const ZrFloatMatrix source = image;
  RfaMaskMcpDip(image, c.cx, c.cy, c.r);
  int cleared = 0;
  for (int32_t y = c.rowBegin; y < c.rowBegin + 10; ++y) {
    for (int32_t x = c.colBegin; x < c.colBegin + 12; ++x) {
      // A radius of exactly 0 divides 0 by 0 at the centre: nothing is inside.
      const bool inside = c.r + 0.5 > 0.0 && std::hypot(x - c.cx, y - c.cy) <= c.r + 0.5 + 1e-9;
      EXPECT_EQ(image(x, y), inside ? 0.0f : source(x, y)) << "(" << x << "," << y << ")";
      cleared += inside ? 1 : 0;
    }
  }
  RecordProperty("cleared", cleared);
}

const DipCase kDipCases[] = {
    {"RadiusZeroClearsCentrePixel", 0, 0, 5.0, 4.0, 0.0},
    {"RadiusZeroOffPixel", 0, 0, 5.3, 4.2, 0.0},
    {"RadiusZeroBetweenTwoPixels", 0, 0, 5.5, 4.0, 0.0},
    {"Radius3", 0, 0, 6.0, 5.0, 3.0},
    {"FractionalCentre", 0, 0, 6.4, 4.7, 2.5},
    {"CrossesTopLeftCorner", 0, 0, 0.5, -1.0, 3.0},
    {"CentreOutsideImage", 0, 0, 14.0, 5.0, 3.0},
    {"FarOutside", 0, 0, -50.0, 300.0, 4.0},
    {"NegativeBegins", -6, -3, -1.0, 1.0, 2.0},
    {"NegativeRadiusClearsNothing", 0, 0, 5.0, 4.0, -1.0},
    {"RadiusMinusHalfClearsNothing", 0, 0, 5.0, 4.0, -0.5},
    {"CoversEverything", 2, 1, 8.0, 6.0, 100.0},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaMaskMcpDipDisc, testing::ValuesIn(kDipCases), ZrCaseName());

TEST(RfaMaskMcpDip, NonFiniteParametersClearNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const double* p : {&nan, &inf}) {
    ZrFloatMatrix image = Numbered(6, 6);
    const ZrFloatMatrix source = image;
    RfaMaskMcpDip(image, *p, 3.0, 2.0);
    RfaMaskMcpDip(image, 3.0, *p, 2.0);
    RfaMaskMcpDip(image, 3.0, 3.0, *p);
    for (int64_t i = 0; i < image.Count(); ++i) ASSERT_EQ(image.Data[i], source.Data[i]);
  }
}

struct OutsideCase {
  const char* name;
  int32_t cols, rows, colBegin, rowBegin;
  double cx, cy, rx, ry;
};

class RfaMaskOutsideEllipse : public testing::TestWithParam<OutsideCase> {};

// Independent check: columns within the row extent are cleared outside the ellipse of radii
// r + 0.5; columns beyond it are left alone; radii of -0.5 or less switch the mask off.
TEST_P(RfaMaskOutsideEllipse, ZeroesOutsideWithinRowExtent) {
  const OutsideCase& c = GetParam();
  ZrFloatMatrix image = Numbered(c.cols, c.rows, c.colBegin, c.rowBegin);
  const ZrFloatMatrix source = image;
  RfaMaskOutside(image, c.cx, c.cy, c.rx, c.ry);
  const double ax = c.rx + 0.5;
  const double ay = c.ry + 0.5;
  for (int32_t y = c.rowBegin; y < c.rowBegin + c.rows; ++y) {
    for (int32_t x = c.colBegin; x < c.colBegin + c.cols; ++x) {
      const bool on = ax > 0 && ay > 0;
      const bool reached = x < c.rowBegin + c.rows;
      const double e = (x - c.cx) * (x - c.cx) / (ax * ax) + (y - c.cy) * (y - c.cy) / (ay * ay);
      const bool cleared = on && reached && e > 1.0;
      EXPECT_EQ(image(x, y), cleared ? 0.0f : source(x, y)) << "(" << x << "," << y << ")";
    }
  }
}

const OutsideCase kOutsideCases[] = {
    {"Circle", 11, 11, 0, 0, 5.0, 5.0, 3.0, 3.0},
    {"Ellipse", 12, 12, 0, 0, 6.5, 5.0, 4.0, 2.0},
    {"RadiusXZeroKeepsCentreColumn", 9, 9, 0, 0, 4.0, 4.0, 0.0, 10.0},
    {"RadiusXMinusHalfIsOff", 9, 9, 0, 0, 4.0, 4.0, -0.5, 3.0},
    {"RadiusYNegativeIsOff", 9, 9, 0, 0, 4.0, 4.0, 3.0, -2.0},
    {"WideImageKeepsColumnsBeyondRowExtent", 14, 8, 0, 0, 4.0, 4.0, 2.0, 2.0},
    {"EqualBeginsSquare", 8, 8, 3, 3, 7.0, 7.0, 2.0, 3.0},
    {"LargeEllipseClearsNothing", 10, 10, 0, 0, 5.0, 5.0, 100.0, 100.0},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaMaskOutsideEllipse, testing::ValuesIn(kOutsideCases),
                         ZrCaseName());

TEST(RfaMaskOutside, TallImageRaisesRangeErrorAtFirstColumnBeyondTheMatrix) {
  ZrFloatMatrix image = Numbered(4, 6);
  EXPECT_ZR_ERROR(RfaMaskOutside(image, 1.0, 1.0, 0.0, 0.0),
                  "Matrix over range. access=(4,0) size=(4,6) begin=(0,0)FastReturn=false");
  // Row 0 lies wholly outside the ellipse and was cleared up to the failing column; the rows
  // after it were never reached.
  for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(image(x, 0), 0.0f) << x;
  EXPECT_EQ(image(1, 1), 6.0f);
}

TEST(RfaMaskOutside, TallImageInsideEllipseRaisesNothing) {
  // Columns 4 and 5 of a 4 x 6 image are visited but lie inside the ellipse: no access.
  ZrFloatMatrix image = Numbered(4, 6);
  RfaMaskOutside(image, 2.0, 2.5, 50.0, 50.0);
  EXPECT_EQ(image(3, 5), 24.0f);
}

}  // namespace
