// The command message.
#include "hostlink/ZrCmdPackUnpack.h"

#include <sstream>

#include "hostlink/ZrShielded.h"

namespace {

std::string CommandName(int32_t n) {
  std::ostringstream s;
  s << "i" << n;
  return s.str();
}

}  // namespace

ZrCmdPackUnpack::ZrCmdPackUnpack(const std::string& mode)
    : document_(new ZrBarnXml(mode)),
      xmlPacker_(new ZrPackUnpack::ZrPackUnpackXml(document_)),
      packer_(xmlPacker_) {
  if (mode == "w") packer_->OpenRack("air");
  commandIndex_ = 0;
}

bool ZrCmdPackUnpack::OpenCmd() {
  return ZrShielded(
      "bool ZrCmdPackUnpack::OpenCmd()",
      [&] { return packer_->OpenRack(CommandName(commandIndex_)); }, ZrTrail::Append);
}

bool ZrCmdPackUnpack::OpenCmdIndex(int32_t n) {
  return ZrShielded(
      "bool ZrCmdPackUnpack::OpenCmdIndex(int32_t)",
      [&] { return packer_->OpenRack(CommandName(n)); }, ZrTrail::Append);
}

void ZrCmdPackUnpack::CloseCmd() {
  ZrShielded(
      "void ZrCmdPackUnpack::CloseCmd()", [&] { packer_->CloseRack(CommandName(commandIndex_)); },
      ZrTrail::Append);
}

void ZrCmdPackUnpack::CloseCmdIndex(int32_t n) {
  ZrShielded(
      "void ZrCmdPackUnpack::CloseCmdIndex(int32_t)", [&] { packer_->CloseRack(CommandName(n)); },
      ZrTrail::Append);
}

void ZrCmdPackUnpack::SetFunc(int32_t number) {
  const ZrHostFunctionRow* row = ZrHostFunctionFind(number);
  if (row == nullptr) throw ZrError("Undefiend function number");
  std::string name = row->Name;
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
