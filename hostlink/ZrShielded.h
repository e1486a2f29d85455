// The error frame of the host link's operations: a ZrError passes (with the operation's
// signature appended when asked, building a call trail), anything else becomes
// "undefined err:" + the operation's signature.
#pragma once

#include <string>

#include "numerics/ZrError.h"

// Keep: a ZrError passes unchanged. Append: it gets "/" + signature (ZrError::AppendTrail).
enum class ZrTrail { Keep, Append };

template <class F>
auto ZrShielded(const char* signature, F&& f, ZrTrail trail = ZrTrail::Keep) -> decltype(f()) {
  try {
    return f();
  } catch (ZrError& e) {
    if (trail == ZrTrail::Append) e.AppendTrail(signature);
    throw;
  } catch (...) {
    throw ZrError(std::string("undefined err:") + signature);
  }
}
