// Finds the screen circle anywhere on an RFA image, to sub-pixel accuracy, for batches: the
// centre and radius that rfa-process --find-screen puts into Sx_, Sy_ and Sr_. (The plug-in's
// "Adjust Screen" keeps its own search near the image centre, RfaScreenAdjust.h.)
#pragma once

#include <cstdint>

#include "numerics/ZrMatrix.h"

struct RfaFoundScreen {
  double Cx = 0, Cy = 0;  // centre, begin-based pixel coordinates (column, row)
  double R = 0;           // radius, pixels: where the rim falls most steeply
  int32_t RimPoints = 0;  // rim points the circle was fitted to
  int32_t Rays = 0;       // rays cast in the last pass
  double Scatter = 0;     // RMS distance of those points from the circle, pixels
};

// Coarse: the lit region is the largest 4-connected set of pixels above Otsu's threshold of
// the image (its histogram up to the 99.5 % quantile, so that hot pixels do not squash it);
// its centroid and the radius of a disc of its area start the search.
// Fine: rays from the centre, one per pixel of circumference, each sampled every quarter
// pixel across the rim (bilinear, on the image smoothed by a Gaussian of 1.5 pixels, so that
// noise, stronger on the bright side of the rim, does not pull the rim inwards); the rim point
// of a ray is where its profile, smoothed by a further Gaussian of 1 pixel, falls most steeply,
// placed between samples by a parabola. A steepest
// fall does not depend on the brightness, so a brighter or dimmer part of the screen does not
// pull the rim. A circle is fitted to the points by least squares with Tukey's biweight, which
// drops rays that see something else (an MCP dip on the rim, a rim beyond the image edge);
// the rays are cast again from the new centre across a narrower band (from a quarter of the
// radius down to 4 pixels) until a pass over the narrowest band moves the circle by less than
// a hundredth of a pixel.
//
// Errors (ZrError "Find screen: ..."): an empty image, no bright region, a region too small
// to be a screen (radius under 4 pixels), too few rays that cross a rim (fewer than 16, or
// under a quarter of them), or rim points that scatter by more than 1.5 pixels about the
// circle (not a circle).
RfaFoundScreen RfaFindScreen(const ZrFloatMatrix& image);
