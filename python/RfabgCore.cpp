// The plain C++ side of the Python module rfabg.
#include "python/RfabgCore.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "numerics/ZrError.h"
#include "rfa/RfaParameterFields.h"

RfabgNaN RfabgNaNFromName(const std::string& name) {
  if (name == "zero") return RfabgNaN::Zero;
  if (name == "raise") return RfabgNaN::Raise;
  if (name == "keep") return RfabgNaN::Keep;
  throw ZrError("nan must be \"zero\", \"raise\" or \"keep\", not \"" + name + "\"");
}

RfabgImage::RfabgImage(const float* pixels, int64_t rows, int64_t cols, RfabgNaN nan) {
  constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
  if (rows < 0 || cols < 0 || rows > kMax || cols > kMax) {
    throw ZrError("image of " + std::to_string(rows) + " x " + std::to_string(cols) +
                  " pixels is too large (at most " + std::to_string(kMax) + " on a side)");
  }
  const int64_t count = rows * cols;
  int64_t nans = 0;
  int64_t first = -1;
  for (int64_t i = 0; i < count && nan != RfabgNaN::Keep; ++i) {
    if (std::isnan(pixels[i])) {
      if (nans++ == 0) first = i;
    }
  }
  if (nans > 0 && nan == RfabgNaN::Raise) {
    throw ZrError("image holds " + std::to_string(nans) + " NaN pixel" + (nans > 1 ? "s" : "") +
                  ", the first at (x, y) = (" + std::to_string(first % cols) + ", " +
                  std::to_string(first / cols) + ")");
  }
  if (nans > 0) {
    matrix_.Create(static_cast<int32_t>(cols), static_cast<int32_t>(rows));
    for (int64_t i = 0; i < count; ++i) matrix_.Data[i] = std::isnan(pixels[i]) ? 0.0f : pixels[i];
    return;
  }
  // The matrix takes the caller's array as its own for as long as it lives; the destructor
  // hands it back before the matrix could free it. Only const access is given out, so no
  // operation can resize or replace it.
  matrix_.ColSize = static_cast<int32_t>(cols);
  matrix_.RowSize = static_cast<int32_t>(rows);
  matrix_.Data = count > 0 ? const_cast<float*>(pixels) : nullptr;
  borrowed_ = true;
}

RfabgImage::~RfabgImage() {
  if (borrowed_) {
    matrix_.Data = nullptr;
    matrix_.ColSize = 0;
    matrix_.RowSize = 0;
  }
}

namespace {

bool IsLongDouble(const RfaParameterField& field) {
  return std::holds_alternative<long double RfaParameters::*>(field.Member);
}

std::string Format(const char* format, long double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

std::vector<std::string> RfabgParameterKeys() {
  std::vector<std::string> keys;
  for (const RfaParameterField& field : RfaParameterFields()) keys.push_back(field.Key);
  return keys;
}

RfabgValue RfabgGetParameter(const RfaParameters& params, const std::string& key) {
  return std::visit(
      [&](auto member) -> RfabgValue {
        using T = std::decay_t<decltype(params.*member)>;
        if constexpr (std::is_same_v<T, bool>) {
          return params.*member;
        } else if constexpr (std::is_same_v<T, int32_t>) {
          return static_cast<int64_t>(params.*member);
        } else {
          return static_cast<double>(params.*member);
        }
      },
      RfaFindParameterField(key).Member);
}

void RfabgSetParameter(RfaParameters& params, const std::string& key, const RfabgValue& value) {
  const RfaParameterField& field = RfaFindParameterField(key);
  std::string text;
  if (const auto* b = std::get_if<bool>(&value)) {
    text = *b ? "true" : "false";
  } else if (const auto* i = std::get_if<int64_t>(&value)) {
    text = std::to_string(*i);
  } else if (const auto* d = std::get_if<double>(&value)) {
    if (IsLongDouble(field)) {
      // The shortest text of the double, as Python's repr() shows it: the long double field
      // then holds what the same text gives on the command line or in a parameter file.
      char shortest[64];
      const auto end = std::to_chars(shortest, shortest + sizeof shortest, *d).ptr;
      text.assign(shortest, end);
    } else {
      // 17 significant digits lie closer to the double than half its spacing, so reading them
      // back, even through long double, gives exactly this double.
      text = Format("%.17Lg", *d);
    }
  } else {
    text = std::get<std::string>(value);
  }
  RfaSetParameter(params, key, text);
}

std::vector<std::pair<std::string, std::string>> RfabgParameterTexts(const RfaParameters& params) {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const RfaParameterField& field : RfaParameterFields()) {
    const std::string k = field.Key;
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(params.*member)>;
          const T v = params.*member;
          if constexpr (std::is_same_v<T, bool>) {
            texts.emplace_back(k, v ? "true" : "false");
          } else if constexpr (std::is_same_v<T, int32_t>) {
            texts.emplace_back(k, std::to_string(v));
          } else {
            texts.emplace_back(k, Format(std::is_same_v<T, double> ? "%.17Lg" : "%.21Lg", v));
          }
        },
        field.Member);
  }
  return texts;
}
