// Request handlers called alone on a host state of the test's making, and the handling of
// requests that reach no handler.
#include "refhost/ZrRefHostHandlers.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

struct HandlerCase {
  const char* Name;
  ZrHostFunction Function;
  int32_t Window;
  std::string Arguments;  // request values after "IDDocChildWindow"
  std::string Results;    // the results the handler leaves, or its error
};

class ZrRefHostHandlerTest : public ::testing::TestWithParam<HandlerCase> {};

}  // namespace

TEST_P(ZrRefHostHandlerTest, LeavesItsResultsOrError) {
  const HandlerCase& c = GetParam();
  // Window 1: a 4 x 3 image whose pixel (x, y) is x + 4 y, from a file in a folder.
  ZrRefHostState state;
  ZrRefHostWindow w;
  w.Image = ZrFloatMatrix(4, 3);
  for (int64_t i = 0; i < w.Image.Count(); ++i) w.Image.Data[i] = static_cast<float>(i);
  w.FileName = "/data/run 7/a.rawf";
  w.Regions[1] = {"ELLIPSE", 1, 1, 2, 2, {}, false, ""};
  w.Regions[2] = {"ELLIPSE", 40, 40, 2, 2, {}, false, ""};
  state.NewWindow(w);

  ZrCmdPackUnpack request("r");
  request.SetText("<air><i0>" + c.Arguments + "</i0></air>");
  request.OpenCmd();
  ZrRefHostCall call(state, request, 1);
  call.WindowId = c.Window;
  const ZrRefHostHandler handler = ZrRefHostFindHandler(ZrHostFunctionName(c.Function));
  ASSERT_NE(handler, nullptr);
  std::string outcome;
  try {
    handler(call);
    ZrCmdPackUnpack results("w");
    results.OpenCmd();
    call.WriteResults(results);
    results.CloseCmd();
    results.GetText(outcome);
  } catch (const ZrError& e) {
    outcome = e.Message;
  }
  EXPECT_EQ(outcome, c.Results);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrRefHostHandlerTest,
    ::testing::Values(
        HandlerCase{"EllipseStatisticsByItsEquation", ZrHostFunction::RegionGetIMinMaxAverage, 1,
                    "<RegionID>1</RegionID>",
                    "<air><i0><min>1</min>\n<max>9</max>\n<average>5</average>\n</i0>\n</air>\n"},
        HandlerCase{"RegionOutsideTheImage", ZrHostFunction::RegionGetIMinMaxAverage, 1,
                    "<RegionID>2</RegionID>", "Region holds no pixel:2"},
        HandlerCase{"FileNameWithoutFolder", ZrHostFunction::GetFileName, 1, "",
                    "<air><i0><filenameUtf8>a.rawf</filenameUtf8>\n</i0>\n</air>\n"},
        HandlerCase{"ImageOfAMissingWindow", ZrHostFunction::ImageGet, 9, "",
                    "Window is not found:9"},
        HandlerCase{"SeriesFunctionOnAnImageWindow", ZrHostFunction::SeriesIndexKeyDoubleGet, 1, "",
                    "Window is not a series:1"}),
    ZrCaseName());

TEST(ZrRefHostHandle, RequestsWithoutAHandlerAnswerWithAnError) {
  ZrRefHost host;
  const std::pair<const char*, const char*> cases[] = {
      {"<air><i0><cmd>NoSuch</cmd>\n</i0>\n</air>\n", "Unknown function:NoSuch"},
      {"<air><i0><cmd>WindowClose</cmd>\n</i0>\n</air>\n", "Unknown function:WindowClose"},
      {"<air><i0><cmd>Update</cmd", "Illigal Tag Structure"},
      {"<air><i0><cmd>RegionGet</cmd><IDDocChildWindow>4</IDDocChildWindow></i0></air>",
       "Window is not found:4"}};
  for (const auto& [request, code] : cases) {
    EXPECT_EQ(host.Handle(request).Text,
              std::string("<air><i0><ReturnCode>") + code + "</ReturnCode>\n</i0>\n</air>\n");
  }
}
