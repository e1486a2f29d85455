// The reference host: windows, request handling and the servers.
#include "refhost/ZrRefHost.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSaveFile>
#include <QSharedMemory>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrSharedImageBlock.h"
#include "imageio/ZrImageFile.h"

namespace {

std::string WindowNotFound(int32_t id) {
  return "Window is not found:" + std::to_string(id);
}

bool IsImageFileName(const QString& name) {
  const QString suffix = QFileInfo(name).suffix().toLower();
  return suffix == "tif" || suffix == "tiff" || suffix == "rawf" || suffix == "xml" ||
         suffix == "png";
}

std::string BaseName(const std::string& path) {
  return QFileInfo(QString::fromStdString(path)).fileName().toStdString();
}

// Pixels of the window image that lie inside a region: rectangles by their extent, ellipses
// by their equation; other shapes count as rectangles.
bool InsideRegion(const ZrRegion& region, double x, double y) {
  const double rx = region.w / 2.0, ry = region.h / 2.0;
  const double dx = x - region.cx, dy = y - region.cy;
  if (region.regionType == "ELLIPSE") {
    if (rx <= 0 || ry <= 0) return false;
    return (dx / rx) * (dx / rx) + (dy / ry) * (dy / ry) <= 1.0;
  }
  return std::fabs(dx) <= rx && std::fabs(dy) <= ry;
}

}  // namespace

struct ZrRefHost::State {
  std::map<int32_t, ZrRefHostWindow> windows;
  int32_t nextWindowId = 1;
  int32_t nextRegionId = 1;
  int32_t focus = -1;
  bool isLoaded = true;
  bool isSuccess = true;
  std::string outputDir = ".";
  ZrRefHostFaults faults;
  std::vector<std::string> requests;
  bool recordRequests = true;
  std::string requestLog;
  uint64_t revision = 0;
  std::function<void()> changeListener;
  bool controlRequests = false;
  // Image-get blocks by client: each lives until its client's next request (a client's calls
  // are sequential, so by then it has read the block) or until the client goes away.
  struct ImageBlock {
    std::unique_ptr<QSharedMemory> memory;
    uint64_t serial = 0;
  };
  std::map<int64_t, ImageBlock> imageBlocks;
  size_t maxImageBlocks = 16;
  int64_t blockCounter = 0;

  ZrRefHostWindow& Window(int32_t id) {
    auto it = windows.find(id);
    if (it == windows.end()) throw ZrError(WindowNotFound(id));
    return it->second;
  }

  ZrRefHostWindow& Series(int32_t id) {
    ZrRefHostWindow& w = Window(id);
    if (!w.isSeries) throw ZrError("Window is not a series:" + std::to_string(id));
    return w;
  }

  ZrSeriesEntry& CurrentEntry(ZrRefHostWindow& w) {
    if (w.currentIndex < 0 || w.currentIndex >= static_cast<int32_t>(w.series.entries.size())) {
      throw ZrError("Series index is out of range:" + std::to_string(w.currentIndex));
    }
    return w.series.entries[static_cast<size_t>(w.currentIndex)];
  }

  int32_t NewWindow(ZrRefHostWindow w) {
    w.id = nextWindowId++;
    const int32_t id = w.id;
    windows[id] = std::move(w);
    focus = id;
    Changed(id);
    return id;
  }

  // Marks a change; the window's own revision moves when there is such a window.
  void Changed(int32_t id) {
    ++revision;
    auto it = windows.find(id);
    if (it != windows.end()) it->second.revision = revision;
    if (changeListener) changeListener();
  }

  std::string Resolve(const std::string& path, const std::string& folder) const {
    const QString p = QString::fromStdString(path);
    if (QFileInfo(p).isAbsolute()) return path;
    return QDir(QString::fromStdString(folder)).filePath(p).toStdString();
  }

  // A folder named by a control request, as an absolute path inside the output folder, with
  // "..", absolute names and symbolic links of existing parts taken into account.
  std::string ConfinedFolder(const std::string& folder) const {
    const std::string outside = "Folder is outside the output folder:" + folder;
    if (folder.find('\0') != std::string::npos) throw ZrError(outside);
    const QString base = QFileInfo(QString::fromStdString(outputDir)).canonicalFilePath();
    if (base.isEmpty()) throw ZrError("Output folder is not found:" + outputDir);
    const QString path =
        QDir::cleanPath(QDir(base).absoluteFilePath(QString::fromStdString(folder)));
    QString existing = path;
    while (!QFileInfo::exists(existing)) existing = QFileInfo(existing).path();
    const QString prefix = base.endsWith('/') ? base : base + '/';
    auto inside = [&](const QString& p) { return p == base || p.startsWith(prefix); };
    if (!inside(path) || !inside(QFileInfo(existing).canonicalFilePath())) throw ZrError(outside);
    return path.toStdString();
  }

  void ReleaseImageBlock(int64_t client) { imageBlocks.erase(client); }

  // Keeps a new block for the client, within the bound on live blocks.
  void KeepImageBlock(int64_t client, std::unique_ptr<QSharedMemory> memory) {
    ReleaseImageBlock(client);
    while (!imageBlocks.empty() && imageBlocks.size() >= maxImageBlocks) {
      auto oldest = std::min_element(
          imageBlocks.begin(), imageBlocks.end(),
          [](const auto& a, const auto& b) { return a.second.serial < b.second.serial; });
      qWarning().noquote() << QString(
                                  "veldra-refhost: image block %1 of client %2 released "
                                  "early: %3 blocks are alive")
                                  .arg(oldest->second.memory->key())
                                  .arg(oldest->first)
                                  .arg(imageBlocks.size());
      imageBlocks.erase(oldest);
    }
    ImageBlock& block = imageBlocks[client];
    block.memory = std::move(memory);
    block.serial = static_cast<uint64_t>(blockCounter);
  }

  std::string EntryPath(const ZrRefHostWindow& w, size_t i) const {
    return Resolve(w.series.entries[i].file, w.seriesFolder);
  }

  ZrRefHostWindow LoadSeries(const std::string& path, const std::string& mode) {
    ZrRefHostWindow w;
    w.isSeries = true;
    w.mode = mode;
    const QFileInfo info(QString::fromStdString(path));
    if (info.isDir()) {
      QDir dir(info.absoluteFilePath());
      w.seriesFolder = dir.absolutePath().toStdString();
      for (const QString& name : dir.entryList(QDir::Files, QDir::Name)) {
        if (!IsImageFileName(name)) continue;
        ZrSeriesEntry entry;
        entry.file = name.toStdString();
        w.series.entries.push_back(entry);
      }
      w.fileName = w.seriesFolder;
    } else if (info.isFile()) {
      w.series = ZrSeriesIndexRead(path);
      w.seriesFolder = info.absolutePath().toStdString();
      w.fileName = info.absoluteFilePath().toStdString();
    } else {
      throw ZrError("Series cannot be loaded:" + path);
    }
    w.savedFiles.assign(w.series.entries.size(), std::string());
    if (!w.series.entries.empty()) w.image = ZrImageRead(EntryPath(w, 0));
    return w;
  }
};

ZrRefHost::ZrRefHost() : state_(std::make_unique<State>()) {}

ZrRefHost::~ZrRefHost() = default;

int32_t ZrRefHost::AddImageWindow(const ZrFloatMatrix& image, const std::string& fileName) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ZrRefHostWindow w;
  w.image = image;
  w.fileName = fileName;
  return state_->NewWindow(std::move(w));
}

int32_t ZrRefHost::LoadImageWindow(const std::string& path) {
  ZrFloatMatrix image = ZrImageRead(path);
  return AddImageWindow(image, path);
}

int32_t ZrRefHost::LoadSeriesWindow(const std::string& path, const std::string& mode) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->NewWindow(state_->LoadSeries(path, mode));
}

void ZrRefHost::SetFocus(int32_t id) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (state_->focus == id) return;
  state_->focus = id;
  state_->Changed(-1);
}

int32_t ZrRefHost::Focus() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->focus;
}

std::vector<int32_t> ZrRefHost::WindowIds() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::vector<int32_t> ids;
  for (const auto& w : state_->windows) ids.push_back(w.first);
  return ids;
}

bool ZrRefHost::GetWindow(int32_t id, ZrRefHostWindow& copy) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->windows.find(id);
  if (it == state_->windows.end()) return false;
  copy = it->second;
  return true;
}

void ZrRefHost::SetWindowImage(int32_t id, const ZrFloatMatrix& image) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Window(id).image = image;
  state_->Changed(id);
}

void ZrRefHost::SetLoaded(bool isLoaded, bool isSuccess) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->isLoaded = isLoaded;
  state_->isSuccess = isSuccess;
}

void ZrRefHost::SetOutputDir(const std::string& folder) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->outputDir = folder;
}

void ZrRefHost::SetFaults(const ZrRefHostFaults& faults) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->faults = faults;
}

ZrRefHostFaults ZrRefHost::Faults() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->faults;
}

ZrRefHostFaults ZrRefHost::FaultsFor(const std::string& function) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  const ZrRefHostFaults& f = state_->faults;
  if (!f.onlyFunction.empty() && f.onlyFunction != function) return ZrRefHostFaults();
  return f;
}

std::vector<std::string> ZrRefHost::Requests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->requests;
}

void ZrRefHost::ClearRequests() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->requests.clear();
}

void ZrRefHost::SetRecordRequests(bool record) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->recordRequests = record;
  if (!record) state_->requests.clear();
}

uint64_t ZrRefHost::Revision() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->revision;
}

uint64_t ZrRefHost::WindowRevision(int32_t id) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->windows.find(id);
  return it == state_->windows.end() ? 0 : it->second.revision;
}

void ZrRefHost::SetChangeListener(std::function<void()> listener) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->changeListener = std::move(listener);
}

void ZrRefHost::SetRequestLog(const std::string& path) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->requestLog = path;
}

void ZrRefHost::ClientGone(int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->ReleaseImageBlock(client);
}

void ZrRefHost::SetMaxImageBlocks(size_t count) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->maxImageBlocks = std::max<size_t>(1, count);
}

std::vector<std::string> ZrRefHost::ImageBlockKeys() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::map<uint64_t, std::string> bySerial;
  for (const auto& b : state_->imageBlocks) {
    bySerial[b.second.serial] = b.second.memory->key().toStdString();
  }
  std::vector<std::string> keys;
  for (const auto& k : bySerial) keys.push_back(k.second);
  return keys;
}

void ZrRefHost::SetControlRequests(bool allowed) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->controlRequests = allowed;
}

void ZrRefHost::Dump(const std::string& folder) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!QDir().mkpath(QString::fromStdString(folder))) {
    throw ZrError("FILE CANNOT WRITE:" + folder);
  }
  for (auto& item : state_->windows) {
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
      ZrSeriesIndexExchange(record.XmlPacker(), w.series);
      p.CloseRack("series");
    }
    std::string text;
    record.GetText(text);
    QSaveFile file(QString::fromStdString(stem + ".xml"));
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), static_cast<qint64>(text.size())) !=
            static_cast<qint64>(text.size()) ||
        !file.commit()) {
      throw ZrError("FILE CANNOT WRITE:" + stem + ".xml");
    }
  }
}

ZrRefHostAnswer ZrRefHost::Handle(const std::string& requestText, int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  State& s = *state_;
  s.ReleaseImageBlock(client);
  if (s.recordRequests) s.requests.push_back(requestText);
  if (!s.requestLog.empty()) {
    QFile log(QString::fromStdString(s.requestLog));
    if (log.open(QIODevice::WriteOnly | QIODevice::Append)) {
      log.write(requestText.data(), static_cast<qint64>(requestText.size()));
    }
  }

  ZrRefHostAnswer answer;
  std::string returnCode = "ok";
  // Results are written by this function after "ReturnCode", once handling has succeeded.
  std::function<void(ZrCmdPackUnpack&)> results = [](ZrCmdPackUnpack&) {};
  int32_t id = -1;
  try {
    ZrCmdPackUnpack request("r");
    // The protocol is text: as a client does with an answer, the host reads a request only up
    // to a zero byte, so none can come back in an answer.
    request.SetText(requestText.substr(0, requestText.find('\0')));
    request.OpenCmd();
    ZrPackUnpack::ZrPackUnpackCustom& in = request.Packer();
    std::string cmd;
    in.Value("cmd", cmd);
    answer.function = cmd;
    request.IDDocChildWindow(id);
    const ZrHostFunctionRow* row = ZrHostFunctionFind(cmd);
    const int32_t number = row != nullptr ? row->number : -1;

    auto keyDoubles = [&](const std::string& key, const std::map<std::string, double>& map) {
      results = [key, map](ZrCmdPackUnpack& r) {
        std::map<std::string, double> copy(map);
        r.Packer().KeyDoubleList(key, copy);
      };
    };
    auto keyStrings = [&](const std::string& key, const std::map<std::string, std::string>& map) {
      results = [key, map](ZrCmdPackUnpack& r) {
        std::map<std::string, std::string> copy(map);
        r.Packer().KeyStringList(key, copy);
      };
    };
    auto windowResult = [&](int32_t value) {
      results = [value](ZrCmdPackUnpack& r) {
        int32_t v = value;
        r.IDDocChildWindow(v);
      };
    };
    auto idList = [&](const std::vector<int32_t>& ids) {
      results = [ids](ZrCmdPackUnpack& r) {
        ZrLongMatrix m(1, static_cast<int32_t>(ids.size()));
        for (size_t i = 0; i < ids.size(); ++i) m.Data[i] = ids[i];
        r.IDList(m);
      };
    };

    switch (number) {
      case 1:  // Update
        break;
      case 4:  // WindowGetFocusedID
        windowResult(s.focus);
        break;
      case 7:  // ImageNewWindow
        windowResult(s.NewWindow(ZrRefHostWindow()));
        break;
      case 8: {  // ImageGet
        ZrFloatMatrix image = s.Window(id).image;
        results = [image](ZrCmdPackUnpack& r) {
          ZrFloatMatrix copy(image);
          r.Packer().Matrix("image", copy, "b");
        };
        break;
      }
      case 9: {  // ImageSet
        ZrFloatMatrix image;
        in.Matrix("image", image, "b");
        s.Window(id).image = image;
        break;
      }
      case 16: {  // GetFileName
        ZrRefHostWindow& w = s.Window(id);
        std::string name = w.isSeries ? BaseName(s.CurrentEntry(w).file) : BaseName(w.fileName);
        results = [name](ZrCmdPackUnpack& r) {
          std::string n = name;
          r.Packer().Value("filenameUtf8", n);
        };
        break;
      }
      case 21: {  // GetIsModeImage
        auto it = s.windows.find(id);
        const bool is = it != s.windows.end() && it->second.mode == "image";
        results = [is](ZrCmdPackUnpack& r) {
          bool v = is;
          r.Packer().Value("isModeImage", v);
        };
        break;
      }
      case 48: {  // GetIsModeSeries
        auto it = s.windows.find(id);
        const bool is = it != s.windows.end() && it->second.isSeries;
        results = [is](ZrCmdPackUnpack& r) {
          bool v = is;
          r.Packer().Value("isModeSeries", v);
        };
        break;
      }
      case 27: {  // RegionAdd
        ZrRefHostWindow& w = s.Window(id);
        ZrRegion region;
        request.Region(region);
        const int32_t regionId = s.nextRegionId++;
        w.regions[regionId] = region;
        results = [regionId](ZrCmdPackUnpack& r) {
          int32_t v = regionId;
          r.Packer().Value("RegionID", v);
        };
        break;
      }
      case 28:  // RegionClear
        s.Window(id).regions.clear();
        break;
      case 32: {  // RegionGetIDList
        std::vector<int32_t> ids;
        for (const auto& r : s.Window(id).regions) ids.push_back(r.first);
        idList(ids);
        break;
      }
      case 33: {  // RegionGet
        int32_t regionId = -1;
        in.Value("RegionID", regionId);
        ZrRefHostWindow& w = s.Window(id);
        auto it = w.regions.find(regionId);
        if (it == w.regions.end()) throw ZrError("Region is not found:" + std::to_string(regionId));
        ZrRegion region = it->second;
        results = [region](ZrCmdPackUnpack& r) {
          ZrRegion copy(region);
          r.Region(copy);
        };
        break;
      }
      case 43: {  // RegionGetIMinMaxAverage
        int32_t regionId = -1;
        in.Value("RegionID", regionId);
        ZrRefHostWindow& w = s.Window(id);
        auto it = w.regions.find(regionId);
        if (it == w.regions.end()) throw ZrError("Region is not found:" + std::to_string(regionId));
        const ZrFloatMatrix& img = w.image;
        float mn = std::numeric_limits<float>::max(), mx = -mn;
        long double sum = 0;
        int64_t n = 0;
        for (int32_t y = img.RowBegin; y < img.RowBegin + img.RowSize; ++y) {
          for (int32_t x = img.ColBegin; x < img.ColBegin + img.ColSize; ++x) {
            if (!InsideRegion(it->second, x, y)) continue;
            const float v = img(x, y);
            mn = std::min(mn, v);
            mx = std::max(mx, v);
            sum += v;
            ++n;
          }
        }
        if (n == 0) throw ZrError("Region holds no pixel:" + std::to_string(regionId));
        const float average = static_cast<float>(sum / n);
        results = [mn, mx, average](ZrCmdPackUnpack& r) {
          float a = mn, b = mx, c = average;
          r.Packer().Value("min", a);
          r.Packer().Value("max", b);
          r.Packer().Value("average", c);
        };
        break;
      }
      case 44: {  // LineAdd
        ZrRefHostWindow& w = s.Window(id);
        ZrRefHostLine line;
        in.Value("x0", line.x0);
        in.Value("y0", line.y0);
        in.Value("x1", line.x1);
        in.Value("y1", line.y1);
        in.Value("width", line.width);
        request.Color("color", line.color);
        in.Value("isMovable", line.isMovable);
        in.Value("name", line.name);
        line.id = s.nextRegionId++;
        w.lines[line.id] = line;
        const int32_t lineId = line.id;
        results = [lineId](ZrCmdPackUnpack& r) {
          int32_t v = lineId;
          r.Packer().Value("RegionID", v);
        };
        break;
      }
      case 45: {  // LineGetIDList
        std::vector<int32_t> ids;
        for (const auto& l : s.Window(id).lines) ids.push_back(l.first);
        idList(ids);
        break;
      }
      case 49: {  // SeriesNewWindow
        std::string file, mode = "image";
        in.Value("filenameUtf8", file);
        in.Value("mode", mode);
        windowResult(s.NewWindow(s.LoadSeries(file, mode)));
        break;
      }
      case 51: {  // SeriesGetCount
        const int32_t count = static_cast<int32_t>(s.Series(id).series.entries.size());
        results = [count](ZrCmdPackUnpack& r) {
          int32_t v = count;
          r.Packer().Value("count", v);
        };
        break;
      }
      case 55:    // SeriesImageIndexSetWithLoadImage
      case 56: {  // SeriesImageIndexSet
        ZrRefHostWindow& w = s.Series(id);
        int32_t index = -1;
        request.Index(index);
        if (index < 0 || index >= static_cast<int32_t>(w.series.entries.size())) {
          throw ZrError("Series index is out of range:" + std::to_string(index));
        }
        w.currentIndex = index;
        if (number == 55) {
          s.isLoaded = true;
          try {
            w.image = ZrImageRead(s.EntryPath(w, static_cast<size_t>(index)));
            s.isSuccess = true;
          } catch (const ZrError&) {
            s.isSuccess = false;  // reported through GetIsLoaded
          }
        }
        break;
      }
      case 58: {  // SeriesImageSave
        ZrRefHostWindow& w = s.Series(id);
        std::string file;
        in.Value("filenameUtf8", file);
        s.CurrentEntry(w);
        if (w.image.IsEmpty()) throw ZrError("Image is empty");
        const std::string path = s.Resolve(file, s.outputDir);
        ZrImageWrite(path, w.image);
        w.savedFiles[static_cast<size_t>(w.currentIndex)] =
            QFileInfo(QString::fromStdString(path)).absoluteFilePath().toStdString();
        break;
      }
      case 93: {  // SeriesSaveRenew
        ZrRefHostWindow& w = s.Series(id);
        std::string file;
        in.Value("filenameUtf8", file);
        const std::string path = s.Resolve(file, s.outputDir);
        const QDir indexDir = QFileInfo(QString::fromStdString(path)).absoluteDir();
        ZrSeriesIndex renewed = w.series;
        for (size_t i = 0; i < renewed.entries.size(); ++i) {
          const std::string source = w.savedFiles[i].empty() ? s.EntryPath(w, i) : w.savedFiles[i];
          const QString absolute =
              QDir::cleanPath(QFileInfo(QString::fromStdString(source)).absoluteFilePath());
          const QString relative = indexDir.relativeFilePath(absolute);
          renewed.entries[i].file = (relative.startsWith("..") ? absolute : relative).toStdString();
        }
        ZrSeriesIndexWrite(path, renewed);
        break;
      }
      case 61:
        keyDoubles("ImageKeyDouble", s.Window(id).keyDouble);
        break;
      case 62:
        in.KeyDoubleList("ImageKeyDouble", s.Window(id).keyDouble);
        break;
      case 63:
        keyStrings("ImageKeyString", s.Window(id).keyString);
        break;
      case 64:
        in.KeyStringList("ImageKeyString", s.Window(id).keyString);
        break;
      case 65:
        keyDoubles("SeriesKeyDouble", s.Series(id).series.keyDouble);
        break;
      case 67:
        keyStrings("SeriesKeyString", s.Series(id).series.keyString);
        break;
      case 69: {
        ZrRefHostWindow& w = s.Series(id);
        keyDoubles("SeriesIndexKeyDouble", s.CurrentEntry(w).keyDouble);
        break;
      }
      case 70: {
        ZrRefHostWindow& w = s.Series(id);
        in.KeyDoubleList("SeriesIndexKeyDouble", s.CurrentEntry(w).keyDouble);
        break;
      }
      case 71: {
        ZrRefHostWindow& w = s.Series(id);
        keyStrings("SeriesIndexKeyString", s.CurrentEntry(w).keyString);
        break;
      }
      case 72: {
        ZrRefHostWindow& w = s.Series(id);
        in.KeyStringList("SeriesIndexKeyString", s.CurrentEntry(w).keyString);
        break;
      }
      case 77: {  // FIImageGetBySharedMemory
        const ZrFloatMatrix& image = s.Window(id).image;
        const bool shortBlock =
            s.faults.shortBlock && (s.faults.onlyFunction.empty() || s.faults.onlyFunction == cmd);
        int64_t size = ZrSharedImageBlock::BlockBytes(image.ColSize, image.RowSize);
        if (shortBlock) size = std::max<int64_t>(16, size - 4);
        if (size > std::numeric_limits<int>::max()) throw ZrError("Shared Memory cannot create");
        // A fresh key for every answer; a key still held by another process is skipped.
        std::unique_ptr<QSharedMemory> block;
        std::string key;
        for (int attempt = 0;; ++attempt) {
          key = "REFHOSTIMAGE" + std::to_string(QCoreApplication::applicationPid()) + "_" +
                std::to_string(++s.blockCounter);
          block = std::make_unique<QSharedMemory>(QString::fromStdString(key));
          if (block->create(static_cast<int>(size))) break;
          if (block->error() != QSharedMemory::AlreadyExists || attempt == 100) {
            throw ZrError("Shared Memory cannot create");
          }
        }
        block->lock();
        char* data = static_cast<char*>(block->data());
        if (shortBlock && image.Count() == 0) {
          const int32_t header[4] = {1, 1, image.ColBegin, image.RowBegin};
          std::memcpy(data, header, sizeof(header));
        } else {
          const int32_t header[4] = {image.ColSize, image.RowSize, image.ColBegin, image.RowBegin};
          std::memcpy(data, header, sizeof(header));
          const int64_t bytes = std::min<int64_t>(size - 16, 4 * image.Count());
          if (bytes > 0) std::memcpy(data + 16, image.Data, static_cast<size_t>(bytes));
        }
        block->unlock();
        s.KeepImageBlock(client, std::move(block));
        results = [key](ZrCmdPackUnpack& r) {
          std::string k = key;
          r.Packer().Value("key", k);
        };
        break;
      }
      case 78: {  // FIImageSetBySharedMemory
        ZrRefHostWindow& w = s.Window(id);
        std::string key;
        in.Value("key", key);
        QSharedMemory block(QString::fromUtf8(key.c_str()));
        if (!block.attach(QSharedMemory::ReadOnly)) {
          throw ZrError("Cannot attach to Shared Memory" + key);
        }
        block.lock();
        try {
          // Decode checks the block before it touches the window's image.
          ZrSharedImageBlock::Decode(block.constData(), block.size(), w.image);
        } catch (...) {
          block.unlock();
          throw;
        }
        block.unlock();
        block.detach();
        break;
      }
      case 104: {  // GetIsLoaded
        const bool loaded = s.isLoaded, success = s.isSuccess;
        results = [loaded, success](ZrCmdPackUnpack& r) {
          bool a = loaded, b = success;
          r.Packer().Value("isLoaded", a);
          r.Packer().Value("isSuccess", b);
        };
        break;
      }
      default:
        if ((cmd == "RefHostDump" || cmd == "RefHostQuit") && !s.controlRequests) {
          throw ZrError("Control requests are not allowed:" + cmd);
        } else if (cmd == "RefHostDump") {
          std::string folder;
          in.Value("folder", folder);
          Dump(s.ConfinedFolder(folder));
        } else if (cmd == "RefHostQuit") {
          answer.quit = true;
        } else {
          throw ZrError("Unknown function:" + cmd);
        }
    }
    if (!s.faults.returnCode.empty() &&
        (s.faults.onlyFunction.empty() || s.faults.onlyFunction == cmd)) {
      returnCode = s.faults.returnCode;
    }
  } catch (const ZrError& e) {
    returnCode = e.Message.empty() ? std::string("error") : e.Message;
    results = [](ZrCmdPackUnpack&) {};
  } catch (const std::exception& e) {
    returnCode = std::string("undefined err:") + e.what();
    results = [](ZrCmdPackUnpack&) {};
  }
  // Functions that only get leave everything as it was; any other may have changed the window
  // it names (a failed one too, part-way), and windows it made are marked when made.
  const bool onlyGets = answer.function.find("Get") != std::string::npos &&
                        answer.function.find("Set") == std::string::npos;
  if (!onlyGets) s.Changed(id);

  ZrCmdPackUnpack response("w");
  response.OpenCmd();
  response.Packer().Value("ReturnCode", returnCode);
  results(response);
  response.CloseCmd();
  response.GetText(answer.text);
  return answer;
}
