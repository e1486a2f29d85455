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
  call.Request.Packer().Value("filenameUtf8", file);
  call.Request.Packer().Value("mode", mode);
  call.Result("IDDocChildWindow", call.Host.NewWindow(call.Host.LoadSeries(file, mode)));
}

void SeriesGetCount(ZrRefHostCall& call) {
  call.Result("count", static_cast<int32_t>(call.Series().Series.Entries.size()));
}

// Makes an image of the series current; loading it sets the state GetIsLoaded reports.
void SetCurrentIndex(ZrRefHostCall& call, bool load) {
  ZrRefHostWindow& w = call.Series();
  int32_t index = -1;
  call.Request.Index(index);
  if (index < 0 || index >= static_cast<int32_t>(w.Series.Entries.size())) {
    throw ZrError("Series index is out of range:" + std::to_string(index));
  }
  w.CurrentIndex = index;
  if (!load) return;
  call.Host.IsLoaded = true;
  try {
    w.Image = ZrImageRead(call.Host.EntryPath(w, static_cast<size_t>(index)));
    call.Host.IsSuccess = true;
  } catch (const ZrError&) {
    call.Host.IsSuccess = false;  // reported through GetIsLoaded
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
  call.Request.Packer().Value("filenameUtf8", file);
  call.Host.CurrentEntry(w);
  if (w.Image.IsEmpty()) throw ZrError("Image is empty");
  const std::string path = ZrRefHostState::Resolve(file, call.Host.OutputDir);
  ZrImageWrite(path, w.Image);
  w.SavedFiles[static_cast<size_t>(w.CurrentIndex)] =
      QFileInfo(QString::fromStdString(path)).absoluteFilePath().toStdString();
}

// Each entry names the file saved for it, or its original file, relative to the index file's
// folder when it lies inside it.
void SeriesSaveRenew(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Series();
  std::string file;
  call.Request.Packer().Value("filenameUtf8", file);
  const std::string path = ZrRefHostState::Resolve(file, call.Host.OutputDir);
  const QDir indexDir = QFileInfo(QString::fromStdString(path)).absoluteDir();
  ZrSeriesIndex renewed = w.Series;
  for (size_t i = 0; i < renewed.Entries.size(); ++i) {
    const std::string source =
        w.SavedFiles[i].empty() ? call.Host.EntryPath(w, i) : w.SavedFiles[i];
    const QString absolute =
        QDir::cleanPath(QFileInfo(QString::fromStdString(source)).absoluteFilePath());
    const QString relative = indexDir.relativeFilePath(absolute);
    renewed.Entries[i].File = (relative.startsWith("..") ? absolute : relative).toStdString();
  }
  ZrSeriesIndexWrite(path, renewed);
}

void GetIsLoaded(ZrRefHostCall& call) {
  call.Result("isLoaded", call.Host.IsLoaded);
  call.Result("isSuccess", call.Host.IsSuccess);
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
  w.IsSeries = true;
  w.Mode = mode;
  const QFileInfo info(QString::fromStdString(path));
  if (info.isDir()) {
    QDir dir(info.absoluteFilePath());
    w.SeriesFolder = dir.absolutePath().toStdString();
    for (const QString& name : dir.entryList(QDir::Files, QDir::Name)) {
      if (!IsImageFileName(name)) continue;
      ZrSeriesEntry entry;
      entry.File = name.toStdString();
      w.Series.Entries.push_back(entry);
    }
    w.FileName = w.SeriesFolder;
  } else if (info.isFile()) {
    w.Series = ZrSeriesIndexRead(path);
    w.SeriesFolder = info.absolutePath().toStdString();
    w.FileName = info.absoluteFilePath().toStdString();
  } else {
    throw ZrError("Series cannot be loaded:" + path);
  }
  w.SavedFiles.assign(w.Series.Entries.size(), std::string());
  if (!w.Series.Entries.empty()) w.Image = ZrImageRead(EntryPath(w, 0));
  return w;
}

ZrSeriesEntry& ZrRefHostState::CurrentEntry(ZrRefHostWindow& w) {
  if (w.CurrentIndex < 0 || w.CurrentIndex >= static_cast<int32_t>(w.Series.Entries.size())) {
    throw ZrError("Series index is out of range:" + std::to_string(w.CurrentIndex));
  }
  return w.Series.Entries[static_cast<size_t>(w.CurrentIndex)];
}

std::string ZrRefHostState::EntryPath(const ZrRefHostWindow& w, size_t i) const {
  return Resolve(w.Series.Entries[i].File, w.SeriesFolder);
}
