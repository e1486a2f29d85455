// The NumPy array file format (.npy): header, element conversion to float, frames of stacks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "numerics/ZrMatrix.h"

// What a .npy header says. Shape is in NumPy's order: (rows, columns) for an image,
// (frames, rows, columns) for a stack of frames.
struct ZrNpyHeader {
  char Kind = 0;     // 'f' floating point, 'i' signed, 'u' unsigned integer
  int ItemSize = 0;  // bytes per element: 4 or 8 for 'f', 1, 2, 4 or 8 for 'i' and 'u'
  bool BigEndian = false;
  bool FortranOrder = false;
  std::vector<int64_t> Shape;
  int64_t DataOffset = 0;  // bytes before the first element

  int64_t Frames() const { return Shape.size() == 3 ? Shape[0] : 1; }
  int32_t Rows() const { return static_cast<int32_t>(Shape[Shape.size() - 2]); }
  int32_t Cols() const { return static_cast<int32_t>(Shape[Shape.size() - 1]); }
  int64_t FrameBytes() const { return static_cast<int64_t>(Rows()) * Cols() * ItemSize; }
};

// Parses the signature, version and header dictionary at the start of bytes, which may be the
// whole file or only its beginning. Accepts 2-D and 3-D arrays of float32, float64 and 8- to
// 64-bit integers in either byte order; a frame is at most kZrImageMaxPixels pixels and the
// whole array must fit in a file. Fortran order is accepted for 2-D arrays only (a frame of a
// 3-D one would be scattered over the file). Every refusal is a ZrError "<name>: ...".
ZrNpyHeader ZrParseNpyHeader(const std::string& bytes, const std::string& name);

// The frame whose FrameBytes() element bytes start at elements, converted to float (integers
// exactly up to 2^24, float64 rounded to nearest). Begins are 0.
ZrFloatMatrix ZrNpyFrame(const ZrNpyHeader& header, const char* elements);

// The header of a .npy file, read from disk and checked against the file's length.
ZrNpyHeader ZrReadNpyHeader(const std::string& path);

// Frame `frame` of a .npy file (0 for a 2-D array), reading only the header and that frame.
ZrFloatMatrix ZrReadNpyFrame(const std::string& path, int64_t frame);
