// The server: answers as the injected faults shape them on the wire, and the local-socket
// variant.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpSocket>
#include <functional>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"

namespace {

const std::string kFocusAnswer =
    "<air><i0><ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>-1</IDDocChildWindow>\n</i0>\n"
    "</air>\n";

struct FaultCase {
  const char* Name;
  std::function<void(ZrRefHostFaults&)> Set;
  std::string Bytes;  // what reaches the client for a "WindowGetFocusedID"
  bool Closed;        // the host closes the connection after them
  int64_t MinMs;      // the answer takes at least this long
};

class ZrRefHostFaultsTest : public ::testing::TestWithParam<FaultCase> {};

}  // namespace

TEST_P(ZrRefHostFaultsTest, ShapeTheAnswerOnTheWire) {
  const FaultCase& c = GetParam();
  ZrRefHost host;
  ZrRefHostFaults faults;
  c.Set(faults);
  host.SetFaults(faults);
  ZrRefHostThread server(host);
  ASSERT_TRUE(server.Start(0));
  QTcpSocket socket;
  socket.connectToHost(QHostAddress::LocalHost, server.Port());
  ASSERT_TRUE(socket.waitForConnected(2000));
  QElapsedTimer timer;
  timer.start();
  socket.write("<air><i0><cmd>WindowGetFocusedID</cmd>\n</i0>\n</air>\n");
  std::string bytes;
  while (bytes.size() < c.Bytes.size() && socket.waitForReadyRead(2000)) {
    bytes += socket.readAll().toStdString();
  }
  EXPECT_GE(timer.elapsed(), c.MinMs);
  if (c.Closed) socket.waitForDisconnected(2000);
  bytes += socket.readAll().toStdString();
  EXPECT_EQ(bytes, c.Bytes);
  EXPECT_EQ(socket.state() != QAbstractSocket::ConnectedState, c.Closed);
  server.Stop();
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ZrRefHostFaultsTest,
    ::testing::Values(FaultCase{"None", [](ZrRefHostFaults&) {}, kFocusAnswer, false, 0},
                      FaultCase{"NoTrailingChar",
                                [](ZrRefHostFaults& f) { f.NoTrailingChar = true; },
                                kFocusAnswer.substr(0, kFocusAnswer.size() - 1), false, 0},
                      FaultCase{"ReturnCodeOfThatFunction",
                                [](ZrRefHostFaults& f) {
                                  f.ReturnCode = "busy";
                                  f.OnlyFunction = "WindowGetFocusedID";
                                },
                                "<air><i0><ReturnCode>busy</ReturnCode>\n<IDDocChildWindow>-1"
                                "</IDDocChildWindow>\n</i0>\n</air>\n",
                                false, 0},
                      FaultCase{"ReturnCodeOfAnotherFunction",
                                [](ZrRefHostFaults& f) {
                                  f.ReturnCode = "busy";
                                  f.OnlyFunction = "Update";
                                },
                                kFocusAnswer, false, 0},
                      FaultCase{"CloseMidAnswer",
                                [](ZrRefHostFaults& f) { f.CloseMidAnswer = true; },
                                kFocusAnswer.substr(0, kFocusAnswer.size() / 2), true, 0},
                      FaultCase{"SplitAndDelayed",
                                [](ZrRefHostFaults& f) {
                                  f.SplitBytes = 5;
                                  f.DelayMs = 200;
                                },
                                kFocusAnswer, false, 200}),
    ZrCaseName());

TEST(ZrRefHostLocalSocket, LocalServerVariantServesTheSameProtocol) {
  ZrRefHost host;
  const std::string name = "zr_refhost_test_" + std::to_string(QCoreApplication::applicationPid());
  ZrRefHostThread server(host, name);
  ASSERT_TRUE(server.Start(0));
  ZrPluginFuncVeldra client("localhost", 1, name);
  client.SetUseLocalSocket(true);
  client.SetPollCount(1000);
  client.SubConnect();
  ASSERT_NE(dynamic_cast<ZrCommonClientLocalSocket*>(client.Socket()), nullptr);
  const int32_t id = client.ImageNewWindow();
  ZrFloatMatrix image(5, 4), back;
  image.Fill(9.5f);
  client.ImageSet(id, image);
  client.ImageGet(id, back, false);
  EXPECT_TRUE(ZrSameBits(back, image));
  server.Stop();
}
