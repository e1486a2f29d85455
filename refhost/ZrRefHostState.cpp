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
  auto it = Windows.find(id);
  if (it == Windows.end()) throw ZrError("Window is not found:" + std::to_string(id));
  return it->second;
}

ZrRefHostWindow& ZrRefHostState::Series(int32_t id) {
  ZrRefHostWindow& w = Window(id);
  if (!w.IsSeries) throw ZrError("Window is not a series:" + std::to_string(id));
  return w;
}

int32_t ZrRefHostState::NewWindow(ZrRefHostWindow w) {
  w.Id = NextWindowId++;
  const int32_t id = w.Id;
  Windows[id] = std::move(w);
  Focus = id;
  Changed(id);
  return id;
}

void ZrRefHostState::Changed(int32_t id) {
  ++Revision;
  auto it = Windows.find(id);
  if (it != Windows.end()) it->second.Revision = Revision;
  if (ChangeListener) ChangeListener();
}

ZrRefHostFaults ZrRefHostState::FaultsFor(const std::string& function) const {
  if (!Faults.OnlyFunction.empty() && Faults.OnlyFunction != function) return ZrRefHostFaults();
  return Faults;
}

std::string ZrRefHostState::Resolve(const std::string& path, const std::string& folder) {
  const QString p = QString::fromStdString(path);
  if (QFileInfo(p).isAbsolute()) return path;
  return QDir(QString::fromStdString(folder)).filePath(p).toStdString();
}

std::string ZrRefHostState::ConfinedFolder(const std::string& folder) const {
  const std::string outside = "Folder is outside the output folder:" + folder;
  if (folder.find('\0') != std::string::npos) throw ZrError(outside);
  const QString base = QFileInfo(QString::fromStdString(OutputDir)).canonicalFilePath();
  if (base.isEmpty()) throw ZrError("Output folder is not found:" + OutputDir);
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
  for (auto& item : Windows) {
    ZrRefHostWindow w = item.second;
    const std::string stem = folder + "/window_" + std::to_string(w.Id);
    if (!w.Image.IsEmpty()) ZrImageWrite(stem + ".rawf", w.Image);
    ZrCmdPackUnpack record("w");
    ZrPackUnpack::ZrPackUnpackCustom& p = record.Packer();
    record.IDDocChildWindow(w.Id);
    p.Value("mode", w.Mode);
    p.Value("isSeries", w.IsSeries);
    p.Value("fileName", w.FileName);
    int32_t cols = w.Image.ColSize, rows = w.Image.RowSize;
    int32_t colBegin = w.Image.ColBegin, rowBegin = w.Image.RowBegin;
    p.Value("ColSize", cols);
    p.Value("RowSize", rows);
    p.Value("ColBegin", colBegin);
    p.Value("RowBegin", rowBegin);
    p.KeyDoubleList("ImageKeyDouble", w.KeyDouble);
    p.KeyStringList("ImageKeyString", w.KeyString);
    p.OpenRack("regions");
    for (auto& r : w.Regions) {
      p.OpenRack("i" + std::to_string(r.first));
      int32_t rid = r.first;
      p.Value("RegionID", rid);
      record.Region(r.second);
      p.CloseRack("");
    }
    p.CloseRack("regions");
    p.OpenRack("lines");
    for (auto& l : w.Lines) {
      p.OpenRack("i" + std::to_string(l.first));
      ZrRefHostLine& line = l.second;
      p.Value("RegionID", line.Id);
      p.Value("x0", line.X0);
      p.Value("y0", line.Y0);
      p.Value("x1", line.X1);
      p.Value("y1", line.Y1);
      p.Value("width", line.Width);
      record.Color("color", line.Color);
      p.Value("isMovable", line.IsMovable);
      p.Value("name", line.Name);
      p.CloseRack("");
    }
    p.CloseRack("lines");
    if (w.IsSeries) {
      p.Value("currentIndex", w.CurrentIndex);
      p.OpenRack("series");
      ZrSeriesIndexExchange(*record.XmlPacker().Document(), w.Series);
      p.CloseRack("series");
    }
    std::string text;
    record.GetText(text);
    ZrWriteFileAtomic(stem + ".xml", text, "FILE CANNOT WRITE:");
  }
}
