// The plain C++ side of the Python module rfabg: input images over borrowed pixels, the NaN
// convention, and the parameter set by its file keys. No Python types, so that a GoogleTest
// can call everything here; RfabgModule.cpp only converts between these and Python objects.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaParameters.h"

// How NaN pixels of an input image are taken.
enum class RfabgNaN {
  Zero,   // as holes: read as 0, as the plug-in does when it fetches an image from its host
  Raise,  // refused: ZrError naming how many there are and where the first one is
  Keep,   // passed on as they are
};

// "zero", "raise" or "keep"; anything else is a ZrError.
RfabgNaN RfabgNaNFromName(const std::string& name);

// An input image: C-ordered float pixels of rows x cols (x fastest) that belong to someone
// else, seen as a ZrFloatMatrix with begins 0 without copying them. When they hold NaN and
// the convention is Zero, the matrix is a copy with those pixels set to 0 instead; the
// caller's pixels are never changed. The pixels must outlive this object.
class RfabgImage {
 public:
  RfabgImage(const float* pixels, int64_t rows, int64_t cols, RfabgNaN nan);
  ~RfabgImage();
  RfabgImage(const RfabgImage&) = delete;
  RfabgImage& operator=(const RfabgImage&) = delete;

  // For the library functions that take a const image; never resized or freed through it.
  const ZrFloatMatrix& Matrix() const { return matrix_; }

 private:
  ZrFloatMatrix matrix_;
  bool borrowed_ = false;
};

// A parameter value as Python hands it over.
using RfabgValue = std::variant<bool, int64_t, double, std::string>;

// The stored fields' file keys, in file order ("Sx_", ..., "IsMaskOutside_").
std::vector<std::string> RfabgParameterKeys();

// The field under key (the trailing "_" may be left out): bool, int64_t (the integer fields)
// or double (long double fields narrowed). An unknown key is the ZrError of rfa-process --set.
RfabgValue RfabgGetParameter(const RfaParameters& params, const std::string& key);

// Sets the field under key through the same checks as rfa-process --set (RfaSetParameter):
// texts are parsed as there; numbers are turned into a text that parses back to the same
// double (and to the same value that text gives on the command line for the long double
// field); bools become "true"/"false".
void RfabgSetParameter(RfaParameters& params, const std::string& key, const RfabgValue& value);

// Every stored field as (key, text) with texts that read back to the very same values
// (17 significant digits for doubles, 21 for long doubles): for pickling.
std::vector<std::pair<std::string, std::string>> RfabgParameterTexts(const RfaParameters& params);
