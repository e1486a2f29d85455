// Whether the image the chain leaves is a result, and if not, the likely reason.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaParameters.h"

// Pixels of an image: measured ones (finite and not 0) and non-finite ones.
struct RfaPixelCounts {
  int64_t Measured = 0;
  int64_t NonFinite = 0;
};
RfaPixelCounts RfaCountPixels(const ZrFloatMatrix& image);

// Follows one run of the chain, as its step observer (RfaApplyCheckedOperations), and judges
// the image it leaves. A result must hold a measured pixel and no non-finite one.
class RfaResultCheck {
 public:
  // source: the image the chain starts from.
  RfaResultCheck(const RfaParameters& params, const ZrFloatMatrix& source);

  void operator()(const char* group, const ZrFloatMatrix& image);

  // No measured pixel but nothing non-finite either: a result only when the caller allows it.
  bool IsEmpty() const;
  // "" for a result; otherwise what is wrong, the operation that did it and its likely cause,
  // e.g. "the result is 0 everywhere: the MCP dip mask (McpDipCx_=150 McpDipCy_=140
  // McpDipR_=1e+30) covers every pixel left".
  std::string Problem() const;

 private:
  const RfaParameters params_;
  int32_t cols_ = 0;
  int32_t rows_ = 0;
  RfaPixelCounts last_;
  std::string emptiedBy_;      // the operation after which no measured pixel was left
  std::string nonFiniteFrom_;  // the operation after which the first non-finite pixel showed
};
