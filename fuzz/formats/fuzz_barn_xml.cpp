// Tags arbitrary text and walks it as a reader would: every element name found in the input
// and every child the tree lists is opened, read as each value type, its attributes parsed,
// and closed, level by level.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "formats/ZrADateTime.h"
#include "formats/ZrBarnXml.h"

namespace {

void Walk(ZrBarnXml& xml, const std::vector<std::string>& names, int depth) {
  std::vector<std::string> here = xml.ChildNames();
  here.resize(std::min<size_t>(here.size(), 4));
  here.insert(here.end(), names.begin(), names.end());
  for (const std::string& name : here) {
    std::string s;
    int32_t i = 0;
    double d = 0;
    bool b = false;
    xml.Value(name, s, "");
    xml.Value(name, i, 0);
    xml.Value(name, d, 0);
    xml.Value(name, b, false);
    std::vector<std::string> list;
    xml.Value(name, list);
    try {
      ZrADateTime date;
      xml.Value(name, date, ZrADateTime());
    } catch (const ZrError&) {
    }
    std::vector<std::pair<std::string, std::string>> attributes;
    if (xml.Attributes(name, attributes)) {
      if (depth < 6) Walk(xml, names, depth + 1);
      xml.CloseRack(name);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ZrBarnXml xml("r");
  try {
    xml.SetText(text);
  } catch (const ZrError&) {
    return 0;
  }
  std::string written;
  xml.GetText(written);
  xml.StatusMessage();
  // Candidate names: what follows each "<" up to a blank or ">", a few distinct ones.
  std::set<std::string> found;
  for (size_t k = 0; k < text.size() && found.size() < 12; ++k) {
    if (text[k] != '<') continue;
    size_t e = k + 1;
    while (e < text.size() && text[e] != ' ' && text[e] != '>' && e - k < 32) ++e;
    found.insert(text.substr(k + 1, e - k - 1));
  }
  found.insert("r");
  const std::vector<std::string> names(found.begin(), found.end());
  Walk(xml, names, 0);
  // Escaping is undone exactly unless over-unescaping of "&amp;" sequences applies.
  if (text.find('&') == std::string::npos && ZrBarnXml::Unescape(ZrBarnXml::Escape(text)) != text) {
    __builtin_trap();
  }
  return 0;
}
