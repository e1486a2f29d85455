// Pure image operations of the RFA chain: roll to centre, background division, the
// azimuthal-average background and the two masks. No host calls.
#pragma once

#include <cmath>

#include "numerics/ZrMatrix.h"

// All positions are pixels in the image's begin-based (x, y) = (column, row) coordinates.

// A pixel that holds no measurement: 0 (masked or empty) or not finite. Holes never enter a
// background's sums, but every pixel of a screen is given a background value.
inline bool RfaIsHole(float v) {
  return v == 0.0f || !std::isfinite(v);
}

// Rolls the image cyclically so that the screen centre (sx, sy) lands on the image centre:
// dx = trunc(ColSize / 2 - sx), dy = trunc(RowSize / 2 - sy) (sizes integer-divided), and the
// element at (x, y) moves to (x + dx, y + dy), wrapping within the extent. Sizes and begins
// are kept. A non-finite centre is refused.
void RfaMoveToCenter(ZrFloatMatrix& image, double sx, double sy);

// The statistic that stands for one ring of the azimuthal-average background.
enum class RfaRingStatistic {
  Median,  // robust: an MCP dip or bright spots covering less than half a ring do not pull it
  Mean,    // the plain mean, kept for comparison
};

// Background that depends on the distance from (cx, cy) only. The pixels that are no holes
// fall into rings of width `step` (ring k: distances [k, k + 1) x step); each ring that holds
// any gives one node of a radial profile, the ring's statistic at the mean distance of its
// pixels. Every pixel, holes included, gets the profile read linearly between the nodes on
// either side of its distance (constant beyond the outermost nodes), so rings without data are
// bridged. The result has the image's shape and begins; an image without any measured pixel
// gives an all-zero background. A centre so far away that ring numbers lose their integers,
// or more than 2^24 rings, are refused.
// threads: the rings' statistics and the interpolation run on this many threads (1: on the
// caller's); the result is the same bits for any count.
ZrFloatMatrix RfaAzimuthalAverageBackground(const ZrFloatMatrix& image, float cx, float cy,
                                            float step = 1.0f,
                                            RfaRingStatistic statistic = RfaRingStatistic::Median,
                                            int32_t threads = 1);

// Element-wise image / background, with 0 wherever the background is exactly 0 (never an
// infinity) and wherever the image pixel is not finite (a hole stays a hole). Shapes and begins
// must agree (the matrix shape messages).
ZrFloatMatrix RfaDivideByBackground(const ZrFloatMatrix& image, const ZrFloatMatrix& background);

// Zeroes the disc of radius r + 0.5 about (cx, cy); radius and the inside test are evaluated
// in single precision, so r = 0 still clears the pixels within half a pixel of the centre.
void RfaMaskMcpDip(ZrFloatMatrix& image, double cx, double cy, double r);

// Zeroes everything outside the ellipse of radii rx + 0.5, ry + 0.5 about (cx, cy); a radius
// of -0.5 or less switches the mask off. The column loop deliberately runs over the row
// extent (ColBegin .. RowBegin + RowSize - 1) through checked access: exact on square images,
// columns beyond the row extent stay unmasked on wide images, and on tall images the first
// masked element beyond the last column raises the matrix range error.
void RfaMaskOutside(ZrFloatMatrix& image, double cx, double cy, double rx, double ry);
