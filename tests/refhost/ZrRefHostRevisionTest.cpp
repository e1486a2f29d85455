// Change tracking that a view of the host relies on: which requests move the host's revision
// and which window's, and the change listener.
#include <gtest/gtest.h>

#include <string>

#include "refhost/ZrRefHost.h"

namespace {

std::string Request(const std::string& cmd, int32_t window, const std::string& more = "") {
  return "<air><i0><cmd>" + cmd + "</cmd>\n<IDDocChildWindow>" + std::to_string(window) +
         "</IDDocChildWindow>\n" + more + "</i0>\n</air>\n";
}

struct RevisionCase {
  const char* Name;
  std::string Request;  // sent to window 1 or 2 of a host with two windows
  bool HostMoves;
  bool FirstMoves;
  bool SecondMoves;
};

TEST(ZrRefHostRevision, OnlyRequestsThatMayChangeSomethingMoveTheRevisions) {
  const RevisionCase cases[] = {
      {"image get", Request("ImageGet", 1), false, false, false},
      {"key get", Request("ImageKeyDoubleGet", 2), false, false, false},
      {"focused id", Request("WindowGetFocusedID", -1), false, false, false},
      {"key set", Request("ImageKeyStringSet", 2, "<ImageKeyString></ImageKeyString>\n"), true,
       false, true},
      {"region clear", Request("RegionClear", 1), true, true, false},
      {"failed set", Request("ImageSet", 1, "<image>broken</image>\n"), true, true, false},
      {"update", Request("Update", -1), true, false, false},
  };
  for (const RevisionCase& c : cases) {
    SCOPED_TRACE(c.Name);
    ZrRefHost host;
    const int32_t first = host.AddImageWindow(ZrFloatMatrix(4, 3));
    const int32_t second = host.AddImageWindow(ZrFloatMatrix(2, 2));
    ASSERT_EQ(std::make_pair(first, second), std::make_pair(1, 2));
    const uint64_t before = host.Revision(), firstBefore = host.WindowRevision(first),
                   secondBefore = host.WindowRevision(second);
    int heard = 0;
    host.SetChangeListener([&heard] { ++heard; });
    host.Handle(c.Request);
    EXPECT_EQ(
        std::make_tuple(host.Revision() != before, heard, host.WindowRevision(first) != firstBefore,
                        host.WindowRevision(second) != secondBefore),
        std::make_tuple(c.HostMoves, c.HostMoves ? 1 : 0, c.FirstMoves, c.SecondMoves));
  }
}

TEST(ZrRefHostRevision, NewWindowsScriptedChangesAndFocusAreChanges) {
  ZrRefHost host;
  EXPECT_EQ(host.Revision(), 0u);
  EXPECT_EQ(host.WindowRevision(1), 0u);
  host.Handle(Request("ImageNewWindow", -1));
  const int32_t made = 1;
  EXPECT_GT(host.WindowRevision(made), 0u);
  const int32_t added = host.AddImageWindow(ZrFloatMatrix(1, 1));
  EXPECT_EQ(host.WindowRevision(added), host.Revision());
  const uint64_t afterAdd = host.Revision();
  host.SetFocus(made);
  EXPECT_GT(host.Revision(), afterAdd);
  EXPECT_LT(host.WindowRevision(made), host.Revision());
  const uint64_t afterFocus = host.Revision();
  host.SetFocus(made);  // already focused: nothing new
  EXPECT_EQ(host.Revision(), afterFocus);
  host.SetWindowImage(made, ZrFloatMatrix(3, 3));
  EXPECT_EQ(host.WindowRevision(made), host.Revision());

  // A removed listener hears nothing more.
  int heard = 0;
  host.SetChangeListener([&heard] { ++heard; });
  host.SetWindowImage(added, ZrFloatMatrix(2, 1));
  host.SetChangeListener({});
  host.SetWindowImage(added, ZrFloatMatrix(2, 2));
  EXPECT_EQ(heard, 1);
}

TEST(ZrRefHostRevision, RequestRecordCanBeTurnedOff) {
  ZrRefHost host;
  host.Handle(Request("Update", -1));
  ASSERT_EQ(host.Requests().size(), 1u);
  host.SetRecordRequests(false);  // what was kept goes, and nothing more is kept
  EXPECT_TRUE(host.Requests().empty());
  host.Handle(Request("Update", -1));
  EXPECT_TRUE(host.Requests().empty());
}

}  // namespace
