// The process-wide parameter set and the table of its stored fields.
#include "rfa/RfaParameters.h"

#include <algorithm>
#include <sstream>
#include <type_traits>

#include "formats/ZrBarnXml.h"
#include "numerics/ZrError.h"
#include "rfa/RfaParameterFields.h"

namespace {

using P = RfaParameters;
using W = RfaWidgetKind;

constexpr RfaRange kAny{};
constexpr RfaRange Between(long double low, long double high) {
  return {true, low, high};
}

}  // namespace

const std::vector<RfaParameterField>& RfaParameterFields() {
  // The defaults are those of the plug-in; AdjThres_ holds the double 0.1 widened.
  static const std::vector<RfaParameterField> fields = {
      {"Sx_", &P::Sx, 100.0, kAny, "dspSx", W::DoubleSpinBox},  // screen centre and radius
      {"Sy_", &P::Sy, 100.0, kAny, "dspSy", W::DoubleSpinBox},
      {"Sr_", &P::Sr, 100.0, Between(0, 1e6), "dspSr", W::DoubleSpinBox},
      {"SMargin_", &P::SMargin, 10, Between(-1e6, 1e6), "spMargin", W::SpinBox},
      {"MappingIsGnomonic_", &P::MappingIsGnomonic, false, kAny, "", W::None},
      {"MappingIsAz_", &P::MappingIsAz, false, kAny, "", W::None},
      {"MappingAzThetaMax_deg_", &P::MappingAzThetaMaxDeg, 90, kAny, "dspMaxAngle",
       W::DoubleSpinBox},
      {"Size_l_", &P::SizeL, 5, Between(-1, 99), "spSizel", W::SpinBox},
      {"Ax_", &P::Ax, 128.0, Between(-1e6, 1e6), "dsbAx", W::DoubleSpinBox},  // target centre
      {"Ay_", &P::Ay, 128.0, Between(-1e6, 1e6), "dsbAy", W::DoubleSpinBox},
      {"AdjThres_", &P::AdjThres, 0.1, kAny, "dsbThres", W::DoubleSpinBox},
      {"AdjSize_", &P::AdjSize, 10, kAny, "sbAdjSize", W::SpinBox},
      {"UseAllSphere_", &P::UseAllSphere, false, kAny, "", W::None},
      {"IsShowTmp_", &P::IsShowTmp, false, kAny, "cbShowTmp", W::CheckBox},
      {"McpDipCx_", &P::McpDipCx, 166.0, kAny, "dsbDipCx", W::DoubleSpinBox},
      {"McpDipCy_", &P::McpDipCy, 150.0, kAny, "dsbDipCy", W::DoubleSpinBox},
      {"McpDipR_", &P::McpDipR, 10.0, kAny, "dsbDipR", W::DoubleSpinBox},
      // Double fields on integer spin boxes, deliberately.
      {"MaskCx_", &P::MaskCx, 150.0, kAny, "sbMaskCx", W::SpinBox},
      {"MaskCy_", &P::MaskCy, 150.0, kAny, "sbMaskCy", W::SpinBox},
      {"MaskRx_", &P::MaskRx, 128.0, kAny, "sbMaskRx", W::SpinBox},
      {"MaskRy_", &P::MaskRy, 128.0, kAny, "sbMaskRy", W::SpinBox},
      {"IsMoveCenter_", &P::IsMoveCenter, true, kAny, "cbMoveCenter", W::CheckBox},
      {"IsBgSh_", &P::IsBgSh, true, kAny, "cbBgSh", W::CheckBox},
      {"IsBgAz_", &P::IsBgAz, true, kAny, "cbBgAz", W::CheckBox},
      {"IsMaskMcpDip_", &P::IsMaskMcpDip, true, kAny, "cbMaskMcpDip", W::CheckBox},
      {"IsMaskOutside_", &P::IsMaskOutside, true, kAny, "cbMaskOutside", W::CheckBox},
  };
  return fields;
}

const RfaParameterField& RfaFindParameterField(const std::string& key) {
  const auto& fields = RfaParameterFields();
  const auto it = std::find_if(fields.begin(), fields.end(), [&](const RfaParameterField& f) {
    return f.Key == key || f.Key == key + "_";
  });
  if (it == fields.end()) throw ZrError("unknown parameter key \"" + key + "\"");
  return *it;
}

void RfaSetParameter(RfaParameters& params, const std::string& key, const std::string& value) {
  const RfaParameterField& field = RfaFindParameterField(key);
  const std::string name = field.Key;
  std::visit(
      [&](auto member) {
        using T = std::decay_t<decltype(params.*member)>;
        if constexpr (std::is_same_v<T, bool>) {
          if (value == "true" || value == "1") {
            params.*member = true;
          } else if (value == "false" || value == "0") {
            params.*member = false;
          } else {
            throw ZrError("parameter " + name + " needs true or false, not \"" + value + "\"");
          }
        } else {
          bool whole = false;
          const T number = ZrParseNumber<T>(value, &whole);
          if (!whole) {
            throw ZrError("parameter " + name + " needs " +
                          (std::is_integral_v<T> ? "a whole number" : "a number") + ", not \"" +
                          value + "\"");
          }
          params.*member = number;
        }
      },
      field.Member);
}

RfaParameters::RfaParameters() {
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(this->*member)>;
          this->*member = static_cast<T>(field.DefaultValue);
        },
        field.Member);
  }
}

RfaParameters& RfaParameters::Instance() {
  static RfaParameters instance;
  return instance;
}

void RfaParameters::CheckRanges() const {
  for (const RfaParameterField& field : RfaParameterFields()) {
    if (!field.Range.Checked) continue;
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(this->*member)>;
          const T value = this->*member;
          const T low = static_cast<T>(field.Range.Low);
          const T high = static_cast<T>(field.Range.High);
          if (value >= low && value <= high) return;
          std::ostringstream text;
          text << "parameter " << field.Key << " = " << value << " is out of range (" << low
               << " to " << high << ")";
          throw ZrError(text.str());
        },
        field.Member);
  }
}
