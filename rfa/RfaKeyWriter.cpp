// Key records of the RFA operations.
#include "rfa/RfaKeyWriter.h"

#include <locale>
#include <sstream>

#include "numerics/ZrError.h"
#include "rfa/RfaParameters.h"

RfaKeyWriter::RfaKeyWriter(std::map<std::string, double>& doubles,
                           std::map<std::string, std::string>& texts)
    : doubles_(doubles), texts_(texts) {}

void RfaKeyWriter::OpenGroup(const std::string& group) {
  group_ = group;
  hasGroup_ = true;
}

std::string RfaKeyWriter::FullKey(const std::string& key) const {
  if (!hasGroup_) throw ZrError("Key writer: no group is open for key \"" + key + "\"");
  return group_ + "/" + key;
}

void RfaKeyWriter::SetDouble(const std::string& key, double value) {
  doubles_[FullKey(key)] = value;
}

void RfaKeyWriter::SetInt(const std::string& key, int32_t value) {
  doubles_[FullKey(key)] = static_cast<double>(value);
}

void RfaKeyWriter::SetBool(const std::string& key, bool value) {
  doubles_[FullKey(key)] = value ? 1.0 : 0.0;
}

void RfaKeyWriter::SetText(const std::string& key, const std::string& value) {
  texts_[FullKey(key)] = value;
}

void RfaWriteMoveToCenterKeys(RfaKeyWriter& keys, const RfaParameters& p) {
  keys.OpenGroup("MoveToCenter");
  keys.SetDouble("Sx", p.Sx);
  keys.SetDouble("Sy", p.Sy);
}

void RfaWriteBackgroundKeys(RfaKeyWriter& keys, const RfaParameters& p) {
  // The polar-angle limit travels as text in a default stream's general format (six
  // significant digits), independent of the process locale.
  std::ostringstream thetaMax;
  thetaMax.imbue(std::locale::classic());
  thetaMax << p.MappingAzThetaMaxDeg;
  keys.OpenGroup("RFA_background");
  keys.SetDouble("ScreenRadius", p.Sr);
  keys.SetInt("ScreenMargin", p.SMargin);
  keys.SetBool("MappingIsGnomonic", p.MappingIsGnomonic);
  keys.SetBool("MappingIsAz_", p.MappingIsAz);
  keys.SetBool("MappingIsAzM2_", p.MappingIsAzM2);
  keys.SetText("MappingAzThetaMax_deg", thetaMax.str());
  keys.SetInt("Size_l", p.SizeL);
  keys.SetBool("UseAllSphere", p.UseAllSphere);
}

void RfaWriteAverageAlongKeys(RfaKeyWriter& keys, const RfaParameters& p) {
  keys.OpenGroup("AverageAlong");
  keys.SetDouble("CenterX", p.Ax);
  keys.SetDouble("CenterY", p.Ay);
}

void RfaWriteMaskMcpDipKeys(RfaKeyWriter& keys, const RfaParameters& p) {
  keys.OpenGroup("MaskMcpDip");
  keys.SetDouble("CenterX", p.McpDipCx);
  keys.SetDouble("CenterY", p.McpDipCx);  // the x centre, as receivers expect
  keys.SetDouble("Radius", p.McpDipR);
}

void RfaWriteMaskOutsideKeys(RfaKeyWriter& keys, const RfaParameters& p) {
  keys.OpenGroup("MaskOutside");
  keys.SetDouble("CenterX", p.MaskCx);
  keys.SetDouble("CenterY", p.MaskCx);  // the x centre, as receivers expect
  keys.SetDouble("RadiusOfX", p.MaskRx);
  keys.SetDouble("RadiusOfY", p.MaskRy);
}
