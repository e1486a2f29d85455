// The RFA operations as the host sees them.
#include "rfahost/RfaPipeline.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "formats/ZrPluginLog.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "numerics/ZrError.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaScreenAdjust.h"

namespace {

const char kLogChain[] = "ApplyCheckedOperations";

ZrRegion CentredEllipse(const ZrFloatMatrix& image, double r, const std::string& name, int32_t red,
                        int32_t green, int32_t blue) {
  return RfaEllipseRegion(image.ColBegin + image.ColSize / 2, image.RowBegin + image.RowSize / 2, r,
                          r, name, red, green, blue);
}

void DrawSingleRegion(ZrPluginFuncVeldra& host, const ZrRegion& region) {
  const int32_t id = host.WindowGetFocusedID();
  host.RegionClear(id);
  host.RegionAdd(id, region);
  host.UpdateAll();
}

}  // namespace

void RfaFetchImageRecord(ZrPluginFuncVeldra& host, int32_t windowId, RfaImageRecord& record) {
  host.ImageGet(windowId, record.Image, true);
  host.ImageKeyDoubleGet(windowId, record.Doubles);
  host.ImageKeyStringGet(windowId, record.Texts);
}

void RfaSendImageRecord(ZrPluginFuncVeldra& host, int32_t windowId, const ZrFloatMatrix& image,
                        std::map<std::string, double>& doubles,
                        std::map<std::string, std::string>& texts) {
  host.ImageSet(windowId, image);
  host.ImageKeyDoubleSet(windowId, doubles);
  host.ImageKeyStringSet(windowId, texts);
}

void RfaAddLogEntry(std::map<std::string, std::string>& texts, const RfaParameters& params,
                    const std::string& operation) {
  ZrPluginLog log;
  log.Open(QFileInfo(QCoreApplication::applicationFilePath()).fileName().toUtf8().toStdString(),
           params.Version);
  log.LogOpenFunction(operation);
  if (operation == kLogChain) {
    // Each operation's switch, named by its file key without the trailing "_".
    for (const RfaOperation& step : RfaOperations()) {
      std::string name = RfaSwitchField(step).Key;
      name.pop_back();
      log.Add(name, params.*step.Checked);
    }
  }
  log.Write(texts);
}

int32_t RfaRequireFocusedImageWindow(ZrPluginFuncVeldra& host) {
  const int32_t id = host.WindowGetFocusedID();
  if (!host.GetIsModeImage(id)) throw ZrError("Please select image window");
  return id;
}

void RfaApplyCheckedToWindow(const RfaParameters& params, ZrPluginFuncVeldra& host,
                             int32_t sourceId, int32_t destinationId) {
  RfaImageRecord record;
  RfaFetchImageRecord(host, sourceId, record);
  RfaAddLogEntry(record.Texts, params, kLogChain);
  RfaKeyWriter keys(record.Doubles, record.Texts);
  RfaApplyCheckedOperations(record.Image, params, keys);
  RfaSendImageRecord(host, destinationId, record.Image, record.Doubles, record.Texts);
}

int32_t RfaNewImageFromWindow(const RfaParameters& params, ZrPluginFuncVeldra& host,
                              int32_t sourceId) {
  const int32_t destinationId = host.ImageNewWindow();
  RfaApplyCheckedToWindow(params, host, sourceId, destinationId);
  host.UpdateAll();
  return destinationId;
}

int32_t RfaMoveToCenterStep(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  const int32_t sourceId = host.WindowGetFocusedID();
  RfaImageRecord record;
  RfaFetchImageRecord(host, sourceId, record);
  RfaKeyWriter keys(record.Doubles, record.Texts);
  RfaWriteMoveToCenterKeys(keys, params);
  RfaMoveToCenter(record.Image, params.Sx, params.Sy);
  const int32_t id = host.ImageNewWindow();
  RfaSendImageRecord(host, id, record.Image, record.Doubles, record.Texts);
  // After the move the screen sits at the image centre: outline it, and the disc that the
  // spherical-harmonics fit will use, so the user sees at once whether Sx_/Sy_/Sr_ fit.
  host.RegionAdd(id, CentredEllipse(record.Image, params.Sr, "screen", 255, 0, 0));
  host.RegionAdd(id,
                 CentredEllipse(record.Image, params.Sr - params.SMargin, "fit disc", 0, 255, 0));
  host.UpdateAll();
  return id;
}

namespace {

// The background in a first new window and the image divided by it in a second, both with the
// source's keys; then the host redraws.
std::pair<int32_t, int32_t> ShowBackgroundAndQuotient(ZrPluginFuncVeldra& host,
                                                      const ZrFloatMatrix& image,
                                                      const ZrFloatMatrix& background,
                                                      std::map<std::string, double>& doubles,
                                                      std::map<std::string, std::string>& texts) {
  const int32_t backgroundId = host.ImageNewWindow();
  RfaSendImageRecord(host, backgroundId, background, doubles, texts);
  const ZrFloatMatrix quotient = RfaDivideByBackground(image, background);
  const int32_t quotientId = host.ImageNewWindow();
  RfaSendImageRecord(host, quotientId, quotient, doubles, texts);
  host.UpdateAll();
  return {backgroundId, quotientId};
}

}  // namespace

std::pair<int32_t, int32_t> RfaRemoveShBackgroundStep(const RfaParameters& params,
                                                      ZrPluginFuncVeldra& host) {
  // MappingIsAzM2 is always true after the panel binding, which selects this fit.
  const int32_t sourceId = host.WindowGetFocusedID();
  ZrFloatMatrix image;
  host.ImageGet(sourceId, image, true);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, params, image);
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  host.ImageKeyDoubleGet(sourceId, doubles);
  host.ImageKeyStringGet(sourceId, texts);
  RfaAddLogEntry(texts, params, "RemoveBackgroundSphericalHarmonics");
  RfaKeyWriter keys(doubles, texts);
  RfaWriteBackgroundKeys(keys, params);
  return ShowBackgroundAndQuotient(host, image, background, doubles, texts);
}

std::pair<int32_t, int32_t> RfaRemoveAzBackgroundStep(const RfaParameters& params,
                                                      ZrPluginFuncVeldra& host) {
  const int32_t sourceId = host.WindowGetFocusedID();
  ZrFloatMatrix image;
  host.ImageGet(sourceId, image, true);
  const ZrFloatMatrix background = RfaAzimuthalAverageBackground(
      image, static_cast<float>(params.Ax), static_cast<float>(params.Ay), 1.0f);
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  host.ImageKeyDoubleGet(sourceId, doubles);
  host.ImageKeyStringGet(sourceId, texts);
  RfaKeyWriter keys(doubles, texts);
  RfaWriteAverageAlongKeys(keys, params);
  return ShowBackgroundAndQuotient(host, image, background, doubles, texts);
}

namespace {

template <class WriteKeys, class Mask>
int32_t MaskStep(ZrPluginFuncVeldra& host, WriteKeys writeKeys, Mask mask) {
  const int32_t sourceId = RfaRequireFocusedImageWindow(host);
  RfaImageRecord record;
  host.ImageGetBySharedMemory(sourceId, record.Image);
  host.ImageKeyDoubleGet(sourceId, record.Doubles);
  host.ImageKeyStringGet(sourceId, record.Texts);
  RfaKeyWriter keys(record.Doubles, record.Texts);
  writeKeys(keys);
  mask(record.Image);
  const int32_t id = host.ImageNewWindow();
  RfaSendImageRecord(host, id, record.Image, record.Doubles, record.Texts);
  return id;
}

}  // namespace

int32_t RfaMaskMcpDipStep(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  return MaskStep(
      host, [&](RfaKeyWriter& keys) { RfaWriteMaskMcpDipKeys(keys, params); },
      [&](ZrFloatMatrix& image) {
        RfaMaskMcpDip(image, params.McpDipCx, params.McpDipCy, params.McpDipR);
      });
}

int32_t RfaMaskOutsideStep(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  return MaskStep(
      host, [&](RfaKeyWriter& keys) { RfaWriteMaskOutsideKeys(keys, params); },
      [&](ZrFloatMatrix& image) {
        RfaMaskOutside(image, params.MaskCx, params.MaskCy, params.MaskRx, params.MaskRy);
      });
}

ZrRegion RfaEllipseRegion(double cx, double cy, double rx, double ry, const std::string& name,
                          int32_t r, int32_t g, int32_t b) {
  ZrRegion region;
  region.regionType = "ELLIPSE";
  region.cx = static_cast<float>(cx);
  region.cy = static_cast<float>(cy);
  region.w = static_cast<float>(2.0 * rx);
  region.h = static_cast<float>(2.0 * ry);
  region.color.r = r;
  region.color.g = g;
  region.color.b = b;
  region.isMovable = true;
  region.name = name;
  return region;
}

ZrRegion RfaScreenRegion(const RfaParameters& params) {
  return RfaEllipseRegion(params.Sx, params.Sy, params.Sr, params.Sr, "screen", 255, 0, 0);
}

ZrRegion RfaDipRegion(const RfaParameters& params) {
  return RfaEllipseRegion(params.McpDipCx, params.McpDipCy, params.McpDipR, params.McpDipR,
                          "MCP dip", 0, 0, 255);
}

ZrRegion RfaMaskRegion(const RfaParameters& params) {
  return RfaEllipseRegion(params.MaskCx, params.MaskCy, params.MaskRx, params.MaskRy, "mask", 255,
                          255, 0);
}

void RfaDrawScreen(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  DrawSingleRegion(host, RfaScreenRegion(params));
}

void RfaDrawDip(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  DrawSingleRegion(host, RfaDipRegion(params));
}

void RfaDrawMask(const RfaParameters& params, ZrPluginFuncVeldra& host) {
  DrawSingleRegion(host, RfaMaskRegion(params));
}

void RfaUpdateMaskFromRegion(RfaParameters& params, ZrPluginFuncVeldra& host) {
  const int32_t id = host.WindowGetFocusedID();
  ZrLongMatrix ids;
  host.RegionGetIDList(id, ids);
  if (static_cast<int64_t>(ids.ColSize) * ids.RowSize != 1) {
    throw ZrError("Please make singe region for mask");
  }
  ZrRegion region;
  host.RegionGet(id, static_cast<int32_t>(ids.Data[0]), region);
  params.McpDipCx = region.cx;
  params.McpDipCy = region.cy;
  params.McpDipR = (static_cast<double>(region.w) + static_cast<double>(region.h)) / 4.0;
}

void RfaAdjustScreenOnHost(RfaParameters& params, ZrPluginFuncVeldra& host) {
  const int32_t id = host.WindowGetFocusedID();
  ZrFloatMatrix image;
  host.ImageGet(id, image, true);
  const RfaScreenAdjustResult found =
      RfaAdjustScreen(image, static_cast<double>(params.AdjThres), params.AdjSize);
  params.Sx = found.Cx;
  params.Sy = found.Cy;
  params.Sr = found.R;
  const ZrRegion outline = RfaScreenRegion(params);
  host.RegionClear(id);
  host.RegionAdd(id, outline);
  host.UpdateAll();
  if (params.IsShowTmp) {
    const int32_t tmpId = host.ImageNewWindow();
    host.ImageSet(tmpId, found.Clipped);
    host.RegionAdd(tmpId, outline);
    host.UpdateAll();
  }
}
