// The standard synthetic screens, the parameter sets that suit them and the image comparison
// shared by the rfa, app and samples tests: one place for the geometry, so that a screen and
// the parameters written for it cannot drift apart.
#pragma once

#include "samples/RfaSyntheticScreen.h"
#include "tests/common/ZrTestImages.h"

// A width x height screen centred at (cx, cy) with its dip disc at (dipCx, dipCy); everything
// else (background model, fine structure, noise) keeps the generator's defaults.
inline RfaSyntheticScreenOptions RfaScreenOptions(int32_t width, int32_t height, double cx,
                                                  double cy, double radius, double dipCx,
                                                  double dipCy, double dipRadius,
                                                  uint32_t seed = 1) {
  RfaSyntheticScreenOptions o;
  o.Width = width;
  o.Height = height;
  o.Cx = cx;
  o.Cy = cy;
  o.Radius = radius;
  o.DipCx = dipCx;
  o.DipCy = dipCy;
  o.DipRadius = dipRadius;
  o.Seed = seed;
  return o;
}

// The same screen reduced to its smooth background: no fine structure, no dip, no noise.
inline RfaSyntheticScreenOptions RfaSmoothScreen(RfaSyntheticScreenOptions o) {
  o.FineAmplitude = 0.0;
  o.DipDepth = 0.0;
  o.Noise = 0.0;
  return o;
}
