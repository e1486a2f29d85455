// The host-free part of the RFA operation chain, shared by the plug-in and batch front-ends.
#pragma once

#include <functional>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaInterpolation.h"

class RfaParameters;
class RfaKeyWriter;

// Called after each checked operation with the operation's key group ("MoveToCenter", ...)
// and the image it left.
using RfaStepObserver = std::function<void(const char* group, const ZrFloatMatrix& image)>;

// How the chain runs beyond the parameters; the defaults give the plug-in's chain. A fit's
// options convert to these, so callers that only choose how the fit runs pass those.
struct RfaChainOptions {
  RfaChainOptions(const RfaFitOptions& fit = {}) : Fit(fit) {}  // NOLINT(runtime/explicit)
  RfaFitOptions Fit;
  // "Move to centre" by an interpolated shift of exactly (ColSize / 2 - Sx, RowSize / 2 - Sy)
  // (RfaMoveToCenterSubpixel) instead of the whole-pixel roll. The key group is the same.
  bool Subpixel = false;
  RfaInterpolation Interpolation = RfaInterpolation::Keys;
  // Where to keep the spherical-harmonics background and the image it was fitted to (both left
  // as they are when the chain fits none); may be null.
  ZrFloatMatrix* Background = nullptr;
  ZrFloatMatrix* Fitted = nullptr;
};

// Runs the checked operations on image in their fixed order, each followed by its key group:
// move to centre ("MoveToCenter"), division by the spherical-harmonics background
// ("RFA_background"), division by the azimuthal-average background about (Ax, Ay) narrowed to
// float with a ring width of 1 pixel ("AverageAlong"), MCP dip mask ("MaskMcpDip"), outside
// mask ("MaskOutside"). With no operation checked the image and keys are left as they are.
// Fetching the image, the log entry and sending the result belong to the caller. options.Fit:
// how the background fit runs (threads, reuse, where to report); the result is the same bits.
void RfaApplyCheckedOperations(ZrFloatMatrix& image, const RfaParameters& p, RfaKeyWriter& keys,
                               const RfaChainOptions& options = {},
                               const RfaStepObserver& observer = nullptr);
