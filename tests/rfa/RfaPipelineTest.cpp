// The host-facing operations against the reference host (served from a thread of this
// process): which host functions each operation calls, in which order, and what it leaves
// behind when the host fails half-way.
#include "rfa/RfaPipeline.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "rfa/RfaParameters.h"
#include "samples/RfaSyntheticScreen.h"
#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix SmallScreen() {
  RfaSyntheticScreenOptions o;
  o.width = o.height = 64;
  o.cx = 33;
  o.cy = 31;
  o.radius = 26;
  o.dipCx = 40;
  o.dipCy = 28;
  o.dipRadius = 3;
  return RfaMakeSyntheticScreen(o);
}

RfaParameters SmallParameters() {
  RfaParameters p;
  p.Sx = 33;
  p.Sy = 31;
  p.Sr = 26;
  p.SMargin = 2;
  p.Size_l = 2;
  p.Ax = p.Ay = 32;
  p.McpDipCx = 39;
  p.McpDipCy = 29;
  p.McpDipR = 3;
  p.MaskCx = p.MaskCy = 32;
  p.MaskRx = p.MaskRy = 27;
  return p;
}

class RfaPipelineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server_ = std::make_unique<ZrRefHostThread>(host_);
    ASSERT_TRUE(server_->Start(0));
    link_.SetPort(server_->Port());
    link_.SubConnect();
    sourceId_ = host_.AddImageWindow(SmallScreen(), "screen.rawf");
    host_.ClearRequests();
  }

  void TearDown() override { server_->Stop(); }

  // The host functions requested since the last ClearRequests, in order.
  std::vector<std::string> Functions() const {
    std::vector<std::string> names;
    for (const std::string& request : host_.Requests()) {
      const size_t begin = request.find("<cmd>");
      const size_t end = request.find("</cmd>");
      if (begin != std::string::npos && end != std::string::npos && end > begin) {
        names.push_back(request.substr(begin + 5, end - begin - 5));
      }
    }
    return names;
  }

  ZrRefHost host_;
  std::unique_ptr<ZrRefHostThread> server_;
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
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

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

struct RegionCase {
  const char* name;
  ZrRegion (*make)(const RfaParameters&);
  float cx, cy, w, h;
};

class RfaRegionTest : public ::testing::TestWithParam<RegionCase> {};

TEST_P(RfaRegionTest, OutlineIsAnEllipseOfFullWidthAndHeight) {
  const ZrRegion r = GetParam().make(SmallParameters());
  EXPECT_EQ(r.regionType, "ELLIPSE");
  EXPECT_EQ(r.cx, GetParam().cx);
  EXPECT_EQ(r.cy, GetParam().cy);
  EXPECT_EQ(r.w, GetParam().w);
  EXPECT_EQ(r.h, GetParam().h);
}

INSTANTIATE_TEST_SUITE_P(Outlines, RfaRegionTest,
                         ::testing::Values(RegionCase{"Screen", RfaScreenRegion, 33, 31, 52, 52},
                                           RegionCase{"Dip", RfaDipRegion, 39, 29, 6, 6},
                                           RegionCase{"Mask", RfaMaskRegion, 32, 32, 54, 54}),
                         [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
