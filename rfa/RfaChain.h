// The host-free part of the RFA operation chain, shared by the plug-in and batch front-ends:
// the table of its operations and the run of the checked ones.
#pragma once

#include <functional>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaParameterFields.h"

class RfaParameters;
class RfaKeyWriter;

// One operation of the chain, a row of RfaOperations().
struct RfaOperation {
  const char* group;             // its key group, written right after it: "MoveToCenter"
  bool RfaParameters::*checked;  // its switch: IsMoveCenter
  const char* offOption;         // the rfa-process option that skips it: "--no-move-center"
  const char* help;              // what it does, for that option's help: "move to centre"
  // Changes the image; fit: how a background fit runs (the result is the same bits).
  void (*run)(ZrFloatMatrix& image, const RfaParameters& p, const RfaFitOptions& fit);
  void (*writeKeys)(RfaKeyWriter& keys, const RfaParameters& p);  // its group's entries
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
                               const RfaFitOptions& fit = {},
                               const RfaStepObserver& observer = nullptr);
