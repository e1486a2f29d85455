// The processing log document.
#include "hostlink/ZrPluginLog.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

TEST(ZrPluginLog, WithoutFunctionsOnlyNameAndVersion) {
  ZrPluginLog log;
  log.Open("rfa_bg", "0.0.5");
  std::map<std::string, std::string> keys = {{"log", "old"}, {"other", "x"}};
  log.Write(keys);
  EXPECT_EQ(keys.at("log"), "<app><name>rfa_bg</name>\n<ver>0.0.5</ver>\n</app>\n");
  EXPECT_EQ(keys.at("other"), "x");
}

TEST(ZrPluginLog, EntriesInOrderWithTheirTextForms) {
  ZrPluginLog log;
  log.Open("prog", "1");
  log.LogOpenFunction("MoveToCenter");
  log.Add("Sx", 0.5);
  log.Add("n", int32_t{-3});
  log.LogOpenFunction("Mask");
  log.Add("on", true);
  log.Add("off", false);
  log.Add("text", "a<b");
  log.Add("big", 1234567.0);
  EXPECT_EQ(log.Text(),
            "<app><name>prog</name>\n<ver>1</ver>\n"
            "<func><name>MoveToCenter</name>\n<i0><key>Sx</key>\n<value>0.5</value>\n</i0>\n"
            "<i1><key>n</key>\n<value>-3</value>\n</i1>\n</func>\n"
            "<func><name>Mask</name>\n<i0><key>on</key>\n<value>true</value>\n</i0>\n"
            "<i1><key>off</key>\n<value>false</value>\n</i1>\n"
            "<i2><key>text</key>\n<value>a&lt;b</value>\n</i2>\n"
            "<i3><key>big</key>\n<value>1.23457e+06</value>\n</i3>\n</func>\n</app>\n");
}

TEST(ZrPluginLog, AddingBeforeAnyFunctionFails) {
  ZrPluginLog log;
  log.Open("p", "v");
  EXPECT_ZR_ERROR(log.Add("k", 1.0), "Please call LogOpenFunction before use this");
  EXPECT_ZR_ERROR(log.Add("k", std::string("v")), "Please call LogOpenFunction before use this");
  EXPECT_ZR_ERROR(log.Add("k", true), "Please call LogOpenFunction before use this");
  EXPECT_ZR_ERROR(log.Add("k", int32_t{1}), "Please call LogOpenFunction before use this");
}
