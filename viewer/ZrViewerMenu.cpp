#include "viewer/ZrViewerMenu.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include "formats/ZrBarnFile.h"
#include "formats/ZrMenuFile.h"
#include "numerics/ZrError.h"

std::vector<ZrViewerMenuItem> ZrViewerMenuScan(const std::string& folder,
                                               std::vector<std::string>* errors) {
  std::vector<ZrViewerMenuItem> items;
  const QDir dir(QString::fromStdString(folder));
  if (!dir.exists()) return items;
  const QFileInfoList files =
      dir.entryInfoList({"*.menu"}, QDir::Files | QDir::Readable, QDir::Name);
  for (const QFileInfo& file : files) {
    const std::string path = file.absoluteFilePath().toStdString();
    std::vector<ZrMenuEntry> entries;
    std::vector<std::string> extensions;
    try {
      // Other programs' "*.menu" files are refused by their root before anything is read.
      ZrBarnFile check(path, "r", "VELDRA-MENU", "Not a menu registration file:" + path);
      ZrMenuFileRead(path, entries, extensions);
    } catch (const ZrError& e) {
      if (errors != nullptr) errors->push_back(e.Message);
      continue;
    }
    for (const ZrMenuEntry& entry : entries) items.push_back({path, entry});
  }
  return items;
}

ZrViewerLaunch ZrViewerMenuLaunch(const ZrViewerMenuItem& item, uint16_t port) {
  if (item.Entry.Exe.empty()) throw ZrError("Menu entry has no Exe:" + item.MenuFile);
  const QFileInfo menuFile(QString::fromStdString(item.MenuFile));
  ZrViewerLaunch launch;
  launch.Program = menuFile.absoluteDir().filePath(QString::fromStdString(item.Entry.Exe));
  launch.Arguments = QProcess::splitCommand(QString::fromStdString(item.Entry.Parameter));
  launch.Arguments << "-P" << QString::number(port);
  return launch;
}
