// The processing log and its "app" document.
#include "formats/ZrPluginLog.h"

#include <sstream>

#include "formats/ZrBarnXml.h"
#include "numerics/ZrError.h"

void ZrPluginLog::Open(const std::string& appName, const std::string& version) {
  appName_ = appName;
  version_ = version;
}

void ZrPluginLog::LogOpenFunction(const std::string& name) {
  functions_.push_back(Function{name, {}});
}

void ZrPluginLog::Add(const std::string& key, const std::string& value) {
  if (functions_.empty()) throw ZrError("Please call LogOpenFunction before use this");
  functions_.back().Entries.emplace_back(key, value);
}

void ZrPluginLog::Add(const std::string& key, const char* value) {
  Add(key, std::string(value));
}

void ZrPluginLog::Add(const std::string& key, bool value) {
  Add(key, std::string(value ? "true" : "false"));
}

void ZrPluginLog::Add(const std::string& key, double value) {
  std::ostringstream s;
  s << value;
  Add(key, s.str());
}

void ZrPluginLog::Add(const std::string& key, int32_t value) {
  std::ostringstream s;
  s << value;
  Add(key, s.str());
}

std::string ZrPluginLog::Text() const {
  ZrBarnXml document("w");
  std::string name = appName_, version = version_;
  document.OpenRack("app");
  document.Value("name", name, name);
  document.Value("ver", version, version);
  for (const auto& function : functions_) {
    document.OpenRack("func");
    std::string functionName = function.Name;
    document.Value("name", functionName, functionName);
    for (size_t i = 0; i < function.Entries.size(); ++i) {
      document.OpenRack("i" + std::to_string(i));
      std::string key = function.Entries[i].first, value = function.Entries[i].second;
      document.Value("key", key, key);
      document.Value("value", value, value);
      document.CloseRack();
    }
    document.CloseRack();
  }
  document.CloseRack();
  std::string text;
  document.GetText(text);
  return text;
}

void ZrPluginLog::Write(std::map<std::string, std::string>& map) const {
  map["log"] = Text();
}
