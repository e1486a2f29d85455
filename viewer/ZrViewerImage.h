// Pictures of float images for the viewer: display range, 8-bit rendering, the cursor
// read-out and the radial profile. Coordinates are the matrix's begin-based (x, y) = (column,
// row); a pixel (x, y) covers [x - 0.5, x + 0.5] x [y - 0.5, y + 0.5], so region centres
// (which use the same coordinates) fall on pixel centres.
#pragma once

#include <QImage>
#include <QPointF>
#include <QString>
#include <cstdint>
#include <vector>

#include "numerics/ZrMatrix.h"

struct ZrDisplayRange {
  float Lo = 0;
  float Hi = 1;
};

// The finite minimum and maximum; 0..1 for an image without finite pixels, and lo..lo+1 when
// every finite pixel has the same value.
ZrDisplayRange ZrViewerAutoRange(const ZrFloatMatrix& image);

// Grey 8-bit picture, one pixel per image pixel, row 0 of the picture = RowBegin: lo black, hi
// white, linear between, clamped outside; NaN black. lo >= hi draws everything >= hi white.
QImage ZrViewerRender(const ZrFloatMatrix& image, float lo, float hi);

// "x=<x>  y=<y>  value=<v>" for a pixel inside the image (value with up to 7 significant
// digits), empty for a pixel outside.
QString ZrViewerCursorText(const ZrFloatMatrix& image, int32_t x, int32_t y);

// Mean value in rings of width 1 pixel about (cx, cy): the ring of radius r holds the pixels
// whose centre lies at a distance d with r - 0.5 <= d < r + 0.5. Non-finite pixels are left
// out, zeros too when skipZeros is set (the zeros outside the screen). Points (r, mean) for
// every ring holding at least one pixel, r rising.
std::vector<QPointF> ZrViewerRadialProfile(const ZrFloatMatrix& image, double cx, double cy,
                                           bool skipZeros);
