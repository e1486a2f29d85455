// Menu registration files.
#include "formats/ZrMenuFile.h"

#include "formats/ZrFileBytes.h"

namespace {

const char kRoot[] = "VELDRA-MENU";

}  // namespace

void ZrMenuFileExchange(ZrBarnXml& xml, std::vector<ZrMenuEntry>& entries,
                        std::vector<std::string>& extensions) {
  const bool writing = xml.IsWriteMode();
  xml.Value("FileLoaderExtWithComma_", extensions);
  if (!xml.OpenRack("menuList")) return;
  if (!writing) entries.clear();
  for (size_t i = 0;; ++i) {
    if (writing && i == entries.size()) break;
    if (!xml.OpenRack("i" + std::to_string(i))) break;
    ZrMenuEntry entry = writing ? entries[i] : ZrMenuEntry();
    xml.Value("Exe", entry.Exe, entry.Exe);
    xml.Value("Parameter", entry.Parameter, entry.Parameter);
    xml.Value("Title", entry.Title, entry.Title);
    xml.Value("TitleSubmenu", entry.TitleSubmenu, entry.TitleSubmenu);
    xml.Value("TitleMenu", entry.TitleMenu, entry.TitleMenu);
    xml.CloseRack();
    if (!writing) entries.push_back(entry);
  }
  xml.CloseRack();
}

std::string ZrMenuFileText(const std::vector<ZrMenuEntry>& entries,
                           const std::vector<std::string>& extensions) {
  ZrBarnXml xml("w");
  std::vector<ZrMenuEntry> e = entries;
  std::vector<std::string> x = extensions;
  xml.OpenRack(kRoot);
  ZrMenuFileExchange(xml, e, x);
  xml.CloseRack();
  std::string text;
  xml.GetText(text);
  return text;
}

void ZrMenuFileParse(const std::string& text, std::vector<ZrMenuEntry>& entries,
                     std::vector<std::string>& extensions) {
  ZrBarnXml xml("r");
  xml.SetText(text);
  xml.OpenRack(kRoot);
  ZrMenuFileExchange(xml, entries, extensions);
}

void ZrMenuFileWrite(const std::string& path, const std::vector<ZrMenuEntry>& entries,
                     const std::vector<std::string>& extensions) {
  ZrWriteFileAtomic(path, ZrMenuFileText(entries, extensions), "Cannot File Open ");
}

void ZrMenuFileRead(const std::string& path, std::vector<ZrMenuEntry>& entries,
                    std::vector<std::string>& extensions) {
  std::string text;
  try {
    text = ZrReadFileBytes(path);
  } catch (const ZrError&) {
    throw ZrError(path + ": Cannot File Open");
  }
  ZrMenuFileParse(text, entries, extensions);
}
