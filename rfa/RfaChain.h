// The host-free part of the RFA operation chain, shared by the plug-in and batch front-ends:
// the table of its operations and the run of the checked ones.
#pragma once

#include <functional>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaInterpolation.h"
#include "rfa/RfaParameterFields.h"

class RfaParameters;
class RfaKeyWriter;

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

// One operation of the chain, a row of RfaOperations().
struct RfaOperation {
  const char* Group;             // its key group, written right after it: "MoveToCenter"
  bool RfaParameters::*Checked;  // its switch: IsMoveCenter
  const char* OffOption;         // the rfa-process option that skips it: "--no-move-center"
  const char* Help;              // what it does, for that option's help: "move to centre"
  // Changes the image as options ask (options.Fit: how a background fit runs; the result is
  // the same bits).
  void (*Run)(ZrFloatMatrix& image, const RfaParameters& p, const RfaChainOptions& options);
  void (*WriteKeys)(RfaKeyWriter& keys, const RfaParameters& p);  // its group's entries
};

// The operations in the chain's fixed order: move to centre ("MoveToCenter"), division by the
// spherical-harmonics background ("RFA_background"), division by the azimuthal-average
// background about (Ax, Ay) narrowed to float with a ring width of 1 pixel ("AverageAlong"),
// MCP dip mask ("MaskMcpDip"), outside mask ("MaskOutside").
const std::vector<RfaOperation>& RfaOperations();

// The field of an operation's switch ("IsMoveCenter_").
const RfaParameterField& RfaSwitchField(const RfaOperation& operation);

// Called after each checked operation with the operation's key group ("MoveToCenter", ...)
// and the image it left.
using RfaStepObserver = std::function<void(const char* group, const ZrFloatMatrix& image)>;

// Runs the checked operations on image in their fixed order, each followed by its key group.
// With no operation checked the image and keys are left as they are. Fetching the image, the
// log entry and sending the result belong to the caller.
void RfaApplyCheckedOperations(ZrFloatMatrix& image, const RfaParameters& p, RfaKeyWriter& keys,
                               const RfaChainOptions& options = {},
                               const RfaStepObserver& observer = nullptr);
