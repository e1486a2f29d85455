// The host-free RFA operation chain.
#include "rfa/RfaChain.h"

#include "rfa/RfaImageOps.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameters.h"

void RfaApplyCheckedOperations(ZrFloatMatrix& image, const RfaParameters& p, RfaKeyWriter& keys,
                               const RfaChainOptions& options, const RfaStepObserver& observer) {
  const auto done = [&](const char* group) {
    if (observer) observer(group, image);
  };
  if (p.IsMoveCenter) {
    if (options.Subpixel) {
      RfaMoveToCenterSubpixel(image, p.Sx, p.Sy, options.Interpolation);
    } else {
      RfaMoveToCenter(image, p.Sx, p.Sy);
    }
    RfaWriteMoveToCenterKeys(keys, p);
    done("MoveToCenter");
  }
  if (p.IsBgSh) {
    ZrFloatMatrix background;
    RfaSphericalHarmonicsBackground(background, p, image, options.Fit);
    if (options.Fitted != nullptr) *options.Fitted = image;
    image = RfaDivideByBackground(image, background);
    if (options.Background != nullptr) *options.Background = background;
    RfaWriteBackgroundKeys(keys, p);
    done("RFA_background");
  }
  if (p.IsBgAz) {
    const ZrFloatMatrix background = RfaAzimuthalAverageBackground(image, static_cast<float>(p.Ax),
                                                                   static_cast<float>(p.Ay), 1.0f);
    image = RfaDivideByBackground(image, background);
    RfaWriteAverageAlongKeys(keys, p);
    done("AverageAlong");
  }
  if (p.IsMaskMcpDip) {
    RfaMaskMcpDip(image, p.McpDipCx, p.McpDipCy, p.McpDipR);
    RfaWriteMaskMcpDipKeys(keys, p);
    done("MaskMcpDip");
  }
  if (p.IsMaskOutside) {
    RfaMaskOutside(image, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
    RfaWriteMaskOutsideKeys(keys, p);
    done("MaskOutside");
  }
}
