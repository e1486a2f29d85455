// Plain records that travel in host messages: colours and regions.
#pragma once

#include <cstdint>
#include <string>

// Colour of a region or line, 0..255 per channel.
struct ZrColor {
  int32_t r = 0, g = 0, b = 0;
};

// A marked area of an image window. cx, cy: centre in pixel coordinates (x = column,
// y = row, begin-based like the window's image); w, h: full width and height in pixels.
struct ZrRegion {
  std::string regionType;  // shape, e.g. "RECTANGLE" or "ELLIPSE"
  float cx = 0, cy = 0, w = 0, h = 0;
  ZrColor color;
  bool isMovable = false;
  std::string name;
};
