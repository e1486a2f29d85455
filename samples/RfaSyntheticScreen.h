// Deterministic synthetic RFA screen images for tests, benchmarks and demonstrations.
#pragma once

#include <cstdint>

#include "numerics/ZrMatrix.h"

// Geometry in pixels of the image's (x, y) = (column, row) coordinates with begins 0; angles
// in degrees. Each screen pixel stands for the emission direction given by the
// azimuthal-equidistant mapping: polar angle = (distance from the centre / radius) x thetaMax,
// azimuth = atan2(y - cy, x - cx).
struct RfaSyntheticScreenOptions {
  int32_t Width = 256;
  int32_t Height = 256;
  double Cx = 128.0;  // screen centre and radius
  double Cy = 128.0;
  double Radius = 100.0;
  double RimWidth = 0.0;  // 0: sharp rim (pixel centre inside radius); else logistic fall-off
  double ThetaMaxDeg = 90.0;

  // Smooth background: level x (1 + tilt sin(theta) cos(phi - tiltAzimuth))
  //                          x (1 - polarFall (1 - cos(theta))).
  double Level = 1000.0;
  double Tilt = 0.3;
  double TiltAzimuthDeg = 30.0;
  double PolarFall = 0.4;

  // Diffraction-like fine structure, relative to the background: a ring of Gaussian spots at
  // polar angle spotThetaDeg, plus concentric rings of period ringPeriodDeg in polar angle.
  double FineAmplitude = 0.5;
  int32_t SpotCount = 6;
  double SpotThetaDeg = 40.0;
  double SpotWidthDeg = 4.0;
  double RingPeriodDeg = 15.0;

  // MCP dip: inside this circle the intensity is multiplied by (1 - dipDepth).
  double DipCx = 150.0;
  double DipCy = 140.0;
  double DipRadius = 10.0;
  double DipDepth = 0.8;

  // Gaussian noise, standard deviation relative to the noiseless value.
  double Noise = 0.05;
  uint32_t Seed = 1;
};

// The screen image: zero outside the screen, positive (or zero where noise and a full-depth
// dip take it there) inside. Same options give the same bits on every platform with IEEE
// floats: the noise comes from std::mt19937 through a fixed Box-Muller transform. Throws a
// ZrError for negative sizes or a non-positive radius.
ZrFloatMatrix RfaMakeSyntheticScreen(const RfaSyntheticScreenOptions& options);
