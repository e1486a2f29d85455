// Runs an operation of the host link: a ZrError passes unchanged, anything else becomes
// "undefined err:" + the operation's signature.
#pragma once

#include <string>

#include "numerics/ZrError.h"

template <class F>
auto ZrShielded(const char* signature, F&& f) -> decltype(f()) {
  try {
    return f();
  } catch (const ZrError&) {
    throw;
  } catch (...) {
    throw ZrError(std::string("undefined err:") + signature);
  }
}
