// The process-wide parameter set.
#include "rfa/RfaParameters.h"

#include <sstream>

#include "numerics/ZrError.h"

RfaParameters& RfaParameters::Instance() {
  static RfaParameters instance;
  return instance;
}

void RfaParameters::CheckRanges() const {
  const auto check = [](const char* key, auto value, decltype(value) lo, decltype(value) hi) {
    if (value >= lo && value <= hi) return;
    std::ostringstream text;
    text << "parameter " << key << " = " << value << " is out of range (" << lo << " to " << hi
         << ")";
    throw ZrError(text.str());
  };
  check("Size_l_", Size_l, -1, 99);
  check("Sr_", Sr, 0, 1e6);
  check("SMargin_", SMargin, -1e6, 1e6);
  check("Ax_", Ax, -1e6, 1e6);
  check("Ay_", Ay, -1e6, 1e6);
}
