// The azimuthal-equidistant and equidistant-cylindrical projections and the angle maps.
#include "numerics/ZrSphericalMapping.h"

#include <cmath>

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// cos and sin of the azimuth of (dx, dy); the azimuth of the poles is taken as 0.
void AzimuthCosSin(long double dx, long double dy, long double& cosPhi, long double& sinPhi) {
  if (dx == 0 && dy == 0) {
    cosPhi = 1;
    sinPhi = 0;
    return;
  }
  const long double phi = std::atan2(dy, dx);
  cosPhi = std::cos(phi);
  sinPhi = std::sin(phi);
}

}  // namespace

bool ZrConvertAzimuthalEquidistantMap::CheckImageSize(int32_t width, int32_t height) const {
  return width == height;
}

bool ZrConvertAzimuthalEquidistantMap::SphereToImage(long double& x, long double& y, int32_t width,
                                                     int32_t height, long double dx, long double dy,
                                                     long double dz) const {
  const long double theta = std::acos(dz);
  long double cosPhi, sinPhi;
  AzimuthCosSin(dx, dy, cosPhi, sinPhi);
  const long double c = (width - 1) * 0.5L;
  const double pixelsPerDegree = (width - 1) / 180.0;  // double precision on purpose
  const long double r = theta * 180 / kPi * pixelsPerDegree;
  x = r * cosPhi + c;
  y = r * sinPhi + c;
  return !(x < 0 || x > width - 1 || y < 0 || y > height - 1);
}

bool ZrConvertAzimuthalEquidistantMap::SphereToRect(long double& x, long double& y,
                                                    long double xmin, long double xmax,
                                                    long double ymin, long double ymax,
                                                    long double dx, long double dy,
                                                    long double dz) const {
  const long double thetaDeg = std::acos(dz) * 180 / kPi;
  long double cosPhi, sinPhi;
  AzimuthCosSin(dx, dy, cosPhi, sinPhi);
  const long double cx = (xmin + xmax) * 0.5L;
  const long double cy = (ymin + ymax) * 0.5L;
  // The horizontal half-width is the radius of 90 deg on both axes: the rectangle is meant
  // to be square.
  const long double r = (cx - xmin) * (1.0L / 90) * thetaDeg;
  x = cosPhi * r + cx;
  y = r * sinPhi + cy;
  return xmin <= x && x <= xmax && ymin <= y && y <= ymax;
}

bool ZrConvertAzimuthalEquidistantMap::ImageToSphere(long double& dx, long double& dy,
                                                     long double& dz, long double& solidAngle,
                                                     long double x, long double y, int32_t width,
                                                     int32_t /*height*/) const {
  const long double c = (width - 1) * 0.5L;
  const long double ex = x - c;
  const long double ey = y - c;
  const long double rho = std::sqrt(ex * ex + ey * ey);
  const double pixelsPerDegree = (width - 1) / 180.0;  // double precision on purpose
  const long double thetaDeg = rho / pixelsPerDegree;
  if (thetaDeg > 90) return false;
  const long double theta = kPi * thetaDeg / 180;
  long double cosPhi, sinPhi;
  AzimuthCosSin(ex, ey, cosPhi, sinPhi);
  const long double sinTheta = std::sin(theta);
  dx = cosPhi * sinTheta;
  dy = sinPhi * sinTheta;
  dz = std::cos(theta);
  // theta grows by pi / (2c) per pixel of radius, so a unit pixel area rho drho dphi covers
  // sin(theta) dtheta dphi = pi sin(theta) / (2 c rho); the centre pixel is a small cap.
  if (rho <= 0) {
    solidAngle = kPi * kPi / (4 * c * c);
  } else {
    solidAngle = kPi * sinTheta / (2 * rho * c);
  }
  return true;
}

bool ZrConvertEquidistantCylindricalMap::CheckImageSize(int32_t, int32_t) const {
  return true;
}

bool ZrConvertEquidistantCylindricalMap::SphereToImage(long double& x, long double& y,
                                                       int32_t width, int32_t height,
                                                       long double dx, long double dy,
                                                       long double dz) const {
  if (dz > 1) dz = 1;
  if (dz < -1) dz = -1;
  const long double theta = std::acos(dz);
  if (dx == 0 && dy == 0) {
    x = 0;
  } else {
    x = std::atan2(dy, dx) * (1 / kPi) * 0.5L * width;
  }
  y = theta * (1 / kPi) * (height - 1);
  // A full turn is width pixels: the column after the last is the first again.
  if (x <= -0.5L) x = x + width;
  if (x >= width - 0.5L) x = x - width;
  const double xLimit = width - 0.5;
  const double yLimit = height - 0.5;
  return -0.5L <= x && x < xLimit && -0.5L <= y && y < yLimit;
}

bool ZrConvertEquidistantCylindricalMap::SphereToRect(long double&, long double&, long double,
                                                      long double, long double, long double,
                                                      long double, long double, long double) const {
  return false;  // not supported by this projection
}

bool ZrConvertEquidistantCylindricalMap::ImageToSphere(long double& dx, long double& dy,
                                                       long double& dz, long double& solidAngle,
                                                       long double x, long double y, int32_t width,
                                                       int32_t height) const {
  const long double phi = x * 2 * kPi / width;
  const long double theta = kPi * y / (height - 1.0);
  const long double sinTheta = std::sin(theta);
  dx = std::cos(phi) * sinTheta;
  dy = std::sin(phi) * sinTheta;
  dz = std::cos(theta);
  if (y - 0.5L >= 0 && y + 0.5L <= height - 1) {
    const double cell = static_cast<double>(height - 1) * width;
    solidAngle = 2 * sinTheta * kPi * kPi / cell;
  } else {
    // A pole row: the cap of half a row, shared by the width pixels of that row.
    const double cap = static_cast<double>(height - 1) * 4 * (height - 1) * width;
    solidAngle = kPi * kPi * kPi / cap;
  }
  return true;
}

namespace {

void FillAngleMaps(const ZrSphericalMappingConvert& mapping, ZrLDoubleMatrix& theta,
                   ZrLDoubleMatrix& phi, ZrLDoubleMatrix& solidAngle, const ZrLDoubleMatrix& mask) {
  for (ZrLDoubleMatrix* m : {&theta, &phi, &solidAngle}) {
    m->Create(mask.ColSize, mask.RowSize);
    m->Fill(0);
  }
  const int32_t width = mask.ColSize;
  const int32_t height = mask.RowSize;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      if (mask(x, y) == 0) continue;
      long double dx, dy, dz, omega;
      if (!mapping.ImageToSphere(dx, dy, dz, omega, x, y, width, height)) continue;
      theta(x, y) = std::acos(dz);
      phi(x, y) = (dx == 0 && dy == 0) ? 0 : std::atan2(dy, dx);
      solidAngle(x, y) = omega;
    }
  }
}

}  // namespace

void ZrBuildSphericalAngleMaps(ZrLDoubleMatrix& theta, ZrLDoubleMatrix& phi,
                               ZrLDoubleMatrix& solidAngle, const ZrLDoubleMatrix& mask,
                               const std::string& mappingName) {
  if (mappingName == "AzimuthalEquidistant") {
    FillAngleMaps(ZrConvertAzimuthalEquidistantMap(), theta, phi, solidAngle, mask);
  } else if (mappingName == "EquidistantCylindrical") {
    FillAngleMaps(ZrConvertEquidistantCylindricalMap(), theta, phi, solidAngle, mask);
  } else {
    throw ZrError("Mapping type is not supported");
  }
}
