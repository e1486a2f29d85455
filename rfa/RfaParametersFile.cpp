// Writing and reading a parameter set as a document with root "ini" (the user's "*.rfa_bg"
// files and the automatic settings file).
#include "formats/ZrBarnXml.h"
#include "rfa/RfaParameters.h"

// One routine for both directions, so writer and reader cannot drift apart. The key order is
// the file's contract (Size_l_ before the target centre, AdjThres_ after it) and differs from
// the declaration order on purpose. Each accessor gets the field's current value as default,
// so an element missing from a file leaves its field unchanged.
bool RfaParameters::Exchange(ZrBarnXml& tree, const std::string& rackName) {
  if (!tree.OpenRack(rackName)) return false;
  tree.Value("Sx_", Sx, Sx);
  tree.Value("Sy_", Sy, Sy);
  tree.Value("Sr_", Sr, Sr);
  tree.Value("SMargin_", SMargin, SMargin);
  tree.Value("MappingIsGnomonic_", MappingIsGnomonic, MappingIsGnomonic);
  tree.Value("MappingIsAz_", MappingIsAz, MappingIsAz);
  tree.Value("MappingAzThetaMax_deg_", MappingAzThetaMax_deg, MappingAzThetaMax_deg);
  tree.Value("Size_l_", Size_l, Size_l);
  tree.Value("Ax_", Ax, Ax);
  tree.Value("Ay_", Ay, Ay);
  tree.Value("AdjThres_", AdjThres, AdjThres);
  tree.Value("AdjSize_", AdjSize, AdjSize);
  tree.Value("UseAllSphere_", UseAllSphere, UseAllSphere);
  tree.Value("IsShowTmp_", IsShowTmp, IsShowTmp);
  tree.Value("McpDipCx_", McpDipCx, McpDipCx);
  tree.Value("McpDipCy_", McpDipCy, McpDipCy);
  tree.Value("McpDipR_", McpDipR, McpDipR);
  tree.Value("MaskCx_", MaskCx, MaskCx);
  tree.Value("MaskCy_", MaskCy, MaskCy);
  tree.Value("MaskRx_", MaskRx, MaskRx);
  tree.Value("MaskRy_", MaskRy, MaskRy);
  tree.Value("IsMoveCenter_", IsMoveCenter, IsMoveCenter);
  tree.Value("IsBgSh_", IsBgSh, IsBgSh);
  tree.Value("IsBgAz_", IsBgAz, IsBgAz);
  tree.Value("IsMaskMcpDip_", IsMaskMcpDip, IsMaskMcpDip);
  tree.Value("IsMaskOutside_", IsMaskOutside, IsMaskOutside);
  tree.CloseRack(rackName);
  return true;
}
