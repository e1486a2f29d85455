// The reference host served from a thread of this process, for the tests that drive the
// host-facing operations or the main window against it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "refhost/ZrRefHost.h"

class RfaRefHostFixture {
 protected:
  // Starts serving on a free port of the local host.
  ::testing::AssertionResult StartHost() {
    server_ = std::make_unique<ZrRefHostThread>(host_);
    if (!server_->Start(0)) return ::testing::AssertionFailure() << "reference host not started";
    return ::testing::AssertionSuccess();
  }
  void StopHost() { server_->Stop(); }

  ZrRefHostWindow Window(int32_t id) const {
    ZrRefHostWindow w;
    EXPECT_TRUE(host_.GetWindow(id, w)) << id;
    return w;
  }

  // The windows made since `before`, in creation order.
  std::vector<int32_t> NewWindows(const std::vector<int32_t>& before) const {
    std::vector<int32_t> made;
    for (int32_t id : host_.WindowIds()) {
      if (std::find(before.begin(), before.end(), id) == before.end()) made.push_back(id);
    }
    return made;
  }

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
};
