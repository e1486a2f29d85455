// Writes the key records that the RFA operations attach to a result image.
#pragma once

#include <cstdint>
#include <map>
#include <string>

class RfaParameters;

// Adds entries to an image's two key maps (number keys and text keys, as the host keeps them).
// Layout: every entry belongs to the group opened last and is stored under "<group>/<key>".
// Numbers go into the double map (bools as 1 or 0, integers as their value), texts into the
// text map. Writing before any group is opened throws a ZrError. An existing entry of the
// same name is replaced.
class RfaKeyWriter {
 public:
  RfaKeyWriter(std::map<std::string, double>& doubles, std::map<std::string, std::string>& texts);

  void OpenGroup(const std::string& group);
  void SetDouble(const std::string& key, double value);
  void SetInt(const std::string& key, int32_t value);
  void SetBool(const std::string& key, bool value);
  void SetText(const std::string& key, const std::string& value);

 private:
  std::string FullKey(const std::string& key) const;

  std::map<std::string, double>& doubles_;
  std::map<std::string, std::string>& texts_;
  std::string group_;
  bool hasGroup_ = false;
};

// The result groups of the five chain operations, each written right after its operation.
// The two mask groups record the x centre under "CenterY" as well; receivers rely on that.
void RfaWriteMoveToCenterKeys(RfaKeyWriter& keys, const RfaParameters& p);  // "MoveToCenter"
void RfaWriteBackgroundKeys(RfaKeyWriter& keys, const RfaParameters& p);    // "RFA_background"
void RfaWriteAverageAlongKeys(RfaKeyWriter& keys, const RfaParameters& p);  // "AverageAlong"
void RfaWriteMaskMcpDipKeys(RfaKeyWriter& keys, const RfaParameters& p);    // "MaskMcpDip"
void RfaWriteMaskOutsideKeys(RfaKeyWriter& keys, const RfaParameters& p);   // "MaskOutside"
