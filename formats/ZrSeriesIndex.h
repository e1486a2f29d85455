// The series index file "*.xmlsrs": root "VELDRA-SERIES", the series keys, and one entry
// per image with its file name and index keys. One routine reads and writes it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "formats/ZrBarnXml.h"

struct ZrSeriesEntry {
  std::string File;  // as stored: relative to the index file's folder, or absolute
  std::map<std::string, double> KeyDouble;
  std::map<std::string, std::string> KeyString;
};

struct ZrSeriesIndex {
  std::map<std::string, double> KeyDouble;
  std::map<std::string, std::string> KeyString;
  std::vector<ZrSeriesEntry> Entries;
};

// Writes or reads the tree below the root, the document's mode deciding (also inside the
// reference host's window dump).
void ZrSeriesIndexExchange(ZrBarnXml& xml, ZrSeriesIndex& index);

// The index as text, and back. Reading fails with "Not a series index file" when the root is
// missing.
std::string ZrSeriesIndexText(const ZrSeriesIndex& index);
ZrSeriesIndex ZrSeriesIndexParse(const std::string& text);

// Files: "Cannot open:" + path / "FILE CANNOT WRITE:" + path on failure.
ZrSeriesIndex ZrSeriesIndexRead(const std::string& path);
void ZrSeriesIndexWrite(const std::string& path, const ZrSeriesIndex& index);
