// veldra-refhost: the reference host as a headless program. See docs/refhost.md.
#include <sys/socket.h>
#include <unistd.h>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <iostream>

#include "refhost/ZrRefHost.h"
#ifdef ZR_WITH_VIEWER
#include "viewer/ZrViewerMain.h"
#endif

namespace {

int signalPipe[2] = {-1, -1};

void OnSignal(int) {
  const char c = 1;
  ssize_t unused = write(signalPipe[1], &c, 1);
  (void)unused;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef ZR_WITH_VIEWER
  // --gui: the same host with windows (viewer/).
  if (ZrViewerWanted(argc, argv)) return ZrViewerMain(argc, argv);
#endif
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName("veldra-refhost");
  QCommandLineParser parser;
  parser.setApplicationDescription("Reference host: serves the host side of the plug-in protocol.");
  parser.addHelpOption();
  const QCommandLineOption port("port", "TCP port on 127.0.0.1 (0: any free port).", "port",
                                "14112");
  const QCommandLineOption localName("local-name", "Local-socket server name (empty: none).",
                                     "name", "veldraimage");
  const QCommandLineOption image("image", "Preload an image window from a file (repeatable).",
                                 "file");
  const QCommandLineOption series(
      "series", "Preload a series window from a folder or *.xmlsrs (repeatable).", "path");
  const QCommandLineOption focus("focus", "Focus this window id after preloading.", "id");
  const QCommandLineOption log("log", "Append every request text received to this file.", "file");
  const QCommandLineOption dumpAtExit("dump-at-exit", "Dump every window to this folder at exit.",
                                      "folder");
  const QCommandLineOption outputDir(
      "output-dir", "Folder for relative names of SeriesImageSave/SeriesSaveRenew.", "folder", ".");
  const QCommandLineOption allowControl(
      "allow-control",
      "Serve the control requests RefHostDump (inside --output-dir) and RefHostQuit.");
  parser.addOption(allowControl);
  const QCommandLineOption split("split", "Fault: send answers in writes of this many bytes.",
                                 "bytes");
  const QCommandLineOption delay("delay", "Fault: wait this many ms before answering.", "ms");
  const QCommandLineOption noTrailing("no-trailing-char", "Fault: answers end exactly in </air>.");
  const QCommandLineOption returnCode("return-code", "Fault: send this ReturnCode instead of ok.",
                                      "text");
  const QCommandLineOption closeMid("close-mid-answer",
                                    "Fault: send half an answer, then close the connection.");
  const QCommandLineOption shortBlock("short-block",
                                      "Fault: image blocks smaller than their header claims.");
  const QCommandLineOption onlyFunction("fault-function",
                                        "Apply the faults only to this host function.", "name");
  parser.addOptions({port, localName, image, series, focus, log, dumpAtExit, outputDir, split,
                     delay, noTrailing, returnCode, closeMid, shortBlock, onlyFunction});
#ifdef ZR_WITH_VIEWER
  // Taken by the viewer before this parser runs; listed here so that --help shows them.
  parser.addOption({"gui",
                    "Show the viewer: image windows, regions and plug-in menus (needs a "
                    "display; takes --port, --local-name, --log and image files too)."});
  parser.addOption({"plugin-dir",
                    "With --gui: folder of the plug-ins' *.menu files (default: this program's).",
                    "folder"});
#endif
  parser.process(app);

  ZrRefHost host;
  // Nothing in this program reads the in-memory request record; --log keeps one on disk.
  host.SetRecordRequests(false);
  try {
    for (const QString& file : parser.values(image)) host.LoadImageWindow(file.toStdString());
    for (const QString& path : parser.values(series)) host.LoadSeriesWindow(path.toStdString());
  } catch (const ZrError& e) {
    std::cerr << "veldra-refhost: " << e.Message << "\n";
    return 2;
  }
  if (parser.isSet(focus)) host.SetFocus(parser.value(focus).toInt());
  if (parser.isSet(log)) host.SetRequestLog(parser.value(log).toStdString());
  host.SetOutputDir(parser.value(outputDir).toStdString());
  host.SetControlRequests(parser.isSet(allowControl));
  ZrRefHostFaults faults;
  faults.SplitBytes = parser.value(split).toInt();
  faults.DelayMs = parser.value(delay).toInt();
  faults.NoTrailingChar = parser.isSet(noTrailing);
  faults.ReturnCode = parser.value(returnCode).toStdString();
  faults.CloseMidAnswer = parser.isSet(closeMid);
  faults.ShortBlock = parser.isSet(shortBlock);
  faults.OnlyFunction = parser.value(onlyFunction).toStdString();
  host.SetFaults(faults);

  ZrRefHostServer server(host);
  bool portOk = false;
  const int portValue = parser.value(port).toInt(&portOk);
  if (!portOk || portValue < 0 || portValue > 65535) {
    std::cerr << "veldra-refhost: bad port " << parser.value(port).toStdString() << "\n";
    return 2;
  }
  if (!server.Listen(static_cast<uint16_t>(portValue), parser.value(localName).toStdString())) {
    std::cerr << "veldra-refhost: " << server.ErrorText() << "\n";
    return 2;
  }
  QObject::connect(&server, &ZrRefHostServer::QuitRequested, &app, &QCoreApplication::quit);

  // SIGINT and SIGTERM end the event loop normally, so the exit dump still happens.
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) == 0) {
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
  }
  std::cout << "veldra-refhost listening on 127.0.0.1:" << server.Port() << std::endl;
  const int status = QCoreApplication::exec();
  if (parser.isSet(dumpAtExit)) {
    try {
      host.Dump(parser.value(dumpAtExit).toStdString());
    } catch (const ZrError& e) {
      std::cerr << "veldra-refhost: " << e.Message << "\n";
      return 3;
    }
  }
  return status;
}
