// The key record side file.
#include "formats/ZrKeyRecord.h"

#include <cstdlib>

#include "formats/ZrBarnXml.h"
#include "formats/ZrFileBytes.h"

namespace {

const char kRoot[] = "VELDRA-IMAGE-KEYS";

// One "entry" written, or read; false when no entry is left to read.
bool Entry(ZrBarnXml& tree, std::string& key, std::string& value) {
  if (!tree.OpenRack("entry")) return false;
  tree.Value("key", key, "");
  tree.Value("value", value, "");
  tree.CloseRack("entry");
  return true;
}

}  // namespace

std::string ZrKeyRecordText(const std::map<std::string, double>& doubles,
                            const std::map<std::string, std::string>& texts) {
  ZrBarnXml tree("w");
  tree.OpenRack(kRoot);
  tree.OpenRack("double");
  for (const auto& [key, value] : doubles) {
    std::string k = key;
    std::string v = ZrExactNumberText(value);
    Entry(tree, k, v);
  }
  tree.CloseRack("double");
  tree.OpenRack("text");
  for (const auto& [key, value] : texts) {
    std::string k = key;
    std::string v = value;
    Entry(tree, k, v);
  }
  tree.CloseRack("text");
  tree.CloseRack(kRoot);
  std::string text;
  tree.GetText(text);
  return text;
}

void ZrKeyRecordParse(const std::string& text, const std::string& name,
                      std::map<std::string, double>& doubles,
                      std::map<std::string, std::string>& texts) {
  ZrBarnXml tree("r");
  tree.SetText(text);
  if (!tree.OpenRack(kRoot)) {
    throw ZrError(name + ": not a key file (no \"" + kRoot + "\" element)");
  }
  std::string key;
  std::string value;
  if (tree.OpenRack("double")) {
    while (Entry(tree, key, value)) doubles[key] = std::strtod(value.c_str(), nullptr);
    tree.CloseRack("double");
  }
  if (tree.OpenRack("text")) {
    while (Entry(tree, key, value)) texts[key] = value;
    tree.CloseRack("text");
  }
  tree.CloseRack(kRoot);
}

void ZrKeyRecordWrite(const std::string& path, const std::map<std::string, double>& doubles,
                      const std::map<std::string, std::string>& texts) {
  ZrWriteFileAtomic(path, ZrKeyRecordText(doubles, texts));
}

void ZrKeyRecordRead(const std::string& path, std::map<std::string, double>& doubles,
                     std::map<std::string, std::string>& texts) {
  ZrKeyRecordParse(ZrReadFileBytes(path), path, doubles, texts);
}
