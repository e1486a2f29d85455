// Handlers of the region and line functions, and the region statistics.
#include <algorithm>
#include <cmath>
#include <limits>

#include "refhost/ZrRefHostHandlers.h"

namespace {

// Pixels of the window image that lie inside a region: rectangles by their extent, ellipses
// by their equation; other shapes count as rectangles.
bool InsideRegion(const ZrRegion& region, double x, double y) {
  const double rx = region.w / 2.0, ry = region.h / 2.0;
  const double dx = x - region.cx, dy = y - region.cy;
  if (region.regionType == "ELLIPSE") {
    if (rx <= 0 || ry <= 0) return false;
    return (dx / rx) * (dx / rx) + (dy / ry) * (dy / ry) <= 1.0;
  }
  return std::fabs(dx) <= rx && std::fabs(dy) <= ry;
}

// The region named by "RegionID"; "Region is not found:<id>" when the window has none.
const ZrRegion& NamedRegion(ZrRefHostCall& call, int32_t& regionId) {
  call.Request.Packer().Value("RegionID", regionId);
  ZrRefHostWindow& w = call.Window();
  const auto it = w.Regions.find(regionId);
  if (it == w.Regions.end()) throw ZrError("Region is not found:" + std::to_string(regionId));
  return it->second;
}

void RegionAdd(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Window();
  ZrRegion region;
  call.Request.Region(region);
  const int32_t regionId = call.Host.NextRegionId++;
  w.Regions[regionId] = region;
  call.Result("RegionID", regionId);
}

void RegionClear(ZrRefHostCall& call) {
  call.Window().Regions.clear();
}

void RegionGetIDList(ZrRefHostCall& call) {
  std::vector<int32_t> ids;
  for (const auto& r : call.Window().Regions) ids.push_back(r.first);
  call.ResultIds(ids);
}

void RegionGet(ZrRefHostCall& call) {
  int32_t regionId = -1;
  call.ResultRegion(NamedRegion(call, regionId));
}

void RegionGetIMinMaxAverage(ZrRefHostCall& call) {
  int32_t regionId = -1;
  const ZrRegion& region = NamedRegion(call, regionId);
  const ZrFloatMatrix& img = call.Window().Image;
  float mn = std::numeric_limits<float>::max(), mx = -mn;
  long double sum = 0;
  int64_t n = 0;
  for (int32_t y = img.RowBegin; y < img.RowBegin + img.RowSize; ++y) {
    for (int32_t x = img.ColBegin; x < img.ColBegin + img.ColSize; ++x) {
      if (!InsideRegion(region, x, y)) continue;
      const float v = img(x, y);
      mn = std::min(mn, v);
      mx = std::max(mx, v);
      sum += v;
      ++n;
    }
  }
  if (n == 0) throw ZrError("Region holds no pixel:" + std::to_string(regionId));
  call.Result("min", mn);
  call.Result("max", mx);
  call.Result("average", static_cast<float>(sum / n));
}

void LineAdd(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Window();
  ZrPackUnpack::ZrPackUnpackCustom& in = call.Request.Packer();
  ZrRefHostLine line;
  in.Value("x0", line.X0);
  in.Value("y0", line.Y0);
  in.Value("x1", line.X1);
  in.Value("y1", line.Y1);
  in.Value("width", line.Width);
  call.Request.Color("color", line.Color);
  in.Value("isMovable", line.IsMovable);
  in.Value("name", line.Name);
  line.Id = call.Host.NextRegionId++;
  w.Lines[line.Id] = line;
  call.Result("RegionID", line.Id);
}

void LineGetIDList(ZrRefHostCall& call) {
  std::vector<int32_t> ids;
  for (const auto& l : call.Window().Lines) ids.push_back(l.first);
  call.ResultIds(ids);
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostRegionHandlers() {
  return {{ZrHostFunction::RegionAdd, RegionAdd},
          {ZrHostFunction::RegionClear, RegionClear},
          {ZrHostFunction::RegionGetIDList, RegionGetIDList},
          {ZrHostFunction::RegionGet, RegionGet},
          {ZrHostFunction::RegionGetIMinMaxAverage, RegionGetIMinMaxAverage},
          {ZrHostFunction::LineAdd, LineAdd},
          {ZrHostFunction::LineGetIDList, LineGetIDList}};
}
