// The process-wide parameter set of the RFA operations, with its defaults and file keys.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrVersion.h"

class ZrBarnXml;

// Positions and radii are pixels; angles are degrees.
class RfaParameters {
 public:
  static RfaParameters& Instance();

  // The single routine that writes (write-mode tree) or reads (read-mode tree) a parameter
  // file: every stored field under rackName ("ini"), in the fixed file order. Returns false,
  // touching nothing, when a read-mode tree has no such element.
  bool Exchange(ZrBarnXml& tree, const std::string& rackName = "ini");

  // Refuses values the operations cannot compute with, naming the first such field by its file
  // key and its range: "parameter Size_l_ = 2147483647 is out of range (-1 to 99)". Checked:
  // Size_l_ -1 (no basis function) to 99, Sr_ 0 to 1e6, SMargin_ and Ax_, Ay_ -1e6 to 1e6.
  // Other values, however odd (a dip larger than the image), are computed and give what they
  // give.
  void CheckRanges() const;

  // Copies every bound widget of a generated form into its field (toParameters true) or back.
  // Defined in app/RfaParametersBind.h so that no widget code enters this library.
  template <class Ui>
  void Bind(bool toParameters, Ui* ui);

  std::string version = kZrVersion;
  double Sx = 100.0;  // screen centre and radius
  double Sy = 100.0;
  double Sr = 100.0;
  int32_t SMargin = 10;
  bool MappingIsGnomonic = false;
  bool MappingIsAz = false;
  bool MappingIsAzM2 = true;  // never stored; set true by every widget binding
  long double MappingAzThetaMax_deg = 90;
  long double AdjThres = static_cast<long double>(0.1);  // the double value widened
  bool UseAllSphere = false;
  int32_t AdjSize = 10;
  int32_t Size_l = 5;
  double Ax = 128.0;  // target centre of the azimuthal average
  double Ay = 128.0;
  bool IsShowTmp = false;
  double McpDipCx = 166.0;
  double McpDipCy = 150.0;
  double McpDipR = 10.0;
  double MaskCx = 150.0;
  double MaskCy = 150.0;
  double MaskRx = 128.0;
  double MaskRy = 128.0;
  bool IsMoveCenter = true;
  bool IsBgSh = true;
  bool IsBgAz = true;
  bool IsMaskMcpDip = true;
  bool IsMaskOutside = true;
  bool closing = false;  // set when the main window closes; not stored
};
