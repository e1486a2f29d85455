// The reference host's windows: lookup, new windows, change marks, folders and the dump.
#include "refhost/ZrRefHostState.h"

#include <QDir>
#include <QFileInfo>
#include <QSharedMemory>

#include "formats/ZrFileBytes.h"
#include "hostlink/ZrCmdPackUnpack.h"
#include "imageio/ZrImageFile.h"

ZrRefHostState::ZrRefHostState() = default;

ZrRefHostState::~ZrRefHostState() = default;

ZrRefHostWindow& ZrRefHostState::Window(int32_t id) {
  auto it = windows.find(id);
  if (it == windows.end()) throw ZrError("Window is not found:" + std::to_string(id));
  return it->second;
}

ZrRefHostWindow& ZrRefHostState::Series(int32_t id) {
  ZrRefHostWindow& w = Window(id);
  if (!w.isSeries) throw ZrError("Window is not a series:" + std::to_string(id));
  return w;
}

int32_t ZrRefHostState::NewWindow(ZrRefHostWindow w) {
  w.id = nextWindowId++;
  const int32_t id = w.id;
  windows[id] = std::move(w);
  focus = id;
  Changed(id);
  return id;
}

void ZrRefHostState::Changed(int32_t id) {
  ++revision;
  auto it = windows.find(id);
  if (it != windows.end()) it->second.revision = revision;
  if (changeListener) changeListener();
}

ZrRefHostFaults ZrRefHostState::FaultsFor(const std::string& function) const {
  if (!faults.onlyFunction.empty() && faults.onlyFunction != function) return ZrRefHostFaults();
  return faults;
}

std::string ZrRefHostState::Resolve(const std::string& path, const std::string& folder) {
  const QString p = QString::fromStdString(path);
  if (QFileInfo(p).isAbsolute()) return path;
  return QDir(QString::fromStdString(folder)).filePath(p).toStdString();
}

std::string ZrRefHostState::ConfinedFolder(const std::string& folder) const {
  const std::string outside = "Folder is outside the output folder:" + folder;
  if (folder.find('\0') != std::string::npos) throw ZrError(outside);
  const QString base = QFileInfo(QString::fromStdString(outputDir)).canonicalFilePath();
  if (base.isEmpty()) throw ZrError("Output folder is not found:" + outputDir);
  const QString path = QDir::cleanPath(QDir(base).absoluteFilePath(QString::fromStdString(folder)));
  QString existing = path;
  while (!QFileInfo::exists(existing)) existing = QFileInfo(existing).path();
  const QString prefix = base.endsWith('/') ? base : base + '/';
  auto inside = [&](const QString& p) { return p == base || p.startsWith(prefix); };
  if (!inside(path) || !inside(QFileInfo(existing).canonicalFilePath())) throw ZrError(outside);
  return path.toStdString();
}

void ZrRefHostState::Dump(const std::string& folder) const {
  if (!QDir().mkpath(QString::fromStdString(folder))) {
    throw ZrError("FILE CANNOT WRITE:" + folder);
  }
  for (auto& item : windows) {
    ZrRefHostWindow w = item.second;
    const std::string stem = folder + "/window_" + std::to_string(w.id);
    if (!w.image.IsEmpty()) ZrImageWrite(stem + ".rawf", w.image);
    ZrCmdPackUnpack record("w");
    ZrPackUnpack::ZrPackUnpackCustom& p = record.Packer();
    record.IDDocChildWindow(w.id);
    p.Value("mode", w.mode);
    p.Value("isSeries", w.isSeries);
    p.Value("fileName", w.fileName);
    int32_t cols = w.image.ColSize, rows = w.image.RowSize;
    int32_t colBegin = w.image.ColBegin, rowBegin = w.image.RowBegin;
    p.Value("ColSize", cols);
    p.Value("RowSize", rows);
    p.Value("ColBegin", colBegin);
    p.Value("RowBegin", rowBegin);
    p.KeyDoubleList("ImageKeyDouble", w.keyDouble);
    p.KeyStringList("ImageKeyString", w.keyString);
    p.OpenRack("regions");
    for (auto& r : w.regions) {
      p.OpenRack("i" + std::to_string(r.first));
      int32_t rid = r.first;
      p.Value("RegionID", rid);
      record.Region(r.second);
      p.CloseRack("");
    }
    p.CloseRack("regions");
    p.OpenRack("lines");
    for (auto& l : w.lines) {
      p.OpenRack("i" + std::to_string(l.first));
      ZrRefHostLine& line = l.second;
      p.Value("RegionID", line.id);
      p.Value("x0", line.x0);
      p.Value("y0", line.y0);
      p.Value("x1", line.x1);
      p.Value("y1", line.y1);
      p.Value("width", line.width);
      record.Color("color", line.color);
      p.Value("isMovable", line.isMovable);
      p.Value("name", line.name);
      p.CloseRack("");
    }
    p.CloseRack("lines");
    if (w.isSeries) {
      p.Value("currentIndex", w.currentIndex);
      p.OpenRack("series");
      ZrSeriesIndexExchange(*record.XmlPacker().Document(), w.series);
      p.CloseRack("series");
    }
    std::string text;
    record.GetText(text);
    ZrWriteFileAtomic(stem + ".xml", text, "FILE CANNOT WRITE:");
  }
}
