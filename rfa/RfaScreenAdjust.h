// Finds the screen circle of an RFA image: centre on a half-pixel grid and sub-pixel radius.
#pragma once

#include <cstdint>

#include "numerics/ZrMatrix.h"

struct RfaScreenAdjustResult {
  double Cx = 0.0;  // screen centre, begin-based pixel coordinates (column, row)
  double Cy = 0.0;
  double R = 0.0;         // screen radius in pixels
  ZrFloatMatrix Clipped;  // the image with every pixel above max x threshold set to that value
};

// Clips the image at (largest pixel x threshold), which turns the lit screen into a nearly
// flat plateau whatever its diffraction pattern, then looks for the centre among the points
// (ColBegin + ColSize / 2 + i / 2, RowBegin + ColSize / 2 + j / 2), i, j = -40 .. 40 (a
// half-pixel grid spanning 40 pixels; the column count serves both axes on purpose).
//
// Criterion: about the true centre the clipped screen is a function of the radius alone, so
// narrow rings (0.25 pixel) about it are nearly uniform; about any other point the rings cut
// across the rim. The candidate whose ring means explain most of the variance of the pixels
// near the rim (largest between-ring sum of squares, i.e. least azimuthal variance) wins.
// The radius is where the unclipped azimuthal profile about that centre falls most steeply,
// located to a fraction of a ring by a parabola through the largest smoothed drop.
// Limitation: on a blurred rim whose brightness differs around the screen, the clip level is
// crossed further out on the brighter side, which pulls the centre towards it by about
// (rim width) x ln(bright / dim) / 2; sharp rims are found to within the half-pixel grid.
//
// searchSize (1 .. 40, larger values act as 40) is the spacing, in half pixels, of the first
// coarse pass over the grid; each further pass halves the spacing around the best point so
// far until neighbouring half-pixel points are compared. 1 searches the whole grid
// exhaustively (slowest, immune to local optima); 10 needs fewer than 200 profiles
// instead of 6561.
//
// Errors: an empty image, a non-positive threshold, searchSize below 1, an image without a
// positive pixel.
RfaScreenAdjustResult RfaAdjustScreen(const ZrFloatMatrix& image, double threshold,
                                      int32_t searchSize);
