// Series index files.
#include "formats/ZrSeriesIndex.h"

#include "formats/ZrFileBytes.h"
#include "formats/ZrKeyList.h"

namespace {

const char kRoot[] = "VELDRA-SERIES";

}  // namespace

void ZrSeriesIndexExchange(ZrBarnXml& xml, ZrSeriesIndex& index) {
  const bool writing = xml.IsWriteMode();
  ZrKeyList(xml, "SeriesKeyDouble", index.KeyDouble);
  ZrKeyList(xml, "SeriesKeyString", index.KeyString);
  int32_t count = static_cast<int32_t>(index.Entries.size());
  xml.Value("count", count, count);
  if (!xml.OpenRack("images")) return;
  if (!writing) index.Entries.clear();
  for (size_t i = 0;; ++i) {
    if (writing && i == index.Entries.size()) break;
    if (!xml.OpenRack("i" + std::to_string(i))) break;
    ZrSeriesEntry entry = writing ? index.Entries[i] : ZrSeriesEntry();
    xml.Value("file", entry.File, entry.File);
    ZrKeyList(xml, "SeriesIndexKeyDouble", entry.KeyDouble);
    ZrKeyList(xml, "SeriesIndexKeyString", entry.KeyString);
    xml.CloseRack();
    if (!writing) index.Entries.push_back(entry);
  }
  xml.CloseRack();
}

std::string ZrSeriesIndexText(const ZrSeriesIndex& index) {
  ZrBarnXml xml("w");
  ZrSeriesIndex copy(index);
  xml.OpenRack(kRoot);
  ZrSeriesIndexExchange(xml, copy);
  xml.CloseRack();
  std::string text;
  xml.GetText(text);
  return text;
}

ZrSeriesIndex ZrSeriesIndexParse(const std::string& text) {
  if (text.find(std::string("<") + kRoot + ">") == std::string::npos) {
    throw ZrError("Not a series index file");
  }
  ZrBarnXml xml("r");
  xml.SetText(text);
  xml.OpenRack(kRoot);
  ZrSeriesIndex index;
  ZrSeriesIndexExchange(xml, index);
  return index;
}

ZrSeriesIndex ZrSeriesIndexRead(const std::string& path) {
  std::string text;
  try {
    text = ZrReadFileBytes(path);
  } catch (const ZrError&) {
    throw ZrError("Cannot open:" + path);
  }
  try {
    return ZrSeriesIndexParse(text);
  } catch (ZrError& e) {
    e.Message += ": " + path;
    throw;
  }
}

void ZrSeriesIndexWrite(const std::string& path, const ZrSeriesIndex& index) {
  ZrWriteFileAtomic(path, ZrSeriesIndexText(index), "FILE CANNOT WRITE:");
}
