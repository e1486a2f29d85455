// The host-facing operations against the reference host (served from a thread of this
// process): which host functions each operation calls, in which order, and what it leaves
// behind when the host fails half-way. (The outlines themselves are checked through the
// draw buttons of the main window.)
#include "rfahost/RfaPipeline.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "rfa/RfaParameters.h"
#include "tests/common/RfaRefHostFixture.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/hostlink/ZrScriptedHost.h"

namespace {

class RfaPipelineTest : public ::testing::Test, public RfaRefHostFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(StartHost());
    link_.SetPort(server_->Port());
    link_.SubConnect();
    const auto options = RfaScreenOptions(64, 64, 33, 31, 26, 40, 28, 3);
    sourceId_ = host_.AddImageWindow(RfaMakeSyntheticScreen(options), "screen.rawf");
    host_.ClearRequests();
  }

  void TearDown() override { StopHost(); }

  ZrPluginFuncVeldra link_;
  int32_t sourceId_ = -1;
  // The parameters that suit the source screen.
  RfaParameters p_ = RfaGeometry(33, 31, 26, 2, 2, 32, 32, 39, 29, 3, 32, 32, 27, 27);
};

// Every operation as the table calls it: the parameters, the link and the source window.
using Operation = void (*)(RfaParameters&, ZrPluginFuncVeldra&, int32_t);
template <auto Step>
void OnFocused(RfaParameters& p, ZrPluginFuncVeldra& host, int32_t) {
  Step(p, host);
}
void NewImage(RfaParameters& p, ZrPluginFuncVeldra& host, int32_t source) {
  RfaNewImageFromWindow(p, host, source);
}
void AdjustAndShow(RfaParameters& p, ZrPluginFuncVeldra& host, int32_t) {
  p.IsShowTmp = true;
  RfaAdjustScreenOnHost(p, host);
}

struct OrderCase {
  const char* Name;
  Operation Run;
  const char* Calls;  // the host functions in order; "F" fetches an image record, "S" sends one
};

class RfaPipelineOrderTest : public RfaPipelineTest,
                             public ::testing::WithParamInterface<OrderCase> {};

TEST_P(RfaPipelineOrderTest, CallsTheHostInTheDescribedOrder) {
  std::vector<std::string> expected;
  std::istringstream calls(GetParam().Calls);
  for (std::string call; calls >> call;) {
    if (call == "F") {
      expected.insert(expected.end(),
                      {"FIImageGetBySharedMemory", "ImageKeyDoubleGet", "ImageKeyStringGet"});
    } else if (call == "S") {
      expected.insert(expected.end(),
                      {"FIImageSetBySharedMemory", "ImageKeyDoubleSet", "ImageKeyStringSet"});
    } else {
      expected.push_back(call);
    }
  }
  GetParam().Run(p_, link_, sourceId_);
  EXPECT_EQ(Functions(), expected);
}

const OrderCase kOrderCases[] = {
    {"NewImage", NewImage, "ImageNewWindow F S Update"},
    {"MoveToCenter", OnFocused<RfaMoveToCenterStep>,
     "WindowGetFocusedID F ImageNewWindow S RegionAdd RegionAdd Update"},
    {"RemoveBg", OnFocused<RfaRemoveShBackgroundStep>,
     "WindowGetFocusedID F ImageNewWindow S ImageNewWindow S Update"},
    {"RemoveAzBg", OnFocused<RfaRemoveAzBackgroundStep>,
     "WindowGetFocusedID F ImageNewWindow S ImageNewWindow S Update"},
    {"MaskDip", OnFocused<RfaMaskMcpDipStep>,
     "WindowGetFocusedID GetIsModeImage F ImageNewWindow S"},
    {"MaskOutside", OnFocused<RfaMaskOutsideStep>,
     "WindowGetFocusedID GetIsModeImage F ImageNewWindow S"},
    {"DrawScreen", OnFocused<RfaDrawScreen>, "WindowGetFocusedID RegionClear RegionAdd Update"},
    {"AdjustScreen", AdjustAndShow,
     "WindowGetFocusedID FIImageGetBySharedMemory RegionClear RegionAdd Update ImageNewWindow "
     "FIImageSetBySharedMemory RegionAdd Update"},
};

INSTANTIATE_TEST_SUITE_P(Operations, RfaPipelineOrderTest, ::testing::ValuesIn(kOrderCases),
                         ZrCaseName());

TEST(RfaPipeline, LogNamesTheProgramTheVersionAndTheCheckedSteps) {
  std::map<std::string, std::string> texts{{"log", "old"}, {"sample", "Si"}};
  RfaParameters p;
  p.IsBgAz = false;
  RfaAddLogEntry(texts, p, "ApplyCheckedOperations");
  ASSERT_EQ(texts.size(), 2u);
  const std::string& log = texts.at("log");
  const std::string program =
      QFileInfo(QCoreApplication::applicationFilePath()).fileName().toStdString();
  EXPECT_EQ(log.rfind("<app><name>" + program + "</name>\n<ver>" + kZrVersion + "</ver>\n", 0), 0u)
      << log;
  EXPECT_NE(log.find("<name>ApplyCheckedOperations</name>"), std::string::npos) << log;
  EXPECT_NE(log.find("<key>IsBgAz</key>\n<value>false</value>"), std::string::npos) << log;
  EXPECT_NE(log.find("<key>IsBgSh</key>\n<value>true</value>"), std::string::npos) << log;
}

TEST_F(RfaPipelineTest, HostFailureMidChainKeepsTheNewWindow) {
  ZrRefHostFaults faults;
  faults.ReturnCode = "Image window is locked";
  faults.OnlyFunction = "FIImageSetBySharedMemory";
  host_.SetFaults(faults);
  const size_t windows = host_.WindowIds().size();
  EXPECT_ZR_ERROR(RfaNewImageFromWindow(p_, link_, sourceId_), "Image window is locked");
  EXPECT_EQ(host_.WindowIds().size(), windows + 1);
  // Nothing after the failed call was sent.
  EXPECT_EQ(Functions().back(), "FIImageSetBySharedMemory");
}

// A host whose region answer lacks the record (flat or nested) must not turn into a dip at
// (0, 0, 0): "Update Mask" refuses and the parameters stay as they were.
TEST_F(RfaPipelineTest, UpdateMaskWithoutARegionRecordKeepsTheParameters) {
  link_.RegionAdd(sourceId_, ZrRegion());
  ZrScriptedHost scripted([this](const std::string& request) {
    if (request.find("<cmd>RegionGet</cmd>") != std::string::npos) {
      return ZrScriptedAnswer{"<air><i0><ReturnCode>ok</ReturnCode>\n</i0>\n</air>\n"};
    }
    return ZrScriptedAnswer{host_.Handle(request).Text};
  });
  ZrPluginFuncVeldra link("localhost", scripted.Port());
  link.SubConnect();
  const RfaParameters before = p_;
  EXPECT_ZR_ERROR(RfaUpdateMaskFromRegion(p_, link),
                  "The host's answer holds no region record (cx, cy, w, h)");
  EXPECT_EQ(RfaParameterFileText(p_), RfaParameterFileText(before));
}

}  // namespace
