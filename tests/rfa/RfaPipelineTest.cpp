// The host-facing operations against the reference host (served from a thread of this
// process): which host functions each operation calls, in which order, and what it leaves
// behind when the host fails half-way. (The outlines themselves are checked through the
// draw buttons of the main window.)
#include "rfa/RfaPipeline.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <functional>
#include <string>
#include <vector>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaRefHostFixture.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix SmallScreen() {
  return RfaMakeSyntheticScreen(RfaScreenOptions(64, 64, 33, 31, 26, 40, 28, 3));
}

RfaParameters SmallParameters() {
  return RfaGeometry(33, 31, 26, 2, 2, 32, 32, 39, 29, 3, 32, 32, 27, 27);
}

class RfaPipelineTest : public ::testing::Test, public RfaRefHostFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(StartHost());
    link_.SetPort(server_->Port());
    link_.SubConnect();
    sourceId_ = host_.AddImageWindow(SmallScreen(), "screen.rawf");
    host_.ClearRequests();
  }

  void TearDown() override { StopHost(); }

  ZrPluginFuncVeldra link_;
  int32_t sourceId_ = -1;
};

using Calls = std::vector<std::string>;

struct OrderCase {
  const char* name;
  std::function<void(RfaParameters&, ZrPluginFuncVeldra&, int32_t source)> run;
  Calls expected;
};

class RfaPipelineOrderTest : public RfaPipelineTest,
                             public ::testing::WithParamInterface<OrderCase> {};

TEST_P(RfaPipelineOrderTest, CallsTheHostInTheDescribedOrder) {
  RfaParameters p = SmallParameters();
  GetParam().run(p, link_, sourceId_);
  EXPECT_EQ(Functions(), GetParam().expected);
}

const Calls kFetch = {"FIImageGetBySharedMemory", "ImageKeyDoubleGet", "ImageKeyStringGet"};
const Calls kSend = {"FIImageSetBySharedMemory", "ImageKeyDoubleSet", "ImageKeyStringSet"};

Calls Join(std::initializer_list<Calls> parts) {
  Calls all;
  for (const Calls& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

INSTANTIATE_TEST_SUITE_P(
    Operations, RfaPipelineOrderTest,
    ::testing::Values(
        OrderCase{"NewImage",
                  [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t s) {
                    RfaNewImageFromWindow(p, h, s);
                  },
                  Join({{"ImageNewWindow"}, kFetch, kSend, {"Update"}})},
        OrderCase{
            "MoveToCenter",
            [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) { RfaMoveToCenterStep(p, h); },
            Join({{"WindowGetFocusedID"},
                  kFetch,
                  {"ImageNewWindow"},
                  kSend,
                  {"RegionAdd", "RegionAdd", "Update"}})},
        OrderCase{"RemoveBg",
                  [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) {
                    RfaRemoveShBackgroundStep(p, h);
                  },
                  Join({{"WindowGetFocusedID"},
                        kFetch,
                        {"ImageNewWindow"},
                        kSend,
                        {"ImageNewWindow"},
                        kSend,
                        {"Update"}})},
        OrderCase{"RemoveAzBg",
                  [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) {
                    RfaRemoveAzBackgroundStep(p, h);
                  },
                  Join({{"WindowGetFocusedID"},
                        kFetch,
                        {"ImageNewWindow"},
                        kSend,
                        {"ImageNewWindow"},
                        kSend,
                        {"Update"}})},
        OrderCase{
            "MaskDip",
            [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) { RfaMaskMcpDipStep(p, h); },
            Join({{"WindowGetFocusedID", "GetIsModeImage"}, kFetch, {"ImageNewWindow"}, kSend})},
        OrderCase{
            "MaskOutside",
            [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) { RfaMaskOutsideStep(p, h); },
            Join({{"WindowGetFocusedID", "GetIsModeImage"}, kFetch, {"ImageNewWindow"}, kSend})},
        OrderCase{"DrawScreen",
                  [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) { RfaDrawScreen(p, h); },
                  {"WindowGetFocusedID", "RegionClear", "RegionAdd", "Update"}},
        OrderCase{"AdjustScreen",
                  [](RfaParameters& p, ZrPluginFuncVeldra& h, int32_t) {
                    p.IsShowTmp = true;
                    RfaAdjustScreenOnHost(p, h);
                  },
                  {"WindowGetFocusedID", "FIImageGetBySharedMemory", "RegionClear", "RegionAdd",
                   "Update", "ImageNewWindow", "FIImageSetBySharedMemory", "RegionAdd", "Update"}}),
    ZrCaseName());

TEST_F(RfaPipelineTest, LogNamesTheProgramTheVersionAndTheCheckedSteps) {
  std::map<std::string, std::string> texts{{"log", "old"}, {"sample", "Si"}};
  RfaParameters p;
  p.IsBgAz = false;
  RfaAddLogEntry(texts, p, "ApplyCheckedOperations");
  ASSERT_EQ(texts.size(), 2u);
  const std::string& log = texts.at("log");
  const std::string program =
      QFileInfo(QCoreApplication::applicationFilePath()).fileName().toStdString();
  EXPECT_EQ(log.rfind("<app><name>" + program + "</name>\n<ver>0.0.5</ver>\n", 0), 0u) << log;
  EXPECT_NE(log.find("<name>ApplyCheckedOperations</name>"), std::string::npos) << log;
  EXPECT_NE(log.find("<key>IsBgAz</key>\n<value>false</value>"), std::string::npos) << log;
  EXPECT_NE(log.find("<key>IsBgSh</key>\n<value>true</value>"), std::string::npos) << log;
}

TEST_F(RfaPipelineTest, HostFailureMidChainKeepsTheNewWindow) {
  ZrRefHostFaults faults;
  faults.returnCode = "Image window is locked";
  faults.onlyFunction = "FIImageSetBySharedMemory";
  host_.SetFaults(faults);
  const size_t windows = host_.WindowIds().size();
  RfaParameters p = SmallParameters();
  EXPECT_ZR_ERROR(RfaNewImageFromWindow(p, link_, sourceId_), "Image window is locked");
  EXPECT_EQ(host_.WindowIds().size(), windows + 1);
  // Nothing after the failed call was sent.
  EXPECT_EQ(Functions().back(), "FIImageSetBySharedMemory");
}

TEST_F(RfaPipelineTest, FocusedWindowMustBeAnImageWindow) {
  host_.SetFocus(9999);
  EXPECT_ZR_ERROR(RfaRequireFocusedImageWindow(link_), "Please select image window");
  host_.SetFocus(sourceId_);
  EXPECT_EQ(RfaRequireFocusedImageWindow(link_), sourceId_);
}

}  // namespace
