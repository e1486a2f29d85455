#include "viewer/ZrViewerMain.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTimer>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "numerics/ZrError.h"
#include "viewer/ZrViewerMainWindow.h"

bool ZrViewerWanted(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--gui") == 0) return true;
  }
  return false;
}

int ZrViewerMain(int argc, char** argv) {
  // Without a display Qt would abort with a long text about platform plug-ins.
  if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr &&
      std::getenv("QT_QPA_PLATFORM") == nullptr) {
    std::cerr << "veldra-refhost: --gui needs a display (DISPLAY is not set); without one run "
                 "it headless (no --gui)\n";
    return 2;
  }
  QApplication app(argc, argv);
  QApplication::setApplicationName("veldra-refhost");
  QCommandLineParser parser;
  parser.setApplicationDescription("Reference host with windows: an image viewer for plug-ins.");
  parser.addHelpOption();
  const QCommandLineOption gui("gui", "Show the viewer (this mode).");
  const QCommandLineOption port("port", "TCP port on 127.0.0.1 (0: any free port).", "port",
                                "14112");
  const QCommandLineOption localName("local-name", "Local-socket server name (empty: none).",
                                     "name", "veldraimage");
  const QCommandLineOption pluginDir("plugin-dir",
                                     "Folder with the plug-ins' *.menu registration files.",
                                     "folder", QCoreApplication::applicationDirPath());
  const QCommandLineOption log("log", "Append every request text received to this file.", "file");
  const QCommandLineOption allowControl(
      "allow-control",
      "Serve the control requests RefHostDump (inside the working folder) and RefHostQuit.");
  parser.addOptions({gui, port, localName, pluginDir, log, allowControl});
  parser.addPositionalArgument("files", "Image files, folders or *.xmlsrs to open.", "[files...]");
  parser.process(app);

  bool portOk = false;
  const int portValue = parser.value(port).toInt(&portOk);
  if (!portOk || portValue < 0 || portValue > 65535) {
    std::cerr << "veldra-refhost: bad port " << parser.value(port).toStdString() << "\n";
    return 2;
  }
  ZrRefHost host;
  if (parser.isSet(log)) host.SetRequestLog(parser.value(log).toStdString());
  host.SetControlRequests(parser.isSet(allowControl));
  ZrRefHostServer server(host);
  if (!server.Listen(static_cast<uint16_t>(portValue), parser.value(localName).toStdString())) {
    std::cerr << "veldra-refhost: " << server.ErrorText() << "\n";
    return 2;
  }
  QObject::connect(&server, &ZrRefHostServer::QuitRequested, &app, &QCoreApplication::quit);
  try {
    for (const QString& file : parser.positionalArguments()) {
      const QFileInfo info(file);
      if (info.isDir() || info.suffix().compare("xmlsrs", Qt::CaseInsensitive) == 0) {
        host.LoadSeriesWindow(file.toStdString());
      } else {
        host.LoadImageWindow(file.toStdString());
      }
    }
  } catch (const ZrError& e) {
    std::cerr << "veldra-refhost: " << e.Message << "\n";
    return 2;
  }

  ZrViewerMainWindow window(host, server.Port(), &server);
  window.LoadPlugins(parser.value(pluginDir).toStdString());
  window.resize(1280, 820);
  window.show();
  if (!parser.positionalArguments().isEmpty())
    QTimer::singleShot(0, &window, [&] { window.Tile(); });
  std::cout << "veldra-refhost listening on 127.0.0.1:" << server.Port() << std::endl;
  return QApplication::exec();
}
