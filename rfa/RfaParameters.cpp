// The process-wide parameter set.
#include "rfa/RfaParameters.h"

RfaParameters& RfaParameters::Instance() {
  static RfaParameters instance;
  return instance;
}
