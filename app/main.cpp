// Entry point of the plug-in program: declares its menu entry, writes the registration file,
// connects to the host and runs the panel. Without a host the ZrError of the connection is left
// uncaught on purpose: the program ends before any window is shown.
#include <QApplication>

#include "app/MainWindow.h"
#include "formats/ZrQtDebug.h"

int main(int argc, char* argv[]) {
  QApplication application(argc, argv);
  ZrDebugToQt();  // the fit's diagnostic lines on the debug output, as always
  MainWindow window;
  ZrPluginFuncVeldra& host = window.Host();
  host.InitMenuAdd("RFA: Background: Spherical Harmonics", "", "PEH", "-O");
  host.InitSetCmdline(argc, argv);
  host.InitMenuFileWrite();
  host.SubConnect();
  window.show();
  return application.exec();
}
