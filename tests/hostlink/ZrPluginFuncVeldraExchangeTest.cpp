// The exchange of the host link against a scripted host: request texts, answers that come
// split, late, without their last character or cut off, error codes, re-entrant calls,
// cancelling, and no host at all.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTimer>
#include <memory>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "tests/common/ZrTestPorts.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/hostlink/ZrScriptedHost.h"

namespace {

const std::string kOk = "<air><i0><ReturnCode>ok</ReturnCode>\n</i0>\n</air>\n";

std::string WindowAnswer(int32_t id) {
  return "<air><i0><ReturnCode>ok</ReturnCode>\n<IDDocChildWindow>" + std::to_string(id) +
         "</IDDocChildWindow>\n</i0>\n</air>\n";
}

// Every request gets `answer`.
ZrScriptedHost::Script Always(const ZrScriptedAnswer& answer) {
  return [answer](const std::string&) { return answer; };
}

class ZrExchange : public ::testing::Test {
 protected:
  // Starts the host with `script` and connects a client (to the host's port plus `portOffset`)
  // that waits about 10 s per send attempt instead of the protocol's 100 s.
  void Start(ZrScriptedHost::Script script, int32_t portOffset = 0) {
    host_ = std::make_unique<ZrScriptedHost>(std::move(script));
    ASSERT_NE(host_->Port(), 0);
    client_ = std::make_unique<ZrPluginFuncVeldra>("localhost", host_->Port() + portOffset);
    client_->SetPollCount(1000);
    client_->SubConnect();
  }

  std::unique_ptr<ZrScriptedHost> host_;
  std::unique_ptr<ZrPluginFuncVeldra> client_;
};

}  // namespace

TEST_F(ZrExchange, RequestTextsGoOutByteForByteAndAnErrorCodeIsTheMessage) {
  Start([](const std::string& request) {
    ZrScriptedAnswer answer{kOk};
    if (request.find("<cmd>GetIsLoaded</cmd>") != std::string::npos) {
      answer.Text =
          "<air><i0><ReturnCode>Host is &lt;busy&gt; &amp; tired</ReturnCode>\n"
          "<isLoaded>true</isLoaded>\n</i0>\n</air>\n";
    }
    return answer;
  });
  client_->WindowGetFocusedID();
  client_->GetIsModeImage(3);
  client_->UpdateAll();
  const std::vector<std::string> expected = {
      "<air><i0><cmd>WindowGetFocusedID</cmd>\n</i0>\n</air>\n",
      "<air><i0><cmd>GetIsModeImage</cmd>\n<IDDocChildWindow>3</IDDocChildWindow>\n</i0>\n"
      "</air>\n",
      "<air><i0><cmd>Update</cmd>\n</i0>\n</air>\n"};
  EXPECT_EQ(host_->Requests(), expected);
  EXPECT_EQ(client_->RequestText(), expected.back());
  EXPECT_EQ(client_->ResponseText(), kOk);
  // The host's text passes unchanged, without a call trail.
  bool loaded = false, success = false;
  EXPECT_ZR_ERROR(client_->GetIsLoaded(loaded, success), "Host is <busy> & tired");
  EXPECT_FALSE(loaded);
}

TEST_F(ZrExchange, AnswerSplitIntoManySmallWritesIsJoined) {
  ZrScriptedAnswer answer;
  answer.Text =
      "<air><i0><ReturnCode>ok</ReturnCode>\n<ImageKeyString><i0><key>a</key>\n<val>b</val>\n"
      "</i0>\n</ImageKeyString>\n</i0>\n</air>\n";
  answer.SplitBytes = 3;
  Start(Always(answer));
  std::map<std::string, std::string> keys;
  client_->ImageKeyStringGet(1, keys);
  EXPECT_EQ(keys, (std::map<std::string, std::string>{{"a", "b"}}));
}

TEST_F(ZrExchange, AnswerEndingExactlyInRootTagIsOnlyTakenAfterAllSendAttempts) {
  const std::string one = WindowAnswer(5).substr(0, WindowAnswer(5).size() - 1);
  Start(Always({one}));
  client_->SetPollCount(15);
  client_->SetPollSleepMs(1);
  // Each attempt sends the request again; the three answers are joined and the first is read.
  EXPECT_EQ(client_->WindowGetFocusedID(), 5);
  EXPECT_EQ(host_->Requests().size(), 3u);
  EXPECT_EQ(client_->ResponseText(), one + one + one);
}

TEST_F(ZrExchange, LostConnectionIsReportedAndStays) {
  ZrScriptedAnswer answer{WindowAnswer(1)};
  answer.CloseMidAnswer = true;
  Start(Always(answer));
  testing::internal::CaptureStdout();
  EXPECT_ZR_ERROR(client_->WindowGetFocusedID(), "Socket is not active");
  EXPECT_ZR_ERROR(client_->UpdateAll(), "Socket is not active");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SOCKET IS NOT ACTIVE. \nSOCKET IS NOT ACTIVE. \n");
  EXPECT_FALSE(client_->IsBusy());
}

TEST_F(ZrExchange, SecondCallOrCancelFromAnEventDuringTheWait) {
  ZrScriptedAnswer answer{WindowAnswer(4)};
  answer.DelayMs = 300;
  Start(Always(answer));
  std::string refused = "<no call>";
  QTimer::singleShot(50, [&] { refused = ZrErrorText([&] { client_->ImageNewWindow(); }); });
  EXPECT_EQ(client_->WindowGetFocusedID(), 4);
  EXPECT_EQ(refused, "SYSTEM ERROR:Function is doublly called");
  EXPECT_EQ(host_->Requests().size(), 1u);
  // The cancel flag set during the wait stops the call.
  QTimer::singleShot(30, [&] { client_->SetCancel(true); });
  EXPECT_ZR_ERROR(client_->WindowGetFocusedID(), "CANCELED");
  EXPECT_FALSE(client_->IsBusy());
}

TEST_F(ZrExchange, PortIsNarrowedToSixteenBitsWhenTheSocketIsMade) {
  Start(Always({WindowAnswer(1)}), 65536);
  EXPECT_EQ(client_->Port(), static_cast<int32_t>(host_->Port()) + 65536);
  EXPECT_EQ(client_->WindowGetFocusedID(), 1);
}

TEST(ZrExchangeNoHost, NoHostAfterFiveAttempts) {
  const int32_t freePort = ZrFreeLocalPort();
  ASSERT_NE(freePort, 0);
  ZrPluginFuncVeldra client("localhost", freePort);
  QElapsedTimer timer;
  timer.start();
  EXPECT_ZR_ERROR(client.SubConnect(), "VELDRA-IMAGE main window is not found.");
  EXPECT_LT(timer.elapsed(), 5 * 1000 + 2000);
  // Without a connection every exchange fails at once.
  EXPECT_ZR_ERROR(client.WindowGetFocusedID(), "Socket is not active");
}
