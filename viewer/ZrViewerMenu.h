// The plug-in menu of the viewer: registration files ("*.menu", root "VELDRA-MENU") found in a
// plug-in folder, and the command line that starts a registered program.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/ZrMenuFile.h"

// One menu item: the entry as registered and the file it came from.
struct ZrViewerMenuItem {
  std::string MenuFile;  // absolute path of the registration file
  ZrMenuEntry Entry;
};

// Reads every "*.menu" file directly in folder (sorted by name; entries in file order) with the
// routine that writes them. A file without the root "VELDRA-MENU" near its start fails with
// "Not a menu registration file:" + path. A file that cannot be read is skipped and its ZrError
// text is appended to errors (when given). A missing folder gives no items.
std::vector<ZrViewerMenuItem> ZrViewerMenuScan(const std::string& folder,
                                               std::vector<std::string>* errors = nullptr);

struct ZrViewerLaunch {
  QString Program;
  QStringList Arguments;
};

// The registered program (the registration file's folder + Exe) with the entry's Parameter
// split at blanks (quotes group) and "-P" <port>. An entry without Exe throws
// "Menu entry has no Exe:" + the registration file.
ZrViewerLaunch ZrViewerMenuLaunch(const ZrViewerMenuItem& item, uint16_t port);
