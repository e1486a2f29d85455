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
  double X, Y, Z;
};

Direction UnitVector(double theta, double phi) {
  return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

}  // namespace

ZrFloatMatrix RfaMakeSyntheticScreen(const RfaSyntheticScreenOptions& o) {
  if (o.Width < 0 || o.Height < 0) throw ZrError("Synthetic screen: negative image size");
  if (!(o.Radius > 0.0)) throw ZrError("Synthetic screen: the radius must be positive");
  ZrFloatMatrix image(o.Width, o.Height);
  std::mt19937 engine(o.Seed);

  std::vector<Direction> spots;
  for (int32_t s = 0; s < o.SpotCount; ++s) {
    spots.push_back(UnitVector(o.SpotThetaDeg * kDeg, 2.0 * kPi * s / o.SpotCount));
  }
  const double spotWidth = o.SpotWidthDeg * kDeg;
  const double outer = o.Radius + (o.RimWidth > 0.0 ? 8.0 * o.RimWidth : 0.0);

  for (int32_t y = 0; y < o.Height; ++y) {
    for (int32_t x = 0; x < o.Width; ++x) {
      const double dx = x - o.Cx;
      const double dy = y - o.Cy;
      const double d = std::sqrt(dx * dx + dy * dy);
      float& pixel = image(x, y);
      if (o.RimWidth > 0.0 ? d >= outer : d >= o.Radius) {
        pixel = 0.0f;
        continue;
      }
      const double theta = std::min(d / o.Radius, 1.0) * o.ThetaMaxDeg * kDeg;
      const double phi = std::atan2(dy, dx);
      double value = o.Level *
                     (1.0 + o.Tilt * std::sin(theta) * std::cos(phi - o.TiltAzimuthDeg * kDeg)) *
                     (1.0 - o.PolarFall * (1.0 - std::cos(theta)));

      double fine = 0.0;
      const Direction here = UnitVector(theta, phi);
      for (const Direction& s : spots) {
        const double c = std::clamp(here.X * s.X + here.Y * s.Y + here.Z * s.Z, -1.0, 1.0);
        const double angle = std::acos(c);
        fine += std::exp(-0.5 * (angle / spotWidth) * (angle / spotWidth));
      }
      if (o.RingPeriodDeg > 0.0) {
        fine += 0.25 * (1.0 + std::cos(2.0 * kPi * theta / (o.RingPeriodDeg * kDeg)));
      }
      value *= 1.0 + o.FineAmplitude * fine;

      const double ddx = x - o.DipCx;
      const double ddy = y - o.DipCy;
      if (ddx * ddx + ddy * ddy < o.DipRadius * o.DipRadius) value *= 1.0 - o.DipDepth;
      if (o.RimWidth > 0.0) value /= 1.0 + std::exp((d - o.Radius) / o.RimWidth);

      value *= 1.0 + o.Noise * NormalDeviate(engine);
      pixel = static_cast<float>(std::max(value, 0.0));
    }
  }
  return ZrReturnFast(image);
}
