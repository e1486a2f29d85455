// Synthetic sample screens and the parameter set that fits them.
#include <cmath>
#include <filesystem>

#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageFile.h"
#include "tools/RfaProcess.h"

namespace {

// Geometry of a 256-pixel sample; other sizes scale it. The screen centre lies off the image
// centre so that "move to centre" has work to do.
constexpr double kCx = 120.0;
constexpr double kCy = 134.0;
constexpr double kRadius = 100.0;
constexpr double kDipCx = 142.0;
constexpr double kDipCy = 146.0;
constexpr double kDipRadius = 8.0;

}  // namespace

RfaSyntheticScreenOptions RfaSampleOptions(int index, int size) {
  const double s = size / 256.0;
  RfaSyntheticScreenOptions o;
  o.Width = size;
  o.Height = size;
  o.Cx = kCx * s;
  o.Cy = kCy * s;
  o.Radius = kRadius * s;
  o.RimWidth = 1.5 * s;
  o.DipCx = kDipCx * s;
  o.DipCy = kDipCy * s;
  o.DipRadius = kDipRadius * s;
  o.TiltAzimuthDeg = 30.0 + 70.0 * (index - 1);
  o.Tilt = 0.25 + 0.05 * (index % 3);
  o.SpotCount = 4 + 2 * (index % 3);
  o.SpotThetaDeg = 35.0 + 5.0 * (index % 2);
  o.Seed = static_cast<uint32_t>(index);
  return o;
}

RfaParameters RfaSampleParameters(int size) {
  const double s = size / 256.0;
  const RfaSyntheticScreenOptions o = RfaSampleOptions(1, size);
  RfaParameters p;
  p.Sx = o.Cx;
  p.Sy = o.Cy;
  p.Sr = o.Radius;
  p.SMargin = static_cast<int32_t>(std::lround(5 * s));
  p.SizeL = 5;
  p.Ax = size / 2;
  p.Ay = size / 2;
  // "Move to centre" shifts by whole pixels, truncated toward zero; the dip moves with it.
  const double dx = std::trunc(size / 2 - p.Sx);
  const double dy = std::trunc(size / 2 - p.Sy);
  p.McpDipCx = std::round(o.DipCx + dx);
  p.McpDipCy = std::round(o.DipCy + dy);
  p.McpDipR = std::round(o.DipRadius + 2 * s);
  p.MaskCx = size / 2;
  p.MaskCy = size / 2;
  p.MaskRx = std::round(o.Radius - 3 * s);
  p.MaskRy = p.MaskRx;
  return p;
}

void RfaWriteParameterFile(const std::string& path, const RfaParameters& params) {
  ZrWriteFileAtomic(path, RfaParameterFileText(params));
}

std::vector<std::string> RfaMakeSamples(const std::string& dir, int count, int size) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw ZrError(dir + ": cannot create folder (" + ec.message() + ")");
  std::vector<std::string> paths;
  for (int i = 1; i <= count; ++i) {
    paths.push_back(dir + "/sample-" + std::to_string(i) + ".tif");
    ZrImageWrite(paths.back(), RfaMakeSyntheticScreen(RfaSampleOptions(i, size)));
  }
  RfaParameters params = RfaSampleParameters(size);
  RfaWriteParameterFile(dir + "/default.rfa_bg", params);
  return paths;
}
