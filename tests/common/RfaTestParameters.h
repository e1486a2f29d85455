// Parameter sets for the rfa and app tests: the geometry that suits a test screen, and one set
// in which every stored field differs from its default and from every other field.
#pragma once

#include <cstdint>
#include <string>

#include "rfa/RfaParameters.h"

// Defaults, with the screen (centre, radius, margin), the fit degree, the azimuthal-average
// centre, the dip disc and the mask ellipse set.
inline RfaParameters RfaGeometry(double sx, double sy, double sr, int32_t margin, int32_t degree,
                                 double ax, double ay, double dipCx, double dipCy, double dipR,
                                 double maskCx, double maskCy, double maskRx, double maskRy) {
  RfaParameters p;
  p.Sx = sx;
  p.Sy = sy;
  p.Sr = sr;
  p.SMargin = margin;
  p.SizeL = degree;
  p.Ax = ax;
  p.Ay = ay;
  p.McpDipCx = dipCx;
  p.McpDipCy = dipCy;
  p.McpDipR = dipR;
  p.MaskCx = maskCx;
  p.MaskCy = maskCy;
  p.MaskRx = maskRx;
  p.MaskRy = maskRy;
  return p;
}

// Every stored field at a value of its own, away from its default, so that a key, a file
// element or a widget taking the wrong field shows. Every value is representable by its panel
// widget (one decimal, two for the threshold, whole mask values).
inline RfaParameters RfaDistinctParameters() {
  RfaParameters p = RfaGeometry(101.5, 102.5, 103.5, 11, 7, 104.5, 105.5, 106.5, 107.5, 108.5, 109,
                                110, 111, 112);
  p.MappingIsGnomonic = true;
  p.MappingIsAz = true;
  p.MappingAzThetaMaxDeg = 85.5L;
  p.AdjThres = 0.25L;
  p.AdjSize = 4;
  p.UseAllSphere = true;
  p.IsShowTmp = true;
  p.IsMoveCenter = p.IsBgSh = p.IsBgAz = p.IsMaskMcpDip = p.IsMaskOutside = false;
  return p;
}
