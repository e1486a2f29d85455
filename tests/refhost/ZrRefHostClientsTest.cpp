// veldra-refhost under several plug-in processes at once, over loopback TCP and shared memory:
// image fetches stay each client's own, and a client that stops reading or sends a request
// without end is disconnected without holding up the others.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpSocket>
#include <QThread>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <vector>

#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrHostFunctions.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "tests/common/ZrRefHostProcess.h"

namespace {

// The program with its standard error kept, and a client of the test's own.
struct HostProgram {
  QProcess Program;
  int32_t Port = -1;
  std::string ErrorText;

  HostProgram() {
    // In a sanitizer build the host's allocator would hold freed memory in quarantine; it is
    // told to hand it back at once, as the plain allocator does.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString asan = environment.value("ASAN_OPTIONS");
    environment.insert("ASAN_OPTIONS",
                       asan + (asan.isEmpty() ? "" : ":") +
                           "quarantine_size_mb=0:allocator_release_to_os_interval_ms=10");
    Program.setProcessEnvironment(environment);
    std::string line;
    Port =
        ZrStartRefHost(Program, ZR_REFHOST_EXE, {"--port", "0", "--local-name", ""}, 10000, line);
    EXPECT_GT(Port, 0) << line;
  }
  // Ended by SIGTERM, so that the host releases its shared-memory blocks.
  ~HostProgram() {
    Program.terminate();
    if (!Program.waitForFinished(5000)) Program.kill();
    Program.waitForFinished(5000);
  }
  std::unique_ptr<ZrPluginFuncVeldra> Client() {
    auto client = std::make_unique<ZrPluginFuncVeldra>("localhost", Port);
    client->SetPollCount(1000);
    client->SubConnect();
    return client;
  }
  const std::string& Errors() {
    QCoreApplication::processEvents();
    ErrorText += Program.readAllStandardError().toStdString();
    return ErrorText;
  }
  // Resident memory from the kernel's record of the process, in bytes.
  int64_t Resident() const {
    QFile status(QString("/proc/%1/status").arg(Program.processId()));
    if (!status.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
      if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ')[0].toLongLong() * 1024;
    }
    return -1;
  }
};

int64_t EnvCount(const char* name, int64_t fallback) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::atoll(value) : fallback;
}

}  // namespace

// One request per connection is handled per turn of the loop: a client that sends many
// requests at once is served between the others, not ahead of them. Host and clients share
// this thread, so both clients' bytes wait at the host before it runs its next turn; the
// single request comes within the first few turns, where serving a queue in one go would put
// it after all fifty.
TEST(ZrRefHostClients, PipelinedRequestsAreServedBetweenTheOthers) {
  ZrRefHost host;
  ZrRefHostServer server(host);
  ASSERT_TRUE(server.Listen(0, "")) << server.ErrorText();
  int clients = 0;
  QObject::connect(&server, &ZrRefHostServer::ClientsChanged, [&] { ++clients; });
  auto requestOf = [](ZrHostFunction function) {
    ZrCmdPackUnpack request("w");
    request.OpenCmd();
    request.SetFunc(function);
    request.CloseCmd();
    std::string text;
    request.GetText(text);
    return text;
  };
  const std::string one = requestOf(ZrHostFunction::WindowListIDGet);
  std::string many;
  constexpr int kPipelined = 50;
  for (int n = 0; n < kPipelined; ++n) many += requestOf(ZrHostFunction::WindowGetFocusedID);

  QTcpSocket flooding, single;
  for (QTcpSocket* socket : {&flooding, &single}) {
    socket->connectToHost(QHostAddress::LocalHost, server.Port());
    ASSERT_TRUE(socket->waitForConnected(5000));
  }
  QElapsedTimer clock;
  clock.start();
  while (clients < 2 && clock.elapsed() < 5000) QCoreApplication::processEvents();
  ASSERT_EQ(clients, 2);
  flooding.write(many.data(), static_cast<qint64>(many.size()));
  single.write(one.data(), static_cast<qint64>(one.size()));
  ASSERT_TRUE(flooding.waitForBytesWritten(5000) && single.waitForBytesWritten(5000));

  std::string answersFlooding, answersSingle;
  auto count = [](const std::string& text) {
    int64_t n = 0;
    for (size_t at = text.find("</air>"); at != std::string::npos;
         at = text.find("</air>", at + 1)) {
      ++n;
    }
    return n;
  };
  while ((count(answersFlooding) < kPipelined || count(answersSingle) < 1) &&
         clock.elapsed() < 10000) {
    QCoreApplication::processEvents();
    answersFlooding += flooding.readAll().toStdString();
    answersSingle += single.readAll().toStdString();
  }
  ASSERT_EQ(count(answersFlooding), kPipelined);
  ASSERT_EQ(count(answersSingle), 1);
  const std::vector<std::string> handled = host.Requests();
  ASSERT_EQ(handled.size(), kPipelined + 1u);
  const auto at = std::find(handled.begin(), handled.end(), one) - handled.begin();
  EXPECT_LT(at, 10) << "the single request waited for " << at << " pipelined ones";
}

// The host once rewrote one block under one key for every fetch of the same size, so a client
// could read the window another client fetched after it.
TEST(ZrRefHostClients, ConcurrentFetchesOfSameSizeReturnOnlyTheirOwnPixels) {
  HostProgram host;
  ASSERT_GT(host.Port, 0);
  const int clients = 3;
  const int64_t perClient = EnvCount("ZR_REFHOST_FETCHES", 1000);
  std::vector<std::unique_ptr<QProcess>> children;
  for (int i = 0; i < clients; ++i) {
    children.push_back(std::make_unique<QProcess>());
    children.back()->start(ZR_REFHOST_TEST_CLIENT,
                           {"fetch", QString::number(host.Port), QString::number(perClient)});
  }
  for (auto& child : children) {
    for (QByteArray line; line != "ready\n"; line = child->readLine()) {
      if (!child->canReadLine()) {
        ASSERT_TRUE(child->waitForReadyRead(10000)) << child->readAllStandardError().toStdString();
      }
    }
  }
  for (auto& child : children) {
    child->write("go\n");
    ASSERT_TRUE(child->waitForBytesWritten(5000));
  }
  int64_t fetches = 0, mismatches = 0, errors = 0;
  for (auto& child : children) {
    ASSERT_TRUE(child->waitForFinished(120000));
    const std::string out = child->readAllStandardOutput().toStdString();
    std::istringstream in(out);
    std::string word;
    int64_t f = 0, m = 0, e = 0;
    in >> word >> f >> word >> m >> word >> e;
    EXPECT_EQ(f, perClient) << out << child->readAllStandardError().toStdString();
    fetches += f;
    mismatches += m;
    errors += e;
  }
  EXPECT_EQ(std::make_tuple(fetches, mismatches, errors),
            std::make_tuple(clients * perClient, 0, 0));
}

// A client that pipelines large answers and never reads once stalled everyone for seconds per
// answer while the host waited for its socket to drain.
TEST(ZrRefHostClients, ClientThatStopsReadingDelaysNoOneAndIsDisconnected) {
  HostProgram host;
  ASSERT_GT(host.Port, 0);
  auto client = host.Client();
  const int32_t window = client->ImageNewWindow();
  ZrFloatMatrix image(512, 512);
  image.Fill(0.25f);
  client->ImageSet(window, image);

  QProcess flood;
  flood.start(ZR_REFHOST_TEST_CLIENT,
              {"flood", QString::number(host.Port), QString::number(window), "40"});
  ASSERT_TRUE(flood.waitForReadyRead(10000)) << flood.readAllStandardError().toStdString();
  int64_t worstMs = 0, calls = 0;
  QElapsedTimer total;
  total.start();
  while (host.Errors().find("disconnected") == std::string::npos && total.elapsed() < 10000) {
    QElapsedTimer call;
    call.start();
    EXPECT_EQ(client->WindowGetFocusedID(), window);
    worstMs = std::max<int64_t>(worstMs, call.elapsed());
    ++calls;
  }
  flood.kill();
  flood.waitForFinished(5000);
  EXPECT_LT(worstMs, 100) << calls << " calls";
  EXPECT_NE(host.Errors().find("bytes of answers unread"), std::string::npos) << host.Errors();
}

TEST(ZrRefHostClients, RequestWithoutEndIsRefusedAndMemoryReturns) {
  HostProgram host;
  ASSERT_GT(host.Port, 0);
  auto client = host.Client();
  EXPECT_EQ(client->WindowGetFocusedID(), -1);
  const int64_t before = host.Resident();
  ASSERT_GT(before, 0);

  QTcpSocket socket;
  socket.connectToHost("127.0.0.1", static_cast<quint16>(host.Port));
  ASSERT_TRUE(socket.waitForConnected(5000));
  const QByteArray chunk(1 << 20, 'x');
  int64_t sent = 0;
  socket.write("<air><i0><cmd>");
  while (sent < (int64_t{100} << 20) && socket.state() == QAbstractSocket::ConnectedState) {
    socket.write(chunk);
    socket.waitForBytesWritten(5000);
    sent += chunk.size();
  }
  if (socket.state() == QAbstractSocket::ConnectedState) socket.waitForDisconnected(5000);
  EXPECT_NE(socket.state(), QAbstractSocket::ConnectedState);
  EXPECT_LT(sent, int64_t{100} << 20);

  QElapsedTimer waited;
  waited.start();
  while (host.Resident() > before + (int64_t{8} << 20) && waited.elapsed() < 5000) {
    QThread::msleep(20);
  }
  EXPECT_LE(host.Resident(), before + (int64_t{8} << 20)) << "before " << before;
  EXPECT_EQ(client->WindowGetFocusedID(), -1);  // the others are still served
  EXPECT_NE(host.Errors().find("its request passed 33554432 bytes without its end"),
            std::string::npos)
      << host.Errors();
}
