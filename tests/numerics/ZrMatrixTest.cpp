// Matrix family: shapes, checked access, the FastReturn transfer, vectors and sums.
#include "numerics/ZrMatrix.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

template <class M>
class ZrMatrixTyped : public ::testing::Test {
 protected:
  using T = typename M::value_type;
  // A matrix whose element (x, y) holds 10 * (y - RowBegin) + (x - ColBegin).
  static M Numbered(int32_t cols, int32_t rows, int32_t colBegin = 0, int32_t rowBegin = 0) {
    M m(cols, rows);
    m.SetBegin(colBegin, rowBegin);
    for (int32_t y = 0; y < rows; ++y)
      for (int32_t x = 0; x < cols; ++x) m(colBegin + x, rowBegin + y) = T(10 * y + x);
    return m;
  }
  // Sizes and begins as one value.
  static auto Shape(const M& m) {
    return std::make_tuple(m.ColSize, m.RowSize, m.ColBegin, m.RowBegin);
  }
};

using AllMatrices = ::testing::Types<ZrFloatMatrix, ZrDoubleMatrix, ZrLongMatrix, ZrInt32Matrix,
                                     ZrLDoubleMatrix, ZrLComplexMatrix>;
TYPED_TEST_SUITE(ZrMatrixTyped, AllMatrices);

TYPED_TEST(ZrMatrixTyped, CheckedAccessUsesBeginsAndReportsRangeExactly) {
  using E = typename TypeParam::value_type;
  TypeParam empty;
  EXPECT_EQ(empty.Data, nullptr);
  EXPECT_ZR_ERROR(empty(0, 0),
                  "Matrix over range. access=(0,0) size=(0,0) begin=(0,0)FastReturn=false");
  TypeParam m = this->Numbered(10, 4);
  EXPECT_ZR_ERROR(m(10, 3),
                  "Matrix over range. access=(10,3) size=(10,4) begin=(0,0)FastReturn=false");
  TypeParam n = this->Numbered(3, 2, -5, 7);
  EXPECT_EQ(n(-3, 8), E(12));
  EXPECT_ZR_ERROR(n(-2, 7),
                  "Matrix over range. access=(-2,7) size=(3,2) begin=(-5,7)FastReturn=false");
  EXPECT_ZR_ERROR(n(-5, 6),
                  "Matrix over range. access=(-5,6) size=(3,2) begin=(-5,7)FastReturn=false");
  n.FastReturn = true;
  EXPECT_ZR_ERROR(n(0, 0),
                  "Matrix over range. access=(0,0) size=(3,2) begin=(-5,7)FastReturn=true");
}

TYPED_TEST(ZrMatrixTyped, CreateResizeAndTheirErrors) {
  EXPECT_ZR_ERROR(TypeParam(-1, 5), "matrix creation Parameter Error");
  EXPECT_ZR_ERROR(TypeParam(5, -1), "matrix creation Parameter Error");
  TypeParam m(2, 2);
  m.SetBegin(4, 4);
  EXPECT_ZR_ERROR(m.Create(-1, 5), "Matrix Parameter Error");
  EXPECT_EQ(m.ColBegin, 0);  // begins were already reset when Resize refused
  EXPECT_ZR_ERROR(m.Create(-1, -1), "matrix creation Parameter Error");
  EXPECT_ZR_ERROR(m.Resize(3, -2), "Matrix Parameter Error");
  EXPECT_EQ(m.ColSize, 2);

  // Same element count: storage and contents kept, begins kept.
  TypeParam r = this->Numbered(3, 8, 2, -1);
  auto* data = r.Data;
  r.Resize(8, 3);
  EXPECT_EQ(r.Data, data);
  EXPECT_EQ(this->Shape(r), std::make_tuple(8, 3, 2, -1));
  EXPECT_EQ(r.Data[9], typename TypeParam::value_type(30));
  r.Resize(0, 5);
  EXPECT_EQ(std::make_pair(r.Data, r.RowSize), std::make_pair(decltype(r.Data){}, 5));
  r.Create(4, 6);
  EXPECT_EQ(this->Shape(r), std::make_tuple(4, 6, 0, 0));
}

TYPED_TEST(ZrMatrixTyped, CopiesDuplicateAndFastReturnSourcesAreTakenOver) {
  using E = typename TypeParam::value_type;
  TypeParam a = this->Numbered(4, 3, 1, 2);
  TypeParam b(a);
  EXPECT_NE(b.Data, a.Data);
  EXPECT_EQ(b(4, 4), E(23));
  TypeParam c(7, 7);
  c = a;
  EXPECT_EQ(this->Shape(c), this->Shape(a));
  EXPECT_EQ(c(1, 2), E(0));

  // A FastReturn source hands its array over once; the emptied source keeps its begins.
  TypeParam src = this->Numbered(3, 2, -4, 9);
  auto* data = src.Data;
  TypeParam first = ZrReturnFast(src);
  EXPECT_EQ(std::make_tuple(first.Data, first.FastReturn, src.Data),
            std::make_tuple(data, false, decltype(data){}));
  EXPECT_EQ(this->Shape(src), std::make_tuple(0, 0, -4, 9));
  EXPECT_EQ(this->Shape(TypeParam(src)), std::make_tuple(0, 0, -4, 9));

  // Assignment from a FastReturn source takes the array as well.
  TypeParam fast = this->Numbered(2, 5, 3, 3);
  data = fast.Data;
  fast.FastReturn = true;
  TypeParam target(9, 9);
  target.FastReturn = true;
  target = fast;
  EXPECT_EQ(std::make_tuple(target.Data, target.FastReturn, target.ColBegin, fast.Data),
            std::make_tuple(data, false, 3, decltype(data){}));
}

TYPED_TEST(ZrMatrixTyped, VectorAccessFollowsShape) {
  using E = typename TypeParam::value_type;
  EXPECT_EQ(TypeParam().VectorBegin(), 0);
  TypeParam column = this->Numbered(1, 4, 7, -2);
  EXPECT_EQ(std::make_pair(column.VectorBegin(), column.VectorSize()), std::make_pair(-2, 4));
  EXPECT_EQ(column.Vector(0), E(20));
  EXPECT_ZR_ERROR(column.Vector(2),
                  "Matrix over range. access=(7,2) size=(1,4) begin=(7,-2)FastReturn=false");
  TypeParam row = this->Numbered(4, 1, -3, 0);
  EXPECT_EQ(std::make_pair(row.VectorBegin(), row.VectorSize()), std::make_pair(-3, 4));
  EXPECT_EQ(row.Vector(-1), E(2));
  EXPECT_EQ(this->Numbered(1, 1, 2, 5).VectorBegin(), 5);  // a column: ColSize is tested first
  TypeParam square = this->Numbered(2, 2);
  EXPECT_ZR_ERROR(square.Vector(0), "This is not vector");
  EXPECT_ZR_ERROR(square.VectorBegin(), "This is not vector");
}

TYPED_TEST(ZrMatrixTyped, SubIntegralChecksBoundsBeforeHeight) {
  using Sum = typename ZrMatrixSum<typename TypeParam::value_type>::type;
  TypeParam m = this->Numbered(4, 3, -1, 1);
  // The whole matrix 6 + 46 + 86, an inner square 11 + 12 + 21 + 22, nothing of height or width 0.
  EXPECT_EQ((std::vector<Sum>{m.SubIntegralMatrix(-1, 1, 4, 3), m.SubIntegralMatrix(0, 2, 2, 2),
                              m.SubIntegralMatrix(0, 1, 2, 0), m.SubIntegralMatrix(0, 1, 0, 2)}),
            (std::vector<Sum>{Sum(138), Sum(66), Sum(0), Sum(0)}));
  EXPECT_ZR_ERROR(m.SubIntegralMatrix(0, 1, 4, 0), "SubIntegralMatrixError");
  EXPECT_ZR_ERROR(m.SubIntegralMatrix(-2, 1, 1, 1), "SubIntegralMatrixError");
  EXPECT_ZR_ERROR(m.SubIntegralMatrix(-1, 0, 1, 1), "SubIntegralMatrixError");
  EXPECT_ZR_ERROR(m.SubIntegralMatrix(-1, 2, 1, 3), "SubIntegralMatrixError");
}

TEST(ZrMatrix, AllocationFailureLeavesMatrixEmpty) {
  ZrLDoubleMatrix m(2, 2);
  // 2^31-1 squared long doubles can never be allocated.
  EXPECT_ZR_ERROR(m.Resize(2147483647, 2147483647), "Cannot Get Memory");
  EXPECT_EQ(std::make_tuple(m.Data, m.ColSize, m.RowSize), std::make_tuple(nullptr, 0, 0));
}

}  // namespace
