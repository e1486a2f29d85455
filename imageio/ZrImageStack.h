// Image stacks: files that hold a series of frames of one size, read one frame at a time --
// an HDF5 dataset of (frames, rows, columns) or (rows, columns), or a .npy array of either.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrMatrix.h"

struct ZrStackInfo {
  std::string Dataset;  // the HDF5 dataset that is read ("/entry/data/data"); empty for .npy
  int64_t Frames = 0;
  int32_t Cols = 0;
  int32_t Rows = 0;
  bool IsStack = false;  // a 3-D array; a 2-D array is one image (Frames 1)
};

// True for the extensions of stack files: ".h5", ".hdf5", ".hdf", ".nxs" (HDF5) and ".npy".
bool ZrIsStackFile(const std::string& path);

// The shape of a stack. dataset is the HDF5 dataset's path; when empty, the file's only 2-D
// or 3-D numeric dataset is taken (several or none is an error naming what there is). For
// .npy files dataset is ignored. Failures throw ZrError "<path>: ...".
ZrStackInfo ZrProbeStack(const std::string& path, const std::string& dataset);

// Frame `frame` (0-based) of the stack, converted to float; begins 0. dataset as above.
// HDF5 converts integer and float64 elements to float (rounding to nearest).
ZrFloatMatrix ZrReadStackFrame(const std::string& path, const std::string& dataset, int64_t frame);
