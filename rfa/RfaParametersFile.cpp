// Writing and reading a parameter set as a document with root "ini" (the user's "*.rfa_bg"
// files and the automatic settings file).
#include "formats/ZrBarnXml.h"
#include "rfa/RfaParameterFields.h"
#include "rfa/RfaParameters.h"

// One routine for both directions, so writer and reader cannot drift apart; the rows of the
// field table give the element names and the file's order. Each accessor gets the field's
// current value as default, so an element missing from a file leaves its field unchanged.
bool RfaParameters::Exchange(ZrBarnXml& tree, const std::string& rackName) {
  if (!tree.OpenRack(rackName)) return false;
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit([&](auto member) { tree.Value(field.Key, this->*member, this->*member); },
               field.Member);
  }
  tree.CloseRack(rackName);
  return true;
}

std::string RfaParameterFileText(const RfaParameters& params) {
  RfaParameters fields = params;  // Exchange reads as well as writes, so it takes no const set
  ZrBarnXml tree("w");
  fields.Exchange(tree, "ini");
  std::string text;
  tree.GetText(text);
  return text;
}
