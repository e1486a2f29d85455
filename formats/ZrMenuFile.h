// The menu registration file that a plug-in program writes beside its executable and the host
// (here the reference viewer) reads to build its plug-in menu: root "VELDRA-MENU", the file
// loader's extensions under "FileLoaderExtWithComma_" (a string list), and under "menuList"
// one element "i0", "i1", ... per entry holding "Exe", "Parameter", "Title", "TitleSubmenu" and
// "TitleMenu".
#pragma once

#include <string>
#include <vector>

#include "formats/ZrBarnXml.h"

// One menu entry, fields in the order the host expects them.
struct ZrMenuEntry {
  std::string Title;
  std::string TitleSubmenu;
  std::string TitleMenu;
  std::string Exe;
  std::string Parameter;
};

// Writes or reads the tree below the root, the document's mode deciding. Reading replaces the
// entries with "i0", "i1", ... up to the first one missing.
void ZrMenuFileExchange(ZrBarnXml& xml, std::vector<ZrMenuEntry>& entries,
                        std::vector<std::string>& extensions);

std::string ZrMenuFileText(const std::vector<ZrMenuEntry>& entries,
                           const std::vector<std::string>& extensions);
void ZrMenuFileParse(const std::string& text, std::vector<ZrMenuEntry>& entries,
                     std::vector<std::string>& extensions);

// The file, replaced in one step; "Cannot File Open " + path when it cannot be written, path +
// ": Cannot File Open" when it cannot be read.
void ZrMenuFileWrite(const std::string& path, const std::vector<ZrMenuEntry>& entries,
                     const std::vector<std::string>& extensions);
void ZrMenuFileRead(const std::string& path, std::vector<ZrMenuEntry>& entries,
                    std::vector<std::string>& extensions);
