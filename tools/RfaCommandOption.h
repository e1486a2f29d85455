// One option of rfa-process's command line: its names, its value, its help and what it sets.
// The parser, the usage text and the option's effect are all read from these rows.
#pragma once

#include <functional>
#include <string>
#include <vector>

template <class Target>
struct RfaCommandOption {
  std::vector<std::string> Names;  // {"p", "parameters"}: -p and --parameters; the long one last
  std::string ValueName;           // "FILE"; empty for a switch
  std::string Help;                // the lines of its help text, '\n' between them
  // Sets what the option asks for; value is "" for a switch. A bad value throws ZrError.
  std::function<void(Target& target, const std::string& value)> Apply;
};
