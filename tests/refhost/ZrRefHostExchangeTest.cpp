// The exchange loop against a misbehaving host: split, late, unterminated and lost answers,
// error codes, re-entrant calls, cancelling, and no host at all.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTimer>

#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"

using ZrRefHostExchange = ZrRefHostFixture;

TEST_F(ZrRefHostExchange, RequestTextsArriveByteForByte) {
  host_.ClearRequests();
  client_->WindowGetFocusedID();
  client_->GetIsModeImage(3);
  client_->UpdateAll();
  const std::vector<std::string> expected = {
      "<air><i0><cmd>WindowGetFocusedID</cmd>\n</i0>\n</air>\n",
      "<air><i0><cmd>GetIsModeImage</cmd>\n<IDDocChildWindow>3</IDDocChildWindow>\n</i0>\n"
      "</air>\n",
      "<air><i0><cmd>Update</cmd>\n</i0>\n</air>\n"};
  EXPECT_EQ(host_.Requests(), expected);
  EXPECT_EQ(client_->RequestText(), expected.back());
  EXPECT_EQ(client_->ResponseText(), "<air><i0><ReturnCode>ok</ReturnCode>\n</i0>\n</air>\n");
}

TEST_F(ZrRefHostExchange, AnswerSplitIntoManySmallWritesIsJoined) {
  const int32_t id = host_.AddImageWindow(ZrFloatMatrix(2, 2));
  ZrRefHostFaults faults;
  faults.splitBytes = 3;
  host_.SetFaults(faults);
  EXPECT_EQ(client_->WindowGetFocusedID(), id);
  std::map<std::string, std::string> keys = {{"a", "b"}};
  client_->ImageKeyStringSet(id, keys);
  std::map<std::string, std::string> back;
  client_->ImageKeyStringGet(id, back);
  EXPECT_EQ(back, keys);
}

TEST_F(ZrRefHostExchange, AnswerEndingExactlyInRootTagIsOnlyTakenAfterAllSendAttempts) {
  const int32_t id = host_.AddImageWindow(ZrFloatMatrix(1, 1));
  ZrRefHostFaults faults;
  faults.noTrailingChar = true;
  host_.SetFaults(faults);
  client_->SetPollCount(15);
  client_->SetPollSleepMs(1);
  host_.ClearRequests();
  // Each attempt resends the request; the three answers are joined and the first is read.
  EXPECT_EQ(client_->WindowGetFocusedID(), id);
  EXPECT_EQ(host_.Requests().size(), 3u);
  const std::string one = "<air><i0><ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>" +
                          std::to_string(id) + "</IDDocChildWindow>\n</i0>\n</air>";
  EXPECT_EQ(client_->ResponseText(), one + one + one);
}

TEST_F(ZrRefHostExchange, LostConnectionIsReportedAndStays) {
  ZrRefHostFaults faults;
  faults.closeMidAnswer = true;
  host_.SetFaults(faults);
  testing::internal::CaptureStdout();
  EXPECT_ZR_ERROR(client_->WindowGetFocusedID(), "Socket is not active");
  host_.SetFaults(ZrRefHostFaults());
  EXPECT_ZR_ERROR(client_->UpdateAll(), "Socket is not active");
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("SOCKET IS NOT ACTIVE. \n"), std::string::npos);
  EXPECT_FALSE(client_->IsBusy());
}

TEST_F(ZrRefHostExchange, ReturnCodeOtherThanOkBecomesTheError) {
  ZrRefHostFaults faults;
  faults.returnCode = "Host is <busy> & tired";
  faults.onlyFunction = "WindowGetFocusedID";
  host_.SetFaults(faults);
  EXPECT_ZR_ERROR(client_->WindowGetFocusedID(), "Host is <busy> & tired");
  EXPECT_NO_THROW(client_->GetIsModeImage(1));  // other functions unaffected
  faults.onlyFunction.clear();
  host_.SetFaults(faults);
  bool loaded = false, success = false;
  EXPECT_ZR_ERROR(client_->GetIsLoaded(loaded, success), "Host is <busy> & tired");
}

TEST_F(ZrRefHostExchange, SecondCallOrCancelFromAnEventDuringTheWait) {
  ZrRefHostFaults faults;
  faults.delayMs = 300;
  host_.SetFaults(faults);
  const int32_t id = host_.AddImageWindow(ZrFloatMatrix(1, 1));
  std::string refused = "<no call>";
  QTimer::singleShot(50, [&] { refused = ZrErrorText([&] { client_->ImageNewWindow(); }); });
  host_.ClearRequests();
  EXPECT_EQ(client_->WindowGetFocusedID(), id);
  EXPECT_EQ(refused, "SYSTEM ERROR:Function is doublly called");
  EXPECT_EQ(host_.Requests().size(), 1u);
  EXPECT_EQ(host_.WindowIds().size(), 1u);
  // The cancel flag set during the wait stops the call.
  QTimer::singleShot(30, [&] { client_->SetCancel(true); });
  EXPECT_ZR_ERROR(client_->WindowGetFocusedID(), "CANCELED");
  EXPECT_FALSE(client_->IsBusy());
}

TEST_F(ZrRefHostExchange, PortIsNarrowedToSixteenBitsWhenTheSocketIsMade) {
  ZrPluginFuncVeldra wide("localhost", static_cast<int32_t>(server_->Port()) + 65536);
  wide.SetPollCount(1000);
  wide.SubConnect();
  EXPECT_EQ(wide.Port(), static_cast<int32_t>(server_->Port()) + 65536);
  host_.AddImageWindow(ZrFloatMatrix(1, 1));
  EXPECT_EQ(wide.WindowGetFocusedID(), 1);
}

TEST(ZrRefHostNoHost, NoHostAfterFiveAttempts) {
  QTcpServer probe;
  ASSERT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
  const int32_t freePort = probe.serverPort();
  probe.close();
  ZrPluginFuncVeldra client("localhost", freePort);
  QElapsedTimer timer;
  timer.start();
  EXPECT_ZR_ERROR(client.SubConnect(), "VELDRA-IMAGE main window is not found.");
  EXPECT_LT(timer.elapsed(), 5 * 1000 + 2000);
  // Without a connection every exchange fails at once.
  EXPECT_ZR_ERROR(client.WindowGetFocusedID(), "Socket is not active");
}

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
  ASSERT_EQ(back.Count(), 20);
  EXPECT_EQ(back.Data[19], 9.5f);
  server.Stop();
}

TEST(ZrRefHostHandle, UnknownAndUnreadableRequestsAnswerWithAnError) {
  ZrRefHost host;
  EXPECT_EQ(host.Handle("<air><i0><cmd>NoSuch</cmd>\n</i0>\n</air>\n").text,
            "<air><i0><ReturnCode>Unknown function:NoSuch</ReturnCode>\n</i0>\n</air>\n");
  EXPECT_EQ(host.Handle("<air><i0><cmd>Update</cmd").text,
            "<air><i0><ReturnCode>Illigal Tag Structure</ReturnCode>\n</i0>\n</air>\n");
  EXPECT_EQ(host.Handle("<air><i0><cmd>RegionGet</cmd><IDDocChildWindow>4</IDDocChildWindow>"
                        "</i0></air>")
                .text,
            "<air><i0><ReturnCode>Window is not found:4</ReturnCode>\n</i0>\n</air>\n");
}
