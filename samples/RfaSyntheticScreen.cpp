// Synthetic RFA screen images.
#include "samples/RfaSyntheticScreen.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;

// One standard normal deviate from two 32-bit draws (Box-Muller, cosine branch). Written out
// because the standard library's normal distribution differs between implementations.
double NormalDeviate(std::mt19937& engine) {
  const double u1 = (static_cast<double>(engine()) + 0.5) / 4294967296.0;  // (0, 1)
  const double u2 = (static_cast<double>(engine()) + 0.5) / 4294967296.0;
  return std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * kPi * u2);
}

struct Direction {
  double x, y, z;
};

Direction UnitVector(double theta, double phi) {
  return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

}  // namespace

ZrFloatMatrix RfaMakeSyntheticScreen(const RfaSyntheticScreenOptions& o) {
  if (o.width < 0 || o.height < 0) throw ZrError("Synthetic screen: negative image size");
  if (!(o.radius > 0.0)) throw ZrError("Synthetic screen: the radius must be positive");
  ZrFloatMatrix image(o.width, o.height);
  std::mt19937 engine(o.seed);

  std::vector<Direction> spots;
  for (int32_t s = 0; s < o.spotCount; ++s) {
    spots.push_back(UnitVector(o.spotThetaDeg * kDeg, 2.0 * kPi * s / o.spotCount));
  }
  const double spotWidth = o.spotWidthDeg * kDeg;
  const double outer = o.radius + (o.rimWidth > 0.0 ? 8.0 * o.rimWidth : 0.0);

  for (int32_t y = 0; y < o.height; ++y) {
    for (int32_t x = 0; x < o.width; ++x) {
      const double dx = x - o.cx;
      const double dy = y - o.cy;
      const double d = std::sqrt(dx * dx + dy * dy);
      float& pixel = image(x, y);
      if (o.rimWidth > 0.0 ? d >= outer : d >= o.radius) {
        pixel = 0.0f;
        continue;
      }
      const double theta = std::min(d / o.radius, 1.0) * o.thetaMaxDeg * kDeg;
      const double phi = std::atan2(dy, dx);
      double value = o.level *
                     (1.0 + o.tilt * std::sin(theta) * std::cos(phi - o.tiltAzimuthDeg * kDeg)) *
                     (1.0 - o.polarFall * (1.0 - std::cos(theta)));

      double fine = 0.0;
      const Direction here = UnitVector(theta, phi);
      for (const Direction& s : spots) {
        const double c = std::clamp(here.x * s.x + here.y * s.y + here.z * s.z, -1.0, 1.0);
        const double angle = std::acos(c);
        fine += std::exp(-0.5 * (angle / spotWidth) * (angle / spotWidth));
      }
      if (o.ringPeriodDeg > 0.0) {
        fine += 0.25 * (1.0 + std::cos(2.0 * kPi * theta / (o.ringPeriodDeg * kDeg)));
      }
      value *= 1.0 + o.fineAmplitude * fine;

      const double ddx = x - o.dipCx;
      const double ddy = y - o.dipCy;
      if (ddx * ddx + ddy * ddy < o.dipRadius * o.dipRadius) value *= 1.0 - o.dipDepth;
      if (o.rimWidth > 0.0) value /= 1.0 + std::exp((d - o.radius) / o.rimWidth);

      value *= 1.0 + o.noise * NormalDeviate(engine);
      pixel = static_cast<float>(std::max(value, 0.0));
    }
  }
  return ZrReturnFast(image);
}
