// Sphere-to-plane projections of analyser images: pixel position <-> unit direction, and the
// solid angle one pixel covers.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrMatrix.h"

// Directions are unit vectors (dx, dy, dz): polar angle theta = acos(dz) from +z, azimuth
// phi = atan2(dy, dx) from +x towards +y (phi = 0 when dx = dy = 0). Pixel positions are
// column x (right) and row y (down), 0 at the first pixel. Everything is extended precision.
//
// Mapping objects are plain values without state; any number of threads may use one. The
// destructor is deliberately not virtual: objects are never deleted through the base.
class ZrSphericalMappingConvert {
 public:
  virtual bool CheckImageSize(int32_t width, int32_t height) const = 0;
  virtual bool SphereToImage(long double& x, long double& y, int32_t width, int32_t height,
                             long double dx, long double dy, long double dz) const = 0;
  virtual bool SphereToRect(long double& x, long double& y, long double xmin, long double xmax,
                            long double ymin, long double ymax, long double dx, long double dy,
                            long double dz) const = 0;
  // solidAngle in steradians per pixel. False (outputs untouched) outside the projected sphere.
  virtual bool ImageToSphere(long double& dx, long double& dy, long double& dz,
                             long double& solidAngle, long double x, long double y, int32_t width,
                             int32_t height) const = 0;
  virtual std::string GetName() const = 0;
  // Largest polar angle the image covers, degrees.
  virtual float GetMaxAngle() const = 0;

  int32_t MappingType;  // 1 azimuthal equidistant, 2 equidistant cylindrical

 protected:
  explicit ZrSphericalMappingConvert(int32_t type) : MappingType(type) {}
  ~ZrSphericalMappingConvert() = default;
  ZrSphericalMappingConvert(const ZrSphericalMappingConvert&) = default;
  ZrSphericalMappingConvert& operator=(const ZrSphericalMappingConvert&) = default;
};

// The hemisphere theta <= 90 deg fills the circle inscribed in a square image; the distance
// from the centre ((width - 1) / 2 on both axes) is proportional to theta.
class ZrConvertAzimuthalEquidistantMap final : public ZrSphericalMappingConvert {
 public:
  ZrConvertAzimuthalEquidistantMap() : ZrSphericalMappingConvert(1) {}
  bool CheckImageSize(int32_t width, int32_t height) const override;
  bool SphereToImage(long double& x, long double& y, int32_t width, int32_t height, long double dx,
                     long double dy, long double dz) const override;
  bool SphereToRect(long double& x, long double& y, long double xmin, long double xmax,
                    long double ymin, long double ymax, long double dx, long double dy,
                    long double dz) const override;
  bool ImageToSphere(long double& dx, long double& dy, long double& dz, long double& solidAngle,
                     long double x, long double y, int32_t width, int32_t height) const override;
  std::string GetName() const override { return "AzimuthalEquidistant"; }
  float GetMaxAngle() const override { return 90.0f; }
};

// The whole sphere: columns are azimuth (a full turn is width pixels, wrapping around),
// rows are polar angle (row 0 the +z pole, row height - 1 the -z pole).
class ZrConvertEquidistantCylindricalMap final : public ZrSphericalMappingConvert {
 public:
  ZrConvertEquidistantCylindricalMap() : ZrSphericalMappingConvert(2) {}
  bool CheckImageSize(int32_t width, int32_t height) const override;
  bool SphereToImage(long double& x, long double& y, int32_t width, int32_t height, long double dx,
                     long double dy, long double dz) const override;
  bool SphereToRect(long double& x, long double& y, long double xmin, long double xmax,
                    long double ymin, long double ymax, long double dx, long double dy,
                    long double dz) const override;
  bool ImageToSphere(long double& dx, long double& dy, long double& dz, long double& solidAngle,
                     long double x, long double y, int32_t width, int32_t height) const override;
  std::string GetName() const override { return "EquidistantCylindrical"; }
  float GetMaxAngle() const override { return 180.0f; }
};

// Fills theta, phi (radians) and solid-angle (sr) maps, shaped like mask with begins 0, for
// every non-zero mask pixel inside the projected sphere; all other elements are 0. The mask
// must start at (0, 0). mappingName is "AzimuthalEquidistant" or "EquidistantCylindrical";
// any other name fails with "Mapping type is not supported" before an output is touched.
void ZrBuildSphericalAngleMaps(ZrLDoubleMatrix& theta, ZrLDoubleMatrix& phi,
                               ZrLDoubleMatrix& solidAngle, const ZrLDoubleMatrix& mask,
                               const std::string& mappingName);
