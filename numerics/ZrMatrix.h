// Two-dimensional owning arrays with a per-axis origin ("begin"); images are ZrFloatMatrix.
#pragma once

#include <complex>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "numerics/ZrError.h"

struct ZrPlainMatrixTag {};
struct ZrLongMatrixTag {};  // keeps ZrLongMatrix a class of its own beside ZrInt32Matrix

template <typename T>
struct ZrMatrixSum {
  using type = long double;
};
template <typename T>
struct ZrMatrixSum<std::complex<T>> {
  using type = std::complex<long double>;
};

// Elements are addressed as (x, y) = (column, row) in begin-based coordinates. Storage is
// row after row, x fastest: (x, y) lies at (x - ColBegin) + (y - RowBegin) * ColSize.
//
// FastReturn marks a temporary being returned from an operation: whoever copies or assigns
// from it takes its array instead of copying the elements, leaving it empty (sizes 0, null
// array, begins kept).
template <typename T, typename Tag = ZrPlainMatrixTag>
class ZrMatrix {
 public:
  using value_type = T;

  int32_t RowSize = 0;
  int32_t ColSize = 0;
  int32_t RowBegin = 0;
  int32_t ColBegin = 0;
  bool FastReturn = false;
  T* Data = nullptr;  // owned; null when ColSize * RowSize is 0

  ZrMatrix() = default;

  ZrMatrix(int32_t cols, int32_t rows) {
    if (cols < 0 || rows < 0) throw ZrError("matrix creation Parameter Error");
    Resize(cols, rows);
  }

  ZrMatrix(const ZrMatrix& src) : RowBegin(src.RowBegin), ColBegin(src.ColBegin) {
    if (src.FastReturn) {
      TakeArray(const_cast<ZrMatrix&>(src));
    } else {
      Resize(src.ColSize, src.RowSize);
      CopyElements(src);
    }
  }

  ZrMatrix(ZrMatrix&& src) noexcept : RowBegin(src.RowBegin), ColBegin(src.ColBegin) {
    TakeArray(src);
  }

  ZrMatrix& operator=(const ZrMatrix& src) {
    FastReturn = false;
    if (Data == src.Data) return *this;  // self-assignment, or two empty matrices
    if (!src.FastReturn) {
      ColBegin = src.ColBegin;
      RowBegin = src.RowBegin;
      Resize(src.ColSize, src.RowSize);
      CopyElements(src);
    } else {
      delete[] Data;
      Data = nullptr;
      ColBegin = src.ColBegin;
      RowBegin = src.RowBegin;
      TakeArray(const_cast<ZrMatrix&>(src));
    }
    return *this;
  }

  ZrMatrix& operator=(ZrMatrix&& src) noexcept {
    FastReturn = false;
    if (this == &src) return *this;
    delete[] Data;
    Data = nullptr;
    ColBegin = src.ColBegin;
    RowBegin = src.RowBegin;
    TakeArray(src);
    return *this;
  }

  virtual ~ZrMatrix() { delete[] Data; }

  // Re-shapes as a fresh matrix with begins 0. Both counts negative is a creation error;
  // one negative count fails in Resize.
  void Create(int32_t cols, int32_t rows) {
    if (cols < 0 && rows < 0) throw ZrError("matrix creation Parameter Error");
    ColBegin = 0;
    RowBegin = 0;
    Resize(cols, rows);
  }

  // Keeps the begins. Storage is reused when the element count is unchanged; element values
  // are left undefined either way.
  void Resize(int32_t cols, int32_t rows) {
    if (cols < 0 || rows < 0) throw ZrError("Matrix Parameter Error");
    const int64_t n = static_cast<int64_t>(cols) * rows;
    if (Data != nullptr && Count() == n) {
      ColSize = cols;
      RowSize = rows;
      return;
    }
    delete[] Data;
    Data = nullptr;
    ColSize = cols;
    RowSize = rows;
    if (n == 0) return;
    try {
      Data = new T[static_cast<size_t>(n)];
    } catch (const std::bad_alloc&) {  // includes an impossible array length
      Data = nullptr;
    }
    if (Data == nullptr) {
      ColSize = 0;
      RowSize = 0;
      throw ZrError("Cannot Get Memory");
    }
  }

  int64_t Count() const { return static_cast<int64_t>(ColSize) * RowSize; }
  bool IsEmpty() const { return Data == nullptr; }
  void SetBegin(int32_t colBegin, int32_t rowBegin) {
    ColBegin = colBegin;
    RowBegin = rowBegin;
  }
  void Fill(const T& value) {
    for (int64_t i = 0; i < Count(); ++i) Data[i] = value;
  }

  // Linear position of (x, y); throws the range error outside the matrix.
  int64_t Index(int32_t x, int32_t y) const {
    const int64_t dx = static_cast<int64_t>(x) - ColBegin;
    const int64_t dy = static_cast<int64_t>(y) - RowBegin;
    if (dx < 0 || dx >= ColSize || dy < 0 || dy >= RowSize) throw RangeError(x, y);
    return dx + dy * ColSize;
  }

  T& operator()(int32_t x, int32_t y) { return Data[Index(x, y)]; }
  const T& operator()(int32_t x, int32_t y) const { return Data[Index(x, y)]; }

  // A single column (or an empty matrix) runs along y; a single row along x.
  T& Vector(int32_t i) {
    if (IsColumnVector()) return (*this)(ColBegin, i);
    if (RowSize == 1) return (*this)(i, RowBegin);
    throw ZrError("This is not vector");
  }
  const T& Vector(int32_t i) const { return const_cast<ZrMatrix*>(this)->Vector(i); }
  int32_t VectorBegin() const {
    if (IsColumnVector()) return RowBegin;
    if (RowSize == 1) return ColBegin;
    throw ZrError("This is not vector");
  }
  int32_t VectorSize() const {
    if (IsColumnVector()) return RowSize;
    if (RowSize == 1) return ColSize;
    throw ZrError("This is not vector");
  }

  // Sum of the width x height rectangle whose first element is (x0, y0), in extended precision.
  typename ZrMatrixSum<T>::type SubIntegralMatrix(int32_t x0, int32_t y0, int32_t width,
                                                  int32_t height) const {
    const int64_t dx = static_cast<int64_t>(x0) - ColBegin;
    const int64_t dy = static_cast<int64_t>(y0) - RowBegin;
    if (dx < 0 || dy < 0 || dx + width > ColSize || dy + height > RowSize) {
      throw ZrError("SubIntegralMatrixError");
    }
    typename ZrMatrixSum<T>::type sum{};
    if (height < 1 || width <= 0) return sum;
    for (int64_t y = dy; y < dy + height; ++y) {
      const T* row = Data + y * ColSize;
      for (int64_t x = dx; x < dx + width; ++x)
        sum += static_cast<typename ZrMatrixSum<T>::type>(row[x]);
    }
    return sum;
  }

  ZrError RangeError(int32_t x, int32_t y) const {
    return ZrError("Matrix over range. access=(" + std::to_string(x) + "," + std::to_string(y) +
                   ") size=(" + std::to_string(ColSize) + "," + std::to_string(RowSize) +
                   ") begin=(" + std::to_string(ColBegin) + "," + std::to_string(RowBegin) +
                   ")FastReturn=" + (FastReturn ? "true" : "false"));
  }

 private:
  bool IsColumnVector() const { return (ColSize == 0 && RowSize == 0) || ColSize == 1; }

  void TakeArray(ZrMatrix& src) noexcept {
    ColSize = src.ColSize;
    RowSize = src.RowSize;
    Data = src.Data;
    src.Data = nullptr;
    src.ColSize = 0;
    src.RowSize = 0;
  }

  void CopyElements(const ZrMatrix& src) {
    if (Count() > 0)
      std::memcpy(static_cast<void*>(Data), src.Data, sizeof(T) * static_cast<size_t>(Count()));
  }
};

using ZrFloatMatrix = ZrMatrix<float>;
using ZrDoubleMatrix = ZrMatrix<double>;
using ZrLongMatrix = ZrMatrix<int32_t, ZrLongMatrixTag>;
using ZrInt32Matrix = ZrMatrix<int32_t>;
using ZrLDoubleMatrix = ZrMatrix<long double>;
using ZrLComplexMatrix = ZrMatrix<std::complex<long double>>;

extern template class ZrMatrix<float>;
extern template class ZrMatrix<double>;
extern template class ZrMatrix<int32_t, ZrLongMatrixTag>;
extern template class ZrMatrix<int32_t>;
extern template class ZrMatrix<long double>;
extern template class ZrMatrix<std::complex<long double>>;

// Marks m as a returned temporary and hands its array to the result without copying
// elements; m is left empty with its begins.
template <class M>
M ZrReturnFast(M& m) {
  m.FastReturn = true;
  return M(m);
}

// Same shape and origin, checked in this order: sizes, column origin, row origin.
template <class A, class B>
void ZrCheckSameShape(const A& a, const B& b) {
  if (a.ColSize != b.ColSize || a.RowSize != b.RowSize)
    throw ZrError("ColSize or RowSize is different");
  if (a.ColBegin != b.ColBegin) throw ZrError("ColBegin is different");
  if (a.RowBegin != b.RowBegin) throw ZrError("RowBegin is different");
}
