// The command message and the host's function table.
#include "hostlink/ZrCmdPackUnpack.h"

#include <sstream>

namespace {

// Guards one operation of the message: a passing ZrError gets the signature appended,
// anything else becomes "undefined err:" + signature.
template <class F>
auto Guarded(const char* signature, F&& f) -> decltype(f()) {
  try {
    return f();
  } catch (ZrError& e) {
    e.AppendTrail(signature);
    throw;
  } catch (...) {
    throw ZrError(std::string("undefined err:") + signature);
  }
}

std::string CommandName(int32_t n) {
  std::ostringstream s;
  s << "i" << n;
  return s.str();
}

}  // namespace

const std::map<int32_t, std::string>& ZrCmdPackUnpack::FunctionTable() {
  static const std::map<int32_t, std::string> table = {
      {1, "Update"},
      {2, "WindowListIDGet"},
      {3, "WindowClose"},
      {4, "WindowGetFocusedID"},
      {5, "WindowGetIDbyIndex"},
      {6, "WindowSetIsLock"},
      {7, "ImageNewWindow"},
      {8, "ImageGet"},
      {9, "ImageSet"},
      {10, "ImageLoad"},
      {11, "ImageSaveAsXml"},
      {12, "ImageSaveAsBMP"},
      {13, "ImageSaveAsJPG"},
      {14, "ImageSaveAsPNG"},
      {15, "SetFileName"},
      {16, "GetFileName"},
      {17, "SetCaption"},
      {18, "GetCaption"},
      {19, "SetIsSaved"},
      {20, "GetIsSaved"},
      {21, "GetIsModeImage"},
      {22, "ImageDispGetMinMax"},
      {23, "ImageDispSetMinMax"},
      {24, "ImageDispSetErrMinMax"},
      {25, "ImageDispSetErrMin"},
      {26, "ImageDispSetErrMax"},
      {27, "RegionAdd"},
      {28, "RegionClear"},
      {29, "RegionCopyFrom"},
      {30, "RegionSearchByName"},
      {31, "RegionGetIDFocused"},
      {32, "RegionGetIDList"},
      {33, "RegionGet"},
      {34, "RegionSet"},
      {35, "RegionDrawingAdd"},
      {37, "RegionPolygonGetVertexList"},
      {38, "RegionPolygonSetVertexList"},
      {39, "RegionDrawingClear"},
      {40, "RegionDrawingAddLine"},
      {41, "RegionDrawingAddRectangle"},
      {42, "RegionDrawingAddEllipse"},
      {43, "RegionGetIMinMaxAverage"},
      {44, "LineAdd"},
      {45, "LineGetIDList"},
      {46, "LineGetProperty"},
      {47, "LineSetProperty"},
      {48, "GetIsModeSeries"},
      {49, "SeriesNewWindow"},
      {50, "SeriesSave"},
      {51, "SeriesGetCount"},
      {52, "SeriesListValueGet"},
      {53, "SeriesListValueSet"},
      {54, "SeriesListValueClear"},
      {55, "SeriesImageIndexSetWithLoadImage"},
      {56, "SeriesImageIndexSet"},
      {57, "SeriesImageIndexGet"},
      {58, "SeriesImageSave"},
      {59, "SeriesGetCurrentIndex"},
      {60, "SeriesGetFileName"},
      {61, "ImageKeyDoubleGet"},
      {62, "ImageKeyDoubleSet"},
      {63, "ImageKeyStringGet"},
      {64, "ImageKeyStringSet"},
      {65, "SeriesKeyDoubleGet"},
      {66, "SeriesKeyDoubleSet"},
      {67, "SeriesKeyStringGet"},
      {68, "SeriesKeyStringSet"},
      {69, "SeriesIndexKeyDoubleGet"},
      {70, "SeriesIndexKeyDoubleSet"},
      {71, "SeriesIndexKeyStringGet"},
      {72, "SeriesIndexKeyStringSet"},
      {73, "PluginOpenDialog"},
      {74, "PluginSetClientName"},
      {75, "ImageBitmapCopyToClipboard"},
      {76, "ImageGetSize"},
      {77, "FIImageGetBySharedMemory"},
      {78, "FIImageSetBySharedMemory"},
      {79, "FIImage3DNewWindow"},
      {80, "FIImage3DGetBySharedMemory"},
      {81, "FIImage3DSetBySharedMemory"},
      {82, "FIGetIsModeImage3D"},
      {83, "FIWaveNewWindow"},
      {84, "FIWaveSet"},
      {85, "FIWaveGet"},
      {86, "FIWaveGetColor"},
      {87, "FIWaveSetColor"},
      {88, "FIGetIsModeWave"},
      {89, "FIImageSetChannel"},
      {90, "FIImageGetCurrentChannel"},
      {91, "FIImageGetChannelCount"},
      {92, "FIImageSetChannelByIndex"},
      {93, "SeriesSaveRenew"},
      {94, "SeriesIndexKeyStringSetItem"},
      {95, "SeriesIndexKeyDoubleSetItem"},
      {96, "SeriesKeyStringSetItem"},
      {97, "SeriesKeyDoubleSetItem"},
      {98, "ImageKeyStringSetItem"},
      {99, "ImageKeyDoubleSetItem"},
      {100, "WindowListIDAndCaptionGet"},
      {101, "ModeChangeImage"},
      {102, "ModeChangeWave"},
      {103, "ModeChangeImage3D"},
      {104, "GetIsLoaded"},
      {105, "SetIsLoaded"},
      {106, "FIWaveSetWithColor"},
      {107, "ImageLoadInWindow"},
      {108, "ImageFlipVertical"},
      {109, "RegionGetListIdIMinMaxAverageColor"},
  };
  return table;
}

int32_t ZrCmdPackUnpack::FunctionNumber(const std::string& name) {
  for (const auto& entry : FunctionTable()) {
    if (entry.second == name) return entry.first;
  }
  return -1;
}

ZrCmdPackUnpack::ZrCmdPackUnpack(const std::string& mode)
    : document_(new ZrBarnXml(mode)),
      xmlPacker_(new ZrPackUnpack::ZrPackUnpackXml(document_)),
      packer_(xmlPacker_) {
  if (mode == "w") packer_->OpenRack("air");
  commandIndex_ = 0;
  functionTable_ = FunctionTable();
}

bool ZrCmdPackUnpack::OpenCmd() {
  return Guarded("bool ZrCmdPackUnpack::OpenCmd()",
                 [&] { return packer_->OpenRack(CommandName(commandIndex_)); });
}

bool ZrCmdPackUnpack::OpenCmdIndex(int32_t n) {
  return Guarded("bool ZrCmdPackUnpack::OpenCmdIndex(int32_t)",
                 [&] { return packer_->OpenRack(CommandName(n)); });
}

void ZrCmdPackUnpack::CloseCmd() {
  Guarded("void ZrCmdPackUnpack::CloseCmd()",
          [&] { packer_->CloseRack(CommandName(commandIndex_)); });
}

void ZrCmdPackUnpack::CloseCmdIndex(int32_t n) {
  Guarded("void ZrCmdPackUnpack::CloseCmdIndex(int32_t)",
          [&] { packer_->CloseRack(CommandName(n)); });
}

void ZrCmdPackUnpack::SetFunc(int32_t number) {
  const auto it = functionTable_.find(number);
  if (it == functionTable_.end()) throw ZrError("Undefiend function number");
  std::string name = it->second;
  packer_->Value(keyFunctionName_, name);
}

int32_t ZrCmdPackUnpack::Index(int32_t& index) {
  return packer_->Value("index", index);
}

int32_t ZrCmdPackUnpack::IDDocChildWindow(int32_t& id) {
  return packer_->Value("IDDocChildWindow", id);
}

bool ZrCmdPackUnpack::Color(const std::string& key, ZrColor& color) {
  if (!packer_->OpenRack(key)) return false;
  packer_->Value("r", color.r);
  packer_->Value("g", color.g);
  packer_->Value("b", color.b);
  packer_->CloseRack(key);
  return true;
}

bool ZrCmdPackUnpack::IDList(ZrLongMatrix& ids, bool base64b) {
  return packer_->Matrix("IDList", ids, base64b ? "bb" : "b");
}

bool ZrCmdPackUnpack::Region(ZrRegion& region) {
  // A host may send the fields flat in the command element, without the "region" element.
  const bool nested = packer_->OpenRack("region");
  packer_->Value("regionType", region.regionType);
  const int32_t geometry = packer_->Value("cx", region.cx) + packer_->Value("cy", region.cy) +
                           packer_->Value("w", region.w) + packer_->Value("h", region.h);
  Color("color", region.color);
  packer_->Value("isMovable", region.isMovable);
  packer_->Value("name", region.name);
  if (nested) packer_->CloseRack("region");
  return geometry == 4;
}
