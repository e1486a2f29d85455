// One request or response message to the host: root "air", command element "i0", the
// function name under "cmd", arguments and results under their own keys.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <string>

#include "formats/ZrBarnXml.h"
#include "hostlink/ZrHostFunctions.h"
#include "hostlink/ZrHostTypes.h"
#include "hostlink/ZrPackUnpack.h"

class ZrCmdPackUnpack {
 public:
  // "w" builds a request (the root "air" is entered at once), "r" reads a response.
  explicit ZrCmdPackUnpack(const std::string& mode);

  bool OpenCmd();
  bool OpenCmdIndex(int32_t n);
  void CloseCmd();
  void CloseCmdIndex(int32_t n);

  // Stores the function's name under "cmd"; "Undefiend function number" for a number that
  // is not in the host's function table.
  void SetFunc(int32_t number);
  void SetFunc(ZrHostFunction function) { SetFunc(static_cast<int32_t>(function)); }

  // Typed accessors with fixed keys; each packs or unpacks depending on the mode.
  int32_t Index(int32_t& index);
  int32_t IDDocChildWindow(int32_t& id);
  bool Color(const std::string& key, ZrColor& color);
  bool IDList(ZrLongMatrix& ids, bool base64b = false);
  // The region record sits in an element of its own, "region"; reading also takes the fields
  // standing flat in the command element. True when the geometry (cx, cy, w and h) was all
  // there (always when writing); a field that is missing keeps the caller's value.
  bool Region(ZrRegion& region);

  ZrPackUnpack::ZrPackUnpackCustom& Packer() { return *packer_; }
  ZrPackUnpack::ZrPackUnpackXml& XmlPacker() { return *xmlPacker_; }
  std::string GetMode() { return packer_->GetMode(); }
  void GetText(std::string& text) { packer_->GetText(text); }
  void SetText(const std::string& text) { packer_->SetText(text); }

 private:
  boost::shared_ptr<ZrBarnXml> document_;
  boost::shared_ptr<ZrPackUnpack::ZrPackUnpackXml> xmlPacker_;
  boost::shared_ptr<ZrPackUnpack::ZrPackUnpackCustom> packer_;
  std::string keyFunctionName_ = "cmd";
  int32_t commandIndex_ = 0;
};
