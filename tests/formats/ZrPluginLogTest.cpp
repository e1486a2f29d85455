// The processing log: entries in order with their text forms, and the "app" document.
#include "formats/ZrPluginLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "tests/common/ZrTestUtil.h"

TEST(ZrPluginLog, EntriesInOrderWithTheirTextForms) {
  ZrPluginLog log;
  log.Open("prog", "1");
  std::map<std::string, std::string> keys = {{"log", "old"}, {"other", "x"}};
  log.Write(keys);
  EXPECT_EQ(keys, (std::map<std::string, std::string>{
                      {"log", "<app><name>prog</name>\n<ver>1</ver>\n</app>\n"}, {"other", "x"}}));
  for (const auto& add : std::vector<std::function<void()>>{
           [&] { log.Add("k", 1.0); }, [&] { log.Add("k", std::string("v")); },
           [&] { log.Add("k", true); }, [&] { log.Add("k", int32_t{1}); }}) {
    EXPECT_ZR_ERROR(add(), "Please call LogOpenFunction before use this");
  }
  log.LogOpenFunction("MoveToCenter");
  log.Add("Sx", 0.5);
  log.Add("n", int32_t{-3});
  log.LogOpenFunction("Mask");
  log.Add("on", true);
  log.Add("off", false);
  log.Add("text", "a<b");
  log.Add("big", 1234567.0);
  log.Write(keys);
  EXPECT_EQ(keys.at("log"),
            "<app><name>prog</name>\n<ver>1</ver>\n"
            "<func><name>MoveToCenter</name>\n<i0><key>Sx</key>\n<value>0.5</value>\n</i0>\n"
            "<i1><key>n</key>\n<value>-3</value>\n</i1>\n</func>\n"
            "<func><name>Mask</name>\n<i0><key>on</key>\n<value>true</value>\n</i0>\n"
            "<i1><key>off</key>\n<value>false</value>\n</i1>\n"
            "<i2><key>text</key>\n<value>a&lt;b</value>\n</i2>\n"
            "<i3><key>big</key>\n<value>1.23457e+06</value>\n</i3>\n</func>\n</app>\n");
  EXPECT_EQ(log.Text(), keys.at("log"));
}
