// Matrix operators: element-wise arithmetic and its shape checks, the product, weighted
// averages, median and mask-edge smoothing, vector helpers and the LU solver.
#include "numerics/ZrMatrixOperator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/common/ZrTestUtil.h"

namespace {

template <class M = ZrFloatMatrix>
M FromRows(std::initializer_list<std::initializer_list<typename M::value_type>> rows,
           int32_t colBegin = 0, int32_t rowBegin = 0) {
  M m(static_cast<int32_t>(rows.begin()->size()), static_cast<int32_t>(rows.size()));
  m.SetBegin(colBegin, rowBegin);
  int32_t y = 0;
  for (const auto& row : rows) {
    int32_t x = 0;
    for (auto v : row) m(colBegin + x++, rowBegin + y) = v;
    ++y;
  }
  return m;
}

ZrFloatMatrix Filled(int32_t w, int32_t h, float v, int32_t colBegin = 0, int32_t rowBegin = 0) {
  ZrFloatMatrix m(w, h);
  m.SetBegin(colBegin, rowBegin);
  m.Fill(v);
  return m;
}

TEST(ZrMatrixOperatorArithmetic, ElementWiseValuesAndShapeChecks) {
  using Op = ZrFloatMatrix (*)(const ZrFloatMatrix&, const ZrFloatMatrix&);
  const std::pair<const char*, Op> ops[] = {
      {"-", [](const ZrFloatMatrix& a, const ZrFloatMatrix& b) { return a - b; }},
      {"+", [](const ZrFloatMatrix& a, const ZrFloatMatrix& b) { return a + b; }},
      {"Multiply", &ZrMatrixOperator::Multiply<float, ZrPlainMatrixTag>},
      {"Divide", &ZrMatrixOperator::Divide<float, ZrPlainMatrixTag>}};
  // Every element-wise binary operation refuses other shapes with the same-shape texts, in order.
  const ZrFloatMatrix a = Filled(3, 2, 1.0f, 4, 5);
  for (const auto& [name, op] : ops) {
    SCOPED_TRACE(name);
    EXPECT_ZR_ERROR(op(a, Filled(2, 3, 1.0f, 4, 5)), "ColSize or RowSize is different");
    EXPECT_ZR_ERROR(op(a, Filled(3, 2, 1.0f, 0, 0)), "ColBegin is different");
    EXPECT_ZR_ERROR(op(a, Filled(3, 2, 1.0f, 4, 0)), "RowBegin is different");
    const ZrFloatMatrix r = op(a, Filled(3, 2, 2.0f, 4, 5));
    EXPECT_EQ(r.RowBegin, 5);
    EXPECT_FALSE(r.FastReturn);
  }
  const ZrFloatMatrix p = FromRows({{1, 2}, {3, 4}}, -1, 2);
  const ZrFloatMatrix q = FromRows({{4, 3}, {2, 8}}, -1, 2);
  EXPECT_EQ((p - q)(-1, 2), -3.0f);
  EXPECT_EQ((p - q)(0, 3), -4.0f);
  EXPECT_EQ((p + q)(0, 2), 5.0f);
  EXPECT_EQ(ZrMatrixOperator::Multiply(p, q)(-1, 3), 6.0f);
  EXPECT_EQ(ZrMatrixOperator::Divide(p, q)(0, 3), 0.5f);
  EXPECT_EQ((p * 2.0f)(0, 3), 8.0f);
  EXPECT_EQ((2.0f * p)(-1, 2), 2.0f);
  EXPECT_EQ((p / 4.0f)(-1, 3), 0.75f);
  EXPECT_EQ((p + 1.0f)(0, 2), 3.0f);
  EXPECT_EQ((p - 1.0f)(0, 2), 1.0f);
}

TEST(ZrMatrixOperatorProduct, RowByColumnInSharedCoordinates) {
  const ZrLDoubleMatrix a = FromRows<ZrLDoubleMatrix>({{1, 2, 3}, {4, 5, 6}}, 1, 0);
  ZrLDoubleMatrix b = FromRows<ZrLDoubleMatrix>({{1}, {-1}, {2}}, 0, 1);  // rows 1..3
  const ZrLDoubleMatrix r = a * b;
  EXPECT_EQ(std::make_tuple(r.ColSize, r.RowSize, r.ColBegin, r.RowBegin,
                            std::vector<long double>(r.Data, r.Data + r.Count())),
            std::make_tuple(1, 2, 0, 0, std::vector<long double>{1 - 2 + 6, 4 - 5 + 12}));

  b.Resize(1, 2);
  EXPECT_ZR_ERROR(a * b, "Matrix * operation: Size Illigal");
  b.Create(1, 3);
  EXPECT_ZR_ERROR(a * b, "Matrix * operation: begin err");
}

TEST(ZrMatrixOperatorWeightedAverage, MessagesWeightsAndZeroWeights) {
  const ZrFloatMatrix one = Filled(2, 2, 1.0f);
  EXPECT_ZR_ERROR(ZrMatrixOperator::WeightedAverage({one}, {}),
                  "ERROR: Size of ListImage and ListWeight is not same");
  EXPECT_ZR_ERROR(ZrMatrixOperator::WeightedAverage({}, {}), "ERROR: Size of ListImage is Zero");
  EXPECT_ZR_ERROR(ZrMatrixOperator::WeightedAverage({ZrFloatMatrix()}, {ZrFloatMatrix()}),
                  "ERROR: NO DATA");
  EXPECT_ZR_ERROR(ZrMatrixOperator::WeightedAverage({one, Filled(3, 1, 1.0f)}, {one, one}),
                  "ERROR:Image size is not same");
  EXPECT_ZR_ERROR(ZrMatrixOperator::WeightedAverage({one, one}, {one, Filled(1, 3, 1.0f)}),
                  "ERROR:Weight image size is not same");

  const ZrFloatMatrix a = FromRows({{2, 4}, {6, 8}}, 3, 1);
  const ZrFloatMatrix b = FromRows({{4, 0}, {0, 1}});
  const ZrFloatMatrix wa = FromRows({{1, 1}, {0, 3}});
  const ZrFloatMatrix wb = FromRows({{3, 0}, {0, 1}});
  const ZrFloatMatrix r = ZrMatrixOperator::WeightedAverage({a, b}, {wa, wb});
  EXPECT_EQ(r.RowBegin, 1);  // shape and origin of the first image
  EXPECT_EQ(r(3, 1), (2.0f * 1 + 4.0f * 3) / 4);
  EXPECT_EQ(r(3, 2), 0.0f);  // all weights 0
  EXPECT_EQ(r(4, 2), (8.0f * 3 + 1.0f) / 4);
  // Transposed shapes are combined in storage order.
  const ZrFloatMatrix wide = FromRows({{1, 2, 3, 4, 5, 6}});
  const ZrFloatMatrix tall = FromRows({{6}, {5}, {4}, {3}, {2}, {1}});
  const ZrFloatMatrix mixed =
      ZrMatrixOperator::WeightedAverage({wide, tall}, {Filled(6, 1, 1.0f), Filled(1, 6, 1.0f)});
  for (int32_t x = 0; x < 6; ++x) EXPECT_EQ(mixed(x, 0), 3.5f);
}

TEST(ZrMatrixOperatorMedian, RemovesSpikesRepeatsEdgesAndCountsZerosAsTheCentre) {
  EXPECT_ZR_ERROR(ZrMatrixOperator::MedianSmooth(Filled(3, 3, 1.0f), false, 4),
                  "Please set pix=3 or 5");
  const ZrFloatMatrix m = FromRows({{1, 2, 3, 4}, {5, 100, 7, 8}, {9, 10, 11, 12}});
  const ZrFloatMatrix r3 = ZrMatrixOperator::MedianSmooth(m, false, 3);
  EXPECT_EQ(r3(1, 1), 7.0f);  // {1,2,3,5,100,7,9,10,11}
  EXPECT_EQ(r3(0, 0), 2.0f);  // {1,1,2,1,1,2,5,5,100}
  EXPECT_EQ(ZrMatrixOperator::MedianSmooth(m, false, 5)(3, 2), 11.0f);
  EXPECT_EQ(ZrMatrixOperator::MedianSmooth(Filled(1, 1, 3.5f), false, 5)(0, 0), 3.5f);
  ZrFloatMatrix dot = Filled(5, 5, 0.0f, 10, 20);
  dot(12, 22) = 9.0f;
  for (bool ignoreZero : {false, true}) {
    const ZrFloatMatrix r = ZrMatrixOperator::MedianSmooth(dot, ignoreZero, 3);
    EXPECT_EQ(r(12, 22), 9.0f);
    EXPECT_EQ(r(11, 21), 0.0f);  // centre 0: every zero neighbour counts as 0 too
    EXPECT_EQ(r.ColBegin, 10);
  }
}

TEST(ZrMatrixOperatorMaskEdge, RampsOverCountPixels) {
  EXPECT_ZR_ERROR(ZrMatrixOperator::MaskMatrixSmoothZeroEdge(Filled(3, 3, 1.0f), 2, 2),
                  "ZrMatrixOperator::MaskMatrixSmoothZeroEdge():Undefined method.");
  ZrFloatMatrix mask = Filled(12, 3, 2.0f);
  for (int32_t y = 0; y < 3; ++y) mask(0, y) = 0.0f;
  const ZrFloatMatrix linear = ZrMatrixOperator::MaskMatrixSmoothZeroEdge(mask, 3, 0);
  const ZrFloatMatrix cosine = ZrMatrixOperator::MaskMatrixSmoothZeroEdge(mask, 3, 1);
  for (int32_t y = 0; y < 3; ++y) {
    EXPECT_EQ(linear(0, y), 0.0f);
    EXPECT_FLOAT_EQ(linear(1, y), 2.0f * 0.25f);
    EXPECT_FLOAT_EQ(linear(3, y), 2.0f * 0.75f);
    EXPECT_EQ(linear(11, y), 2.0f);  // the image border is not an edge
    EXPECT_FLOAT_EQ(cosine(1, y), static_cast<float>(2.0 * 0.5 * (1 - std::cos(M_PI / 4))));
  }
  EXPECT_EQ(ZrMatrixOperator::MaskMatrixSmoothZeroEdge(mask, 0, 1)(1, 1), 2.0f);
}

TEST(ZrMatrixOperatorVectors, HelpersAndTheirMessages) {
  const auto ld = [](std::initializer_list<std::initializer_list<long double>> rows,
                     int32_t colBegin = 0) { return FromRows<ZrLDoubleMatrix>(rows, colBegin); };
  const ZrLDoubleMatrix a = ld({{3}, {0}, {4}});
  const ZrLDoubleMatrix row = ld({{0, 1, 0}}, 5);
  EXPECT_EQ(ZrMatrixOperator::InnerProduct(a, row), 0);
  EXPECT_EQ(ZrMatrixOperator::VectorLength(a), 5);
  const ZrLDoubleMatrix n = ZrMatrixOperator::NormalVector(a);
  const ZrLDoubleMatrix c = ZrMatrixOperator::CrossProduct(ld({{1}, {0}, {0}}), row);
  // x cross y = z
  EXPECT_EQ(std::vector<long double>({n(0, 0), n(0, 1), n(0, 2), c(0, 0), c(0, 1), c(0, 2)}),
            std::vector<long double>({3 / 5.0L, 0, 4 / 5.0L, 0, 0, 1}));
  EXPECT_ZR_ERROR(ZrMatrixOperator::NormalVector(ld({{0}, {0}})), "normal vector length is zero");
  EXPECT_ZR_ERROR(ZrMatrixOperator::InnerProduct(a, ld({{1}, {2}})), "SizeDifferent");
  EXPECT_ZR_ERROR(ZrMatrixOperator::CrossProduct(a, ld({{1}, {2}})), "Parameter Error");
  EXPECT_ZR_ERROR(ZrMatrixOperator::VectorLength(ZrLDoubleMatrix(2, 2)), "This is not vector");
}

// A fixed-seed random diagonally dominant matrix: no pivoting is needed.
ZrLDoubleMatrix DominantMatrix(int32_t n, int32_t begin, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  ZrLDoubleMatrix a(n, n);
  a.SetBegin(begin, begin);
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < n; ++j) a(begin + j, begin + i) = u(random) + (i == j ? n : 0);
  return a;
}

TEST(ZrLuInverse, TimesTheMatrixIsTheIdentityFromAnyBegin) {
  for (const auto& [n, b] :
       {std::pair{1, 0}, std::pair{2, 4}, std::pair{7, -2}, std::pair{36, 0}}) {
    const ZrLDoubleMatrix a = DominantMatrix(n, b, 17u + n);
    const ZrLDoubleMatrix product = a * ZrMatrixOperator::LuInverse(a);
    for (int32_t i = b; i < b + n; ++i)
      for (int32_t j = b; j < b + n; ++j)
        EXPECT_NEAR(static_cast<double>(product(j, i)), i == j ? 1.0 : 0.0, 1e-15)
            << n << ": " << i << "," << j;
  }
  // Crout without pivoting: the row index is the identity from the matrix's begin.
  ZrLDoubleMatrix lu = DominantMatrix(5, -2, 3);
  ZrLongMatrix index;
  ZrMatrixOperator::LuDecomposition(lu, index);
  ASSERT_EQ(std::make_pair(index.ColSize, index.RowSize), std::make_pair(1, 5));
  for (int32_t i = -2; i < 3; ++i) EXPECT_EQ(index(index.ColBegin, i), i);
}

TEST(ZrLuDecomposition, OnlyAZeroRowIsSingular) {
  ZrLDoubleMatrix a = FromRows<ZrLDoubleMatrix>({{1, 1, 1}, {0, 0, 0}, {1, 1, 1}});
  ZrLongMatrix index;
  EXPECT_ZR_ERROR(ZrMatrixOperator::LuDecomposition(a, index),
                  "Sirngular matrirx irn routirne luExtractiron");
  EXPECT_ZR_ERROR(ZrMatrixOperator::LuInverse(a), "Sirngular matrirx irn routirne luExtractiron");
  // A singular matrix without a zero row: its zero pivot is replaced by 1e-20, so the
  // inverse has huge entries instead of failing.
  const ZrLDoubleMatrix ones = FromRows<ZrLDoubleMatrix>({{1, 1}, {1, 1}});
  ZrLDoubleMatrix lu(ones);
  ZrMatrixOperator::LuDecomposition(lu, index);
  EXPECT_EQ(lu(1, 1), 1e-20L);
  EXPECT_EQ(lu(0, 1), 1);  // unit lower factor
  EXPECT_GT(std::fabs(ZrMatrixOperator::LuInverse(ones)(0, 0)), 1e19L);
}

}  // namespace
