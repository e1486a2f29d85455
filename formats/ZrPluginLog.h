// The processing log: which operations ran on an image and with which parameters, turned
// into one XML text stored under "log" in the image's text keys.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

class ZrPluginLog {
 public:
  void Open(const std::string& appName, const std::string& version);
  void LogOpenFunction(const std::string& name);

  // Each appends (key, text) to the last opened function record.
  void Add(const std::string& key, const std::string& value);
  void Add(const std::string& key, const char* value);
  void Add(const std::string& key, bool value);
  void Add(const std::string& key, double value);
  void Add(const std::string& key, int32_t value);

  // Builds the "app" document and stores its text in map["log"].
  void Write(std::map<std::string, std::string>& map) const;
  std::string Text() const;

 private:
  struct Function {
    std::string Name;
    std::vector<std::pair<std::string, std::string>> Entries;
  };
  std::string appName_;
  std::string version_;
  std::vector<Function> functions_;
};
