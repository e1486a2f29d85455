// The host-free part of the RFA operation chain, shared by the plug-in and batch front-ends.
#pragma once

#include <functional>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"

class RfaParameters;
class RfaKeyWriter;

// Called after each checked operation with the operation's key group ("MoveToCenter", ...)
// and the image it left.
using RfaStepObserver = std::function<void(const char* group, const ZrFloatMatrix& image)>;

// Runs the checked operations on image in their fixed order, each followed by its key group:
// move to centre ("MoveToCenter"), division by the spherical-harmonics background
// ("RFA_background"), division by the azimuthal-average background about (Ax, Ay) narrowed to
// float with a ring width of 1 pixel ("AverageAlong"), MCP dip mask ("MaskMcpDip"), outside
// mask ("MaskOutside"). With no operation checked the image and keys are left as they are.
// Fetching the image, the log entry and sending the result belong to the caller. fit: how the
// background fit runs (threads, reuse, where to report); the result is the same bits.
void RfaApplyCheckedOperations(ZrFloatMatrix& image, const RfaParameters& p, RfaKeyWriter& keys,
                               const RfaFitOptions& fit = {},
                               const RfaStepObserver& observer = nullptr);
