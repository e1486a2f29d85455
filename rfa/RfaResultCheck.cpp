// Judging the image the chain leaves.
#include "rfa/RfaResultCheck.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>

RfaPixelCounts RfaCountPixels(const ZrFloatMatrix& image) {
  // Without branches, so that the compiler counts several pixels at once: the check runs after
  // every step of the chain. |v| <= FLT_MAX fails for infinities and NaN; v == 0 holds for +0
  // and -0 only.
  RfaPixelCounts counts;
  const float* const data = image.Data;
  const int64_t n = image.Count();
  constexpr int64_t kBlock = 1 << 20;  // the per-block counts cannot overflow
  for (int64_t first = 0; first < n; first += kBlock) {
    const int32_t size = static_cast<int32_t>(std::min(n - first, kBlock));
    const float* const block = data + first;
    int32_t finite = 0;
    int32_t zero = 0;
#pragma omp simd reduction(+ : finite, zero)
    for (int32_t i = 0; i < size; ++i) {
      finite += std::fabs(block[i]) <= std::numeric_limits<float>::max() ? 1 : 0;
      zero += block[i] == 0.0f ? 1 : 0;
    }
    counts.NonFinite += size - finite;
    counts.Measured += finite - zero;
  }
  return counts;
}

RfaResultCheck::RfaResultCheck(const RfaParameters& params, const ZrFloatMatrix& source)
    : params_(params), cols_(source.ColSize), rows_(source.RowSize) {
  (*this)("", source);
}

void RfaResultCheck::operator()(const char* group, const ZrFloatMatrix& image) {
  const RfaPixelCounts counts = RfaCountPixels(image);
  if (counts.Measured == 0 && emptiedBy_.empty()) emptiedBy_ = group[0] != 0 ? group : "source";
  if (counts.NonFinite > 0 && nonFiniteFrom_.empty()) {
    nonFiniteFrom_ = group[0] != 0 ? group : "source";
  }
  last_ = counts;
}

bool RfaResultCheck::IsEmpty() const {
  return last_.Measured == 0 && last_.NonFinite == 0;
}

std::string RfaResultCheck::Problem() const {
  const RfaParameters& p = params_;
  std::ostringstream text;
  if (last_.NonFinite > 0) {
    text << "the result holds " << last_.NonFinite << " non-finite pixel"
         << (last_.NonFinite == 1 ? "" : "s");
    if (nonFiniteFrom_ == "source") {
      text << ": the image's own infinite pixels, which no checked operation replaces";
    } else if (nonFiniteFrom_ == "RFA_background") {
      text << ", first after the spherical-harmonics background: its fit is likely ill-posed "
              "(Size_l_="
           << p.SizeL
           << " for the pixels on the disc of radius Sr_ - SMargin_ = " << p.Sr - p.SMargin << ")";
    } else {
      text << ", first after the step \"" << nonFiniteFrom_ << "\"";
    }
    return text.str();
  }
  if (last_.Measured > 0) return "";
  text << "the result is 0 everywhere: ";
  if (emptiedBy_ == "source" || emptiedBy_.empty()) {
    text << "the image holds no finite pixel other than 0";
  } else if (emptiedBy_ == "RFA_background" && p.SizeL < 0) {
    text << "the spherical-harmonics degree Size_l_=" << p.SizeL
         << " is below 0, so that background is 0";
  } else if (emptiedBy_ == "MaskMcpDip") {
    text << "the MCP dip mask (McpDipCx_=" << p.McpDipCx << " McpDipCy_=" << p.McpDipCy
         << " McpDipR_=" << p.McpDipR << ") covers every pixel left";
  } else if (emptiedBy_ == "MaskOutside") {
    text << "the outside mask (MaskCx_=" << p.MaskCx << " MaskCy_=" << p.MaskCy
         << " MaskRx_=" << p.MaskRx << " MaskRy_=" << p.MaskRy
         << ") keeps none of the pixels left: the screen (Sx_=" << p.Sx << " Sy_=" << p.Sy
         << " Sr_=" << p.Sr << ") likely lies elsewhere on this " << cols_ << " x " << rows_
         << " image or outside it, or the parameters are for another image";
  } else {
    text << "no pixel is left after the step \"" << emptiedBy_ << "\"";
  }
  return text.str();
}
