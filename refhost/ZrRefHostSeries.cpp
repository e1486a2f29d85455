// Handlers of the series functions: series windows from a folder or an index, the current
// image, saving images and a renewed index, and the load state.
#include <QDir>
#include <QFileInfo>

#include "imageio/ZrImageFile.h"
#include "refhost/ZrRefHostHandlers.h"

namespace {

bool IsImageFileName(const QString& name) {
  const QString suffix = QFileInfo(name).suffix().toLower();
  return suffix == "tif" || suffix == "tiff" || suffix == "rawf" || suffix == "xml" ||
         suffix == "png";
}

void SeriesNewWindow(ZrRefHostCall& call) {
  std::string file, mode = "image";
  call.request.Packer().Value("filenameUtf8", file);
  call.request.Packer().Value("mode", mode);
  call.Result("IDDocChildWindow", call.host.NewWindow(call.host.LoadSeries(file, mode)));
}

void SeriesGetCount(ZrRefHostCall& call) {
  call.Result("count", static_cast<int32_t>(call.Series().series.entries.size()));
}

// Makes an image of the series current; loading it sets the state GetIsLoaded reports.
void SetCurrentIndex(ZrRefHostCall& call, bool load) {
  ZrRefHostWindow& w = call.Series();
  int32_t index = -1;
  call.request.Index(index);
  if (index < 0 || index >= static_cast<int32_t>(w.series.entries.size())) {
    throw ZrError("Series index is out of range:" + std::to_string(index));
  }
  w.currentIndex = index;
  if (!load) return;
  call.host.isLoaded = true;
  try {
    w.image = ZrImageRead(call.host.EntryPath(w, static_cast<size_t>(index)));
    call.host.isSuccess = true;
  } catch (const ZrError&) {
    call.host.isSuccess = false;  // reported through GetIsLoaded
  }
}

void SeriesImageIndexSetWithLoadImage(ZrRefHostCall& call) {
  SetCurrentIndex(call, true);
}

void SeriesImageIndexSet(ZrRefHostCall& call) {
  SetCurrentIndex(call, false);
}

// A relative file name is taken in the output folder.
void SeriesImageSave(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Series();
  std::string file;
  call.request.Packer().Value("filenameUtf8", file);
  call.host.CurrentEntry(w);
  if (w.image.IsEmpty()) throw ZrError("Image is empty");
  const std::string path = ZrRefHostState::Resolve(file, call.host.outputDir);
  ZrImageWrite(path, w.image);
  w.savedFiles[static_cast<size_t>(w.currentIndex)] =
      QFileInfo(QString::fromStdString(path)).absoluteFilePath().toStdString();
}

// Each entry names the file saved for it, or its original file, relative to the index file's
// folder when it lies inside it.
void SeriesSaveRenew(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Series();
  std::string file;
  call.request.Packer().Value("filenameUtf8", file);
  const std::string path = ZrRefHostState::Resolve(file, call.host.outputDir);
  const QDir indexDir = QFileInfo(QString::fromStdString(path)).absoluteDir();
  ZrSeriesIndex renewed = w.series;
  for (size_t i = 0; i < renewed.entries.size(); ++i) {
    const std::string source =
        w.savedFiles[i].empty() ? call.host.EntryPath(w, i) : w.savedFiles[i];
    const QString absolute =
        QDir::cleanPath(QFileInfo(QString::fromStdString(source)).absoluteFilePath());
    const QString relative = indexDir.relativeFilePath(absolute);
    renewed.entries[i].file = (relative.startsWith("..") ? absolute : relative).toStdString();
  }
  ZrSeriesIndexWrite(path, renewed);
}

void GetIsLoaded(ZrRefHostCall& call) {
  call.Result("isLoaded", call.host.isLoaded);
  call.Result("isSuccess", call.host.isSuccess);
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostSeriesHandlers() {
  return {{ZrHostFunction::SeriesNewWindow, SeriesNewWindow},
          {ZrHostFunction::SeriesGetCount, SeriesGetCount},
          {ZrHostFunction::SeriesImageIndexSetWithLoadImage, SeriesImageIndexSetWithLoadImage},
          {ZrHostFunction::SeriesImageIndexSet, SeriesImageIndexSet},
          {ZrHostFunction::SeriesImageSave, SeriesImageSave},
          {ZrHostFunction::SeriesSaveRenew, SeriesSaveRenew},
          {ZrHostFunction::GetIsLoaded, GetIsLoaded}};
}

ZrRefHostWindow ZrRefHostState::LoadSeries(const std::string& path, const std::string& mode) {
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

ZrSeriesEntry& ZrRefHostState::CurrentEntry(ZrRefHostWindow& w) {
  if (w.currentIndex < 0 || w.currentIndex >= static_cast<int32_t>(w.series.entries.size())) {
    throw ZrError("Series index is out of range:" + std::to_string(w.currentIndex));
  }
  return w.series.entries[static_cast<size_t>(w.currentIndex)];
}

std::string ZrRefHostState::EntryPath(const ZrRefHostWindow& w, size_t i) const {
  return Resolve(w.series.entries[i].file, w.seriesFolder);
}
