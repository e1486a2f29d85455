// The stored fields of the parameter set, one row each: the one table that the parameter file,
// rfa-process --set, the "log" record, the panel binding and the Python module iterate.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "rfa/RfaParameters.h"

using RfaParameterMember = std::variant<double RfaParameters::*, long double RfaParameters::*,
                                        int32_t RfaParameters::*, bool RfaParameters::*>;

// The values no operation can compute with lie outside [low, high]; unchecked fields take any.
struct RfaRange {
  bool Checked = false;
  long double Low = 0;
  long double High = 0;
};

// The panel widget that shows a field, found by its object name.
enum class RfaWidgetKind {
  None,           // not on the panel
  CheckBox,       // a bool field
  SpinBox,        // integers; a double field is shown rounded to the nearest integer
  DoubleSpinBox,  // a double or long double field
};

struct RfaParameterField {
  const char* Key;  // file key and element name: "Sx_"
  RfaParameterMember Member;
  long double DefaultValue;  // exact in long double for every field (bools 0 or 1)
  RfaRange Range;
  const char* Widget;  // object name of the panel widget; "" with RfaWidgetKind::None
  RfaWidgetKind WidgetKind;
};

// In the parameter file's order, which differs from the declaration order (Size_l_ before the
// target centre, AdjThres_ after it).
const std::vector<RfaParameterField>& RfaParameterFields();

// The field under key; the trailing "_" may be left out. Unknown: ZrError
// "unknown parameter key \"<key>\"".
const RfaParameterField& RfaFindParameterField(const std::string& key);

// Sets one field by its key from a text. Unlike a parameter file, which reads a malformed
// number as 0, a bad value is refused ("parameter Sx_ needs a number, not \"12a\"") and the
// set stays as it was.
void RfaSetParameter(RfaParameters& params, const std::string& key, const std::string& value);
