// Whole-matrix arithmetic and image operators: element-wise operators, the matrix product,
// weighted averages, median and mask-edge smoothing, vector helpers and the LU solver.
#pragma once

#include <cstdint>
#include <vector>

#include "numerics/ZrMatrix.h"

// Element-wise operators check that both operands have the same shape and origin (sizes,
// then ColBegin, then RowBegin) and return a result with that shape, begins and FastReturn set.
// operator* between two matrices is the matrix product, not an element-wise product; see
// ZrMatrixOperator::Multiply for the latter.

template <typename T, typename Tag>
ZrMatrix<T, Tag> operator-(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b) {
  try {
    ZrCheckSameShape(a, b);
    ZrMatrix<T, Tag> r(a.ColSize, a.RowSize);
    r.SetBegin(a.ColBegin, a.RowBegin);
    const int64_t n = a.Count();
    for (int64_t k = 0; k < n; ++k) r.Data[k] = a.Data[k] - b.Data[k];
    return ZrReturnFast(r);
  } catch (const ZrError&) {
    throw;
  } catch (...) {
    throw ZrError("- operator Error");
  }
}

template <typename T, typename Tag>
ZrMatrix<T, Tag> operator+(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b) {
  ZrCheckSameShape(a, b);
  ZrMatrix<T, Tag> r(a.ColSize, a.RowSize);
  r.SetBegin(a.ColBegin, a.RowBegin);
  const int64_t n = a.Count();
  for (int64_t k = 0; k < n; ++k) r.Data[k] = a.Data[k] + b.Data[k];
  return ZrReturnFast(r);
}

// Applies op(element, s) to every element; the result keeps the shape and begins.
template <typename T, typename Tag, class Op>
ZrMatrix<T, Tag> ZrMapElements(const ZrMatrix<T, Tag>& a, Op op) {
  ZrMatrix<T, Tag> r(a.ColSize, a.RowSize);
  r.SetBegin(a.ColBegin, a.RowBegin);
  const int64_t n = a.Count();
  for (int64_t k = 0; k < n; ++k) r.Data[k] = op(a.Data[k]);
  return ZrReturnFast(r);
}

template <typename T, typename Tag>
ZrMatrix<T, Tag> operator+(const ZrMatrix<T, Tag>& a, const T& s) {
  return ZrMapElements(a, [&s](const T& v) { return T(v + s); });
}
template <typename T, typename Tag>
ZrMatrix<T, Tag> operator-(const ZrMatrix<T, Tag>& a, const T& s) {
  return ZrMapElements(a, [&s](const T& v) { return T(v - s); });
}
template <typename T, typename Tag>
ZrMatrix<T, Tag> operator*(const ZrMatrix<T, Tag>& a, const T& s) {
  return ZrMapElements(a, [&s](const T& v) { return T(v * s); });
}
template <typename T, typename Tag>
ZrMatrix<T, Tag> operator*(const T& s, const ZrMatrix<T, Tag>& a) {
  return ZrMapElements(a, [&s](const T& v) { return T(s * v); });
}
template <typename T, typename Tag>
ZrMatrix<T, Tag> operator/(const ZrMatrix<T, Tag>& a, const T& s) {
  return ZrMapElements(a, [&s](const T& v) { return T(v / s); });
}

// Matrix product: R(x, y) = sum over k of A(k, y) * B(x, k), k running over A's columns and
// B's rows in their shared begin-based coordinates, accumulated in the element type. The
// result has B's columns and A's rows, with B's ColBegin and A's RowBegin.
template <typename T, typename Tag>
ZrMatrix<T, Tag> operator*(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b) {
  try {
    if (b.RowSize != a.ColSize) throw ZrError("Matrix * operation: Size Illigal");
    if (a.ColBegin != b.RowBegin) throw ZrError("Matrix * operation: begin err");
    ZrMatrix<T, Tag> r(b.ColSize, a.RowSize);
    r.SetBegin(b.ColBegin, a.RowBegin);
    const int32_t inner = a.ColSize;
    for (int32_t y = 0; y < a.RowSize; ++y) {
      const T* aRow = a.Data + static_cast<int64_t>(y) * a.ColSize;
      for (int32_t x = 0; x < b.ColSize; ++x) {
        T sum = T();
        for (int32_t k = 0; k < inner; ++k)
          sum += aRow[k] * b.Data[x + static_cast<int64_t>(k) * b.ColSize];
        r.Data[x + static_cast<int64_t>(y) * r.ColSize] = sum;
      }
    }
    return ZrReturnFast(r);
  } catch (const ZrError&) {
    throw;
  } catch (...) {
    throw ZrError(" * operator Error");
  }
}

// Stateless collection of the image and linear-algebra operations.
class ZrMatrixOperator {
 public:
  // Element-wise product and quotient of two matrices of the same shape.
  template <typename T, typename Tag>
  static ZrMatrix<T, Tag> Multiply(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b) {
    return Combine(a, b, [](const T& u, const T& v) { return T(u * v); });
  }
  template <typename T, typename Tag>
  static ZrMatrix<T, Tag> Divide(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b) {
    return Combine(a, b, [](const T& u, const T& v) { return T(u / v); });
  }

  // Per-element weighted mean of images, in float: sum(I * W) / sum(W), 0 where sum(W) is 0.
  // Only element counts must agree; elements are combined in storage order.
  static ZrFloatMatrix WeightedAverage(const std::vector<ZrFloatMatrix>& images,
                                       const std::vector<ZrFloatMatrix>& weights);

  // Sets every not-a-number element to 0; infinities stay. Images are read this way from the
  // host and from files, so a NaN pixel counts as an empty one.
  static void ClearNaN(ZrFloatMatrix& image);

  // Median of the pix x pix neighbourhood (pix 3 or 5), edges repeated. Zero neighbours count
  // as the centre value; with ignoreZero, zero pixels themselves stay 0.
  static ZrFloatMatrix MedianSmooth(const ZrFloatMatrix& image, bool ignoreZero, int pix);

  // Softens the border between the non-zero part of a mask and its zero pixels: a non-zero
  // pixel whose chessboard distance d to the nearest zero pixel is at most count is scaled by
  // a ramp rising from 0 at the zero pixels to 1 beyond count pixels: method 0 linear,
  // d / (count + 1); method 1 raised cosine, (1 - cos(pi d / (count + 1))) / 2. The image
  // border is not an edge. count <= 0 returns the mask unchanged.
  static ZrFloatMatrix MaskMatrixSmoothZeroEdge(const ZrFloatMatrix& mask, int count, int method);

  // Vectors are single rows or columns (vector access of the matrix family).
  static long double InnerProduct(const ZrLDoubleMatrix& a, const ZrLDoubleMatrix& b);
  static long double VectorLength(const ZrLDoubleMatrix& v);
  // v / |v|, same shape and begins.
  static ZrLDoubleMatrix NormalVector(const ZrLDoubleMatrix& v);
  // Cross product of two 3-vectors, as a column vector from row 0.
  static ZrLDoubleMatrix CrossProduct(const ZrLDoubleMatrix& a, const ZrLDoubleMatrix& b);

  // Crout LU decomposition in place, without pivoting: afterwards a holds the unit lower
  // factor below its diagonal and the upper factor on and above it. Element A(i, j) (row i,
  // column j) is a(j, i); both indices run from a.RowBegin over RowSize. index becomes a
  // 1 x n column from RowBegin holding the identity permutation. A zero pivot is replaced by
  // 1e-20; only a row of zeros is reported as singular.
  static void LuDecomposition(ZrLDoubleMatrix& a, ZrLongMatrix& index);
  // Solves L U x = rhs in place with factors from LuDecomposition (rhs has n entries).
  static void LuBackSubstitution(const ZrLDoubleMatrix& lu, long double* rhs);
  // Inverse of a square matrix through LuDecomposition; same begins as a.
  static ZrLDoubleMatrix LuInverse(const ZrLDoubleMatrix& a);

 private:
  template <typename T, typename Tag, class Op>
  static ZrMatrix<T, Tag> Combine(const ZrMatrix<T, Tag>& a, const ZrMatrix<T, Tag>& b, Op op) {
    ZrCheckSameShape(a, b);
    ZrMatrix<T, Tag> r(a.ColSize, a.RowSize);
    r.SetBegin(a.ColBegin, a.RowBegin);
    const int64_t n = a.Count();
    for (int64_t k = 0; k < n; ++k) r.Data[k] = op(a.Data[k], b.Data[k]);
    return ZrReturnFast(r);
  }
};
