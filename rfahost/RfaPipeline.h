// The RFA operations as the host sees them: fetch the focused image and its key record, run
// one operation or the checked chain, and deliver the result to new host windows.
//
// Region geometry: every outline is an "ELLIPSE" region whose (cx, cy) is the centre in image
// pixels (x = column, y = row, from the image's begins) and whose (w, h) are the full width
// and height, i.e. twice the radii.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "hostlink/ZrHostTypes.h"
#include "numerics/ZrMatrix.h"

class RfaParameters;
class ZrPluginFuncVeldra;

struct RfaImageRecord {
  ZrFloatMatrix Image;
  std::map<std::string, double> Doubles;     // the window's "ImageKeyDouble" map
  std::map<std::string, std::string> Texts;  // the window's "ImageKeyString" map
};

// The image (NaN pixels cleared) and its two key maps.
void RfaFetchImageRecord(ZrPluginFuncVeldra& host, int32_t windowId, RfaImageRecord& record);
// Image, then the double keys, then the text keys.
void RfaSendImageRecord(ZrPluginFuncVeldra& host, int32_t windowId, const ZrFloatMatrix& image,
                        std::map<std::string, double>& doubles,
                        std::map<std::string, std::string>& texts);

// Stores the processing log under "log": the program's file name, the parameter set's version
// text and one record naming the operation (with the chain, which steps were checked).
void RfaAddLogEntry(std::map<std::string, std::string>& texts, const RfaParameters& params,
                    const std::string& operation);

// The focused window, which must be an image window ("Please select image window").
int32_t RfaRequireFocusedImageWindow(ZrPluginFuncVeldra& host);

// The checked chain from one window into another (also used by the series batch, where both
// are the series window).
void RfaApplyCheckedToWindow(const RfaParameters& params, ZrPluginFuncVeldra& host,
                             int32_t sourceId, int32_t destinationId);
// A new window first, then the chain into it, then "Update". Returns the new window's id.
int32_t RfaNewImageFromWindow(const RfaParameters& params, ZrPluginFuncVeldra& host,
                              int32_t sourceId);

// The single-step buttons, each on the focused window. They return the windows they create.
// "1) Move to center": the moved image plus two outlines about the image centre: the screen
// (radius Sr_) and the disc that the background fit uses (radius Sr_ - SMargin_).
int32_t RfaMoveToCenterStep(const RfaParameters& params, ZrPluginFuncVeldra& host);
// "2) Remove BG": (background window, quotient window).
std::pair<int32_t, int32_t> RfaRemoveShBackgroundStep(const RfaParameters& params,
                                                      ZrPluginFuncVeldra& host);
// "3) Remove Az. BG": (background window, quotient window).
std::pair<int32_t, int32_t> RfaRemoveAzBackgroundStep(const RfaParameters& params,
                                                      ZrPluginFuncVeldra& host);
int32_t RfaMaskMcpDipStep(const RfaParameters& params, ZrPluginFuncVeldra& host);
int32_t RfaMaskOutsideStep(const RfaParameters& params, ZrPluginFuncVeldra& host);

// Outlines of the screen circle (Sx_, Sy_, Sr_), the MCP dip circle (McpDip*) and the outside
// mask ellipse (Mask*).
ZrRegion RfaScreenRegion(const RfaParameters& params);
ZrRegion RfaDipRegion(const RfaParameters& params);
ZrRegion RfaMaskRegion(const RfaParameters& params);
ZrRegion RfaEllipseRegion(double cx, double cy, double rx, double ry, const std::string& name,
                          int32_t r, int32_t g, int32_t b);

// The draw buttons: clear the focused window's regions, add the outline, "Update".
void RfaDrawScreen(const RfaParameters& params, ZrPluginFuncVeldra& host);
void RfaDrawDip(const RfaParameters& params, ZrPluginFuncVeldra& host);
void RfaDrawMask(const RfaParameters& params, ZrPluginFuncVeldra& host);

// "Update Mask": the MCP dip circle from the focused window's only region: centre (cx, cy),
// radius the mean of the half width and half height. Any other number of regions:
// "Please make singe region for mask".
void RfaUpdateMaskFromRegion(RfaParameters& params, ZrPluginFuncVeldra& host);

// "Adjust Screen": finds the screen circle in the focused image, stores it in Sx_, Sy_, Sr_,
// outlines it there; with IsShowTmp_ also shows the clipped image with the outline in a new
// window.
void RfaAdjustScreenOnHost(RfaParameters& params, ZrPluginFuncVeldra& host);
