// Key lists: named numbers and texts in numbered entry elements.
#include "formats/ZrKeyList.h"

namespace {

void EntryValue(ZrBarnXml& xml, double& value) {
  if (!xml.IsWriteMode()) {
    xml.Value("val", value, value);
    return;
  }
  std::string text = ZrExactNumberText(value);
  xml.Value("val", text, text);
}

void EntryValue(ZrBarnXml& xml, std::string& value) {
  xml.Value("val", value, value);
}

template <class Map>
bool KeyList(ZrBarnXml& xml, const std::string& key, Map& map) {
  if (xml.IsWriteMode()) {
    xml.OpenRack(key);
    int32_t n = 0;
    for (const auto& entry : map) {
      xml.OpenRack("i" + std::to_string(n++));
      std::string name = entry.first;
      typename Map::mapped_type value = entry.second;
      xml.Value("key", name, name);
      EntryValue(xml, value);
      xml.CloseRack();
    }
    xml.CloseRack();
    return true;
  }
  if (!xml.OpenRack(key)) return false;
  map.clear();
  for (const std::string& name : xml.ChildNames()) {
    xml.OpenRack(name);
    std::string entryKey;
    typename Map::mapped_type value{};
    const bool hasKey = xml.Value("key", entryKey, entryKey);
    EntryValue(xml, value);
    xml.CloseRack();
    if (hasKey) map[entryKey] = value;
  }
  xml.CloseRack();
  return true;
}

}  // namespace

bool ZrKeyList(ZrBarnXml& xml, const std::string& key, std::map<std::string, double>& map) {
  return KeyList(xml, key, map);
}

bool ZrKeyList(ZrBarnXml& xml, const std::string& key, std::map<std::string, std::string>& map) {
  return KeyList(xml, key, map);
}
