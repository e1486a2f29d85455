// Image comparisons shared by the suites: bit-for-bit equality and the pixels as one value.
#pragma once

#include <cstring>
#include <vector>

#include "numerics/ZrMatrix.h"

// Bit-for-bit equality of two images, their sizes and begins included.
inline bool ZrSameBits(const ZrFloatMatrix& a, const ZrFloatMatrix& b) {
  return a.ColSize == b.ColSize && a.RowSize == b.RowSize && a.ColBegin == b.ColBegin &&
         a.RowBegin == b.RowBegin &&
         (a.Count() == 0 ||
          std::memcmp(a.Data, b.Data, sizeof(float) * static_cast<size_t>(a.Count())) == 0);
}

// The pixels row after row, for comparing whole images by value.
inline std::vector<float> ZrPixels(const ZrFloatMatrix& m) {
  return {m.Data, m.Data + m.Count()};
}
