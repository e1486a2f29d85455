// The host-free RFA operation chain.
#include "rfa/RfaChain.h"

#include <algorithm>

#include "numerics/ZrError.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"

namespace {

using P = RfaParameters;

void MoveToCenter(ZrFloatMatrix& image, const P& p, const RfaChainOptions& options) {
  if (options.Subpixel) {
    RfaMoveToCenterSubpixel(image, p.Sx, p.Sy, options.Interpolation);
  } else {
    RfaMoveToCenter(image, p.Sx, p.Sy);
  }
}

void DivideBySphericalHarmonics(ZrFloatMatrix& image, const P& p, const RfaChainOptions& options) {
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, p, image, options.Fit);
  if (options.Fitted != nullptr) *options.Fitted = image;
  image = RfaDivideByBackground(image, background);
  if (options.Background != nullptr) *options.Background = background;
}

void DivideByAzimuthalAverage(ZrFloatMatrix& image, const P& p, const RfaChainOptions& options) {
  // On the fit's threads: the background is the same bits for any count.
  const int32_t threads = options.Fit.Threads > 0 ? options.Fit.Threads : RfaFitThreads();
  const ZrFloatMatrix background =
      RfaAzimuthalAverageBackground(image, static_cast<float>(p.Ax), static_cast<float>(p.Ay), 1.0f,
                                    RfaRingStatistic::Median, threads);
  image = RfaDivideByBackground(image, background);
}

void MaskMcpDip(ZrFloatMatrix& image, const P& p, const RfaChainOptions&) {
  RfaMaskMcpDip(image, p.McpDipCx, p.McpDipCy, p.McpDipR);
}

void MaskOutside(ZrFloatMatrix& image, const P& p, const RfaChainOptions&) {
  RfaMaskOutside(image, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
}

}  // namespace

const std::vector<RfaOperation>& RfaOperations() {
  static const std::vector<RfaOperation> operations = {
      {"MoveToCenter", &P::IsMoveCenter, "--no-move-center", "move to centre", MoveToCenter,
       RfaWriteMoveToCenterKeys},
      {"RFA_background", &P::IsBgSh, "--no-bg-sh", "spherical-harmonics background",
       DivideBySphericalHarmonics, RfaWriteBackgroundKeys},
      {"AverageAlong", &P::IsBgAz, "--no-bg-az", "azimuthal-average background",
       DivideByAzimuthalAverage, RfaWriteAverageAlongKeys},
      {"MaskMcpDip", &P::IsMaskMcpDip, "--no-mask-dip", "MCP dip mask", MaskMcpDip,
       RfaWriteMaskMcpDipKeys},
      {"MaskOutside", &P::IsMaskOutside, "--no-mask-outside", "outside mask", MaskOutside,
       RfaWriteMaskOutsideKeys},
  };
  return operations;
}

const RfaParameterField& RfaSwitchField(const RfaOperation& operation) {
  const auto& fields = RfaParameterFields();
  const auto it = std::find_if(fields.begin(), fields.end(), [&](const RfaParameterField& f) {
    const auto* member = std::get_if<bool P::*>(&f.Member);
    return member != nullptr && *member == operation.Checked;
  });
  if (it == fields.end()) throw ZrError(std::string("no stored switch for ") + operation.Group);
  return *it;
}

void RfaApplyCheckedOperations(ZrFloatMatrix& image, const RfaParameters& p, RfaKeyWriter& keys,
                               const RfaChainOptions& options, const RfaStepObserver& observer) {
  for (const RfaOperation& operation : RfaOperations()) {
    if (!(p.*operation.Checked)) continue;
    operation.Run(image, p, options);
    operation.WriteKeys(keys, p);
    if (observer) observer(operation.Group, image);
  }
}
