// Series index files.
#include "refhost/ZrSeriesIndex.h"

#include <QFile>
#include <boost/shared_ptr.hpp>

#include "formats/ZrFileBytes.h"

void ZrSeriesIndexExchange(ZrPackUnpack::ZrPackUnpackXml& packer, ZrSeriesIndex& index) {
  const bool writing = packer.GetMode() == "w";
  packer.KeyDoubleList("SeriesKeyDouble", index.keyDouble);
  packer.KeyStringList("SeriesKeyString", index.keyString);
  int32_t count = static_cast<int32_t>(index.entries.size());
  packer.Value("count", count);
  if (!packer.OpenRack("images")) return;
  if (!writing) index.entries.clear();
  for (size_t i = 0;; ++i) {
    if (writing && i == index.entries.size()) break;
    const std::string name = "i" + std::to_string(i);
    if (!packer.OpenRack(name)) break;
    ZrSeriesEntry entry = writing ? index.entries[i] : ZrSeriesEntry();
    packer.Value("file", entry.file);
    packer.KeyDoubleList("SeriesIndexKeyDouble", entry.keyDouble);
    packer.KeyStringList("SeriesIndexKeyString", entry.keyString);
    packer.CloseRack(name);
    if (!writing) index.entries.push_back(entry);
  }
  packer.CloseRack("images");
}

std::string ZrSeriesIndexText(const ZrSeriesIndex& index) {
  boost::shared_ptr<ZrBarnXml> document(new ZrBarnXml("w"));
  ZrPackUnpack::ZrPackUnpackXml packer(document);
  ZrSeriesIndex copy(index);
  packer.OpenRack("VELDRA-SERIES");
  ZrSeriesIndexExchange(packer, copy);
  packer.CloseRack("VELDRA-SERIES");
  std::string text;
  packer.GetText(text);
  return text;
}

ZrSeriesIndex ZrSeriesIndexParse(const std::string& text) {
  if (text.find("<VELDRA-SERIES>") == std::string::npos) {
    throw ZrError("Not a series index file");
  }
  boost::shared_ptr<ZrBarnXml> document(new ZrBarnXml("r"));
  ZrPackUnpack::ZrPackUnpackXml packer(document);
  document->SetText(text);
  packer.OpenRack("VELDRA-SERIES");
  ZrSeriesIndex index;
  ZrSeriesIndexExchange(packer, index);
  return index;
}

ZrSeriesIndex ZrSeriesIndexRead(const std::string& path) {
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::ReadOnly)) throw ZrError("Cannot open:" + path);
  const QByteArray bytes = file.readAll();
  try {
    return ZrSeriesIndexParse(bytes.toStdString());
  } catch (ZrError& e) {
    e.Message += ": " + path;
    throw;
  }
}

void ZrSeriesIndexWrite(const std::string& path, const ZrSeriesIndex& index) {
  ZrWriteFileAtomic(path, ZrSeriesIndexText(index), "FILE CANNOT WRITE:");
}
