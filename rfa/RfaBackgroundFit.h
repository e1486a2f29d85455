// The spherical-harmonics background of an RFA screen image.
#pragma once

#include "numerics/ZrMatrix.h"

class RfaParameters;

// Fits real spherical harmonics of degrees 0..Size_l to the non-zero pixels of the disc of
// radius Sr - SMargin about the image centre (azimuthal-equidistant mapping up to
// MappingAzThetaMax_deg) and fills result, shaped like image, with the fitted background
// (zero outside the disc).
void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image);
