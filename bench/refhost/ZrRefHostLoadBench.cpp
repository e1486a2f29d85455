// Load on the reference host: N plug-in processes (default 8) each make a fixed count of small
// calls (default 5000) on loopback TCP at once, against the veldra-refhost program. Each
// client asks for the keys of a window of its own, so an answer meant for another client is
// seen as a wrong answer. Reports requests per second over the whole run, the worst and mean
// latency of one call, and the wrong answers; ends with 1 when any answer was wrong or a
// client failed. The machine's load average is printed before and after.
//
//   zr_bench_refhost_load [--clients N] [--calls N]
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "tests/common/ZrRefHostProcess.h"

namespace {

std::string LoadAverage() {
  QFile file("/proc/loadavg");
  if (!file.open(QIODevice::ReadOnly)) return "unknown";
  return file.readAll().trimmed().toStdString();
}

// One client: its own window with one key, then `calls` reads of that key, timed.
int Client(int32_t port, int64_t calls) {
  ZrPluginFuncVeldra client("localhost", port);
  client.SubConnect();
  const int32_t window = client.ImageNewWindow();
  const std::map<std::string, double> own = {{"client", static_cast<double>(window)}};
  client.ImageKeyDoubleSet(window, own);
  std::cout << "ready" << std::endl;
  std::string go;
  std::getline(std::cin, go);
  int64_t wrong = 0, worstNs = 0, totalNs = 0;
  for (int64_t n = 0; n < calls; ++n) {
    std::map<std::string, double> keys;
    QElapsedTimer timer;
    timer.start();
    try {
      client.ImageKeyDoubleGet(window, keys);
    } catch (const ZrError&) {
      keys.clear();
    }
    const int64_t ns = timer.nsecsElapsed();
    worstNs = std::max(worstNs, ns);
    totalNs += ns;
    if (keys != own) ++wrong;
  }
  std::cout << "done " << calls << " " << wrong << " " << worstNs << " " << totalNs << std::endl;
  return 0;
}

// Reads lines until one starts with `word`; the rest of that line, or "" on time-out.
bool ReadUntil(QProcess& child, const std::string& word, std::string& rest, int waitMs) {
  while (true) {
    while (child.canReadLine()) {
      const std::string line = child.readLine().trimmed().toStdString();
      if (line.rfind(word, 0) == 0) {
        rest = line.substr(word.size());
        return true;
      }
    }
    if (!child.waitForReadyRead(waitMs)) return false;
  }
}

int Run(int clients, int64_t calls, const char* self) {
  std::cout << "load average before: " << LoadAverage() << "\n";
  QProcess host;
  std::string line;
  const int32_t port =
      ZrStartRefHost(host, ZR_REFHOST_EXE, {"--port", "0", "--local-name", ""}, 10000, line);
  if (port <= 0) {
    std::cerr << "veldra-refhost did not start: " << line << "\n";
    return 1;
  }
  std::vector<std::unique_ptr<QProcess>> children;
  for (int i = 0; i < clients; ++i) {
    children.push_back(std::make_unique<QProcess>());
    children.back()->start(self, {"--client", QString::number(port), QString::number(calls)});
  }
  std::string rest;
  for (auto& child : children) {
    if (!ReadUntil(*child, "ready", rest, 10000)) {
      std::cerr << "a client did not start: " << child->readAllStandardError().toStdString();
      return 1;
    }
  }
  QElapsedTimer wall;
  wall.start();
  for (auto& child : children) {
    child->write("go\n");
    child->waitForBytesWritten(5000);
  }
  int64_t done = 0, wrong = 0, worstNs = 0, totalNs = 0;
  int failed = 0;
  for (auto& child : children) {
    if (!ReadUntil(*child, "done ", rest, 600000)) {
      ++failed;
      continue;
    }
    std::istringstream in(rest);
    int64_t c = 0, w = 0, worst = 0, total = 0;
    in >> c >> w >> worst >> total;
    done += c;
    wrong += w;
    worstNs = std::max(worstNs, worst);
    totalNs += total;
  }
  const double seconds = static_cast<double>(wall.nsecsElapsed()) * 1e-9;
  for (auto& child : children) child->waitForFinished(10000);
  host.terminate();
  host.waitForFinished(10000);
  std::printf("clients %d, calls per client %lld, calls done %lld in %.3f s\n", clients,
              static_cast<long long>(calls), static_cast<long long>(done), seconds);
  std::printf("requests per second %.0f\n", static_cast<double>(done) / seconds);
  std::printf("latency per call: worst %.3f ms, mean %.3f ms\n",
              static_cast<double>(worstNs) * 1e-6,
              done > 0 ? static_cast<double>(totalNs) * 1e-6 / static_cast<double>(done) : 0.0);
  std::printf("wrong answers %lld, clients failed %d\n", static_cast<long long>(wrong), failed);
  std::cout << "load average after: " << LoadAverage() << std::endl;
  return wrong == 0 && failed == 0 && done == clients * calls ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  const QStringList args = QCoreApplication::arguments();
  if (args.size() == 4 && args[1] == "--client") {
    try {
      return Client(args[2].toInt(), args[3].toLongLong());
    } catch (const ZrError& e) {
      std::cerr << e.Message << "\n";
      return 1;
    }
  }
  int clients = 8;
  int64_t calls = 5000;
  for (int i = 1; i + 1 < args.size(); i += 2) {
    if (args[i] == "--clients") clients = std::max(1, args[i + 1].toInt());
    if (args[i] == "--calls") calls = std::max<qlonglong>(1, args[i + 1].toLongLong());
  }
  return Run(clients, calls, argv[0]);
}
