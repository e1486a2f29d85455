// Lists of named numbers or texts as the host's messages and the series index hold them: inside
// the element `key` one child per entry, "i0", "i1", ..., each holding the entry's name under
// "key" and its value under "val".
#pragma once

#include <map>
#include <string>

#include "formats/ZrBarnXml.h"

// Writes or reads the list under `key` in the current element, the document's mode deciding.
// Writing: entries in the map's order; numbers with the digits that read back exactly
// (ZrExactNumberText). Reading: the children are taken in document order whatever they are
// called, an entry without "key" is skipped, and the map is replaced by what was found; false
// (map untouched) when `key` is missing.
bool ZrKeyList(ZrBarnXml& xml, const std::string& key, std::map<std::string, double>& map);
bool ZrKeyList(ZrBarnXml& xml, const std::string& key, std::map<std::string, std::string>& map);
