// Resampling of images at fractional pixel positions: the sub-pixel move of the screen centre
// to the image centre and the angular maps. No host calls.
#pragma once

#include <string>
#include <vector>

#include "numerics/ZrMatrix.h"

// All positions are pixels in the image's begin-based (x, y) = (column, row) coordinates; a
// pixel's value sits at its integer position.
enum class RfaInterpolation {
  Linear,   // bilinear, 2 x 2 samples: no overshoot, but it blurs by up to half a pixel
  Keys,     // Keys' cubic convolution (a = -1/2), 4 x 4 samples: exact for quadratics, local
  BSpline,  // cubic B-spline through the samples (recursive prefilter, then 4 x 4 coefficients)
};

// "linear", "keys", "bspline".
const char* RfaInterpolationName(RfaInterpolation kind);

// How samples beyond the image's edges are read.
enum class RfaEdge {
  Wrap,     // cyclically, as the whole-pixel roll moves pixels
  Outside,  // there are none: a position that needs one gets 0
};

// An image prepared for sampling at any position. Holes -- pixels that are not finite, and
// with zeroIsHole also those that are 0 (masked) -- are never blended with measured pixels: a
// position whose interpolation reads a hole (with a weight that is not 0) gets 0, a hole
// itself. Thread-safe for At() once made.
class RfaResampler {
 public:
  RfaResampler(const ZrFloatMatrix& image, RfaInterpolation kind, RfaEdge edge, bool zeroIsHole);

  // The interpolated value at (x, y); 0 for a hole, a non-finite position or (RfaEdge::Outside)
  // one that needs samples beyond the image.
  float At(double x, double y) const;

 private:
  int32_t cols_ = 0, rows_ = 0, colBegin_ = 0, rowBegin_ = 0;
  RfaInterpolation kind_;
  RfaEdge edge_;
  std::vector<double> values_;  // the samples, or the B-spline's coefficients; holes 0
  std::vector<char> hole_;
};

// Interpolation weights of the four samples at offsets -1, 0, 1, 2 from floor(position), for
// t = position - floor(position) in [0, 1). Linear uses the middle two.
void RfaInterpolationWeights(RfaInterpolation kind, double t, double w[4]);

// The cubic B-spline coefficients of one periodic line of n samples (in place): the values
// that the B-spline weights turn back into the samples at integer positions.
void RfaBSplinePrefilter(double* line, int64_t n, int64_t stride);

// The image moved by (dx, dy) pixels, cyclically like the whole-pixel roll: result(x, y) =
// image(x - dx, y - dy), interpolated, with sizes and begins kept. Zeros are pixel values here
// (the dark outside of a screen); a non-finite pixel is a hole and makes every result pixel
// that reads it 0. A shift by whole pixels moves the finite pixels as the roll does, bit for bit
// with Linear and Keys (within rounding with BSpline). A non-finite shift is refused.
ZrFloatMatrix RfaShiftImage(const ZrFloatMatrix& image, double dx, double dy,
                            RfaInterpolation kind);

// Moves the screen centre (sx, sy) exactly onto the image centre (ColSize / 2, RowSize / 2),
// sizes integer-divided as the roll divides them, by RfaShiftImage: the sub-pixel counterpart
// of RfaMoveToCenter, which moves by trunc(ColSize / 2 - sx) whole pixels.
void RfaMoveToCenterSubpixel(ZrFloatMatrix& image, double sx, double sy, RfaInterpolation kind);
