// The process-wide parameter set of the RFA operations, with its defaults and file keys.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrVersion.h"

class ZrBarnXml;

// Positions and radii are pixels; angles are degrees. The stored fields, their file keys,
// defaults and ranges are the rows of RfaParameterFields() (rfa/RfaParameterFields.h).
class RfaParameters {
 public:
  RfaParameters();  // every stored field at its default
  static RfaParameters& Instance();

  // The single routine that writes (write-mode tree) or reads (read-mode tree) a parameter
  // file: every stored field under rackName ("ini"), in the fixed file order. Returns false,
  // touching nothing, when a read-mode tree has no such element.
  bool Exchange(ZrBarnXml& tree, const std::string& rackName = "ini");

  // Refuses values the operations cannot compute with, naming the first such field (in file
  // order) by its file key and its range from the field table: "parameter Size_l_ = 2147483647
  // is out of range (-1 to 99)". Other values, however odd (a dip larger than the image), are
  // computed and give what they give.
  void CheckRanges() const;

  // Copies every panel widget of a generated form (the fields' widget names) into its field
  // (toParameters true) or back. Defined in app/RfaParametersBind.h so that no widget code
  // enters this library.
  template <class Ui>
  void Bind(bool toParameters, Ui* ui);

  std::string Version = kZrVersion;
  // Stored fields (set to their defaults by the constructor).
  double Sx{};  // screen centre and radius
  double Sy{};
  double Sr{};
  int32_t SMargin{};
  bool MappingIsGnomonic{};
  bool MappingIsAz{};
  bool MappingIsAzM2 = true;  // never stored; set true by every widget binding
  long double MappingAzThetaMaxDeg{};
  long double AdjThres{};
  bool UseAllSphere{};
  int32_t AdjSize{};
  int32_t SizeL{};
  double Ax{};  // target centre of the azimuthal average
  double Ay{};
  bool IsShowTmp{};
  double McpDipCx{};
  double McpDipCy{};
  double McpDipR{};
  double MaskCx{};
  double MaskCy{};
  double MaskRx{};
  double MaskRy{};
  bool IsMoveCenter{};
  bool IsBgSh{};
  bool IsBgAz{};
  bool IsMaskMcpDip{};
  bool IsMaskOutside{};
  bool Closing = false;  // set when the main window closes; not stored
};

// The parameter file of a set: root "ini", one element per stored field in the file order,
// numbers in a default stream's form (six significant digits). Writers store exactly this.
std::string RfaParameterFileText(const RfaParameters& params);
