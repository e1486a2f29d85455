// The debug sink of the numerical code.
#include "numerics/ZrDebugOutput.h"

#include <atomic>
#include <cmath>
#include <locale>
#include <sstream>

namespace {

std::atomic<ZrDebugSink> gSink{nullptr};

}  // namespace

void ZrSetDebugSink(ZrDebugSink sink) {
  gSink.store(sink);
}

bool ZrDebugEnabled() {
  return gSink.load() != nullptr;
}

ZrDebug::ZrDebug() : sink_(gSink.load()) {}

ZrDebug::~ZrDebug() {
  if (sink_ != nullptr) sink_(line_);
}

void ZrDebug::Piece(const std::string& text) {
  if (!line_.empty()) line_ += ' ';
  line_ += text;
}

ZrDebug& ZrDebug::operator<<(const char* text) {
  if (sink_ != nullptr) Piece(text);
  return *this;
}

ZrDebug& ZrDebug::operator<<(int32_t value) {
  if (sink_ != nullptr) Piece(std::to_string(value));
  return *this;
}

ZrDebug& ZrDebug::operator<<(double value) {
  if (sink_ == nullptr) return *this;
  if (std::isnan(value)) {
    Piece("nan");
  } else if (value == 0) {
    Piece("0");
  } else {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    Piece(out.str());
  }
  return *this;
}
