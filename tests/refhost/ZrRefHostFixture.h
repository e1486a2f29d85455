// A reference host on its own thread and a client connected to it over loopback TCP.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"

class ZrRefHostFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    server_ = std::make_unique<ZrRefHostThread>(host_);
    ASSERT_TRUE(server_->Start(0));
    client_ = std::make_unique<ZrPluginFuncVeldra>("localhost", server_->Port());
    // About 10 s per send attempt instead of the protocol's 100 s; answers come in ms.
    client_->SetPollCount(1000);
    client_->SubConnect();
  }
  void TearDown() override {
    client_.reset();
    server_->Stop();
  }

  ZrRefHost host_;
  std::unique_ptr<ZrRefHostThread> server_;
  std::unique_ptr<ZrPluginFuncVeldra> client_;
};
