// Internal state of ZrBarnXml shared by the tree, its file variants and the matrix accessors.
// Not part of the public interface.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "formats/ZrBarnXml.h"

// One element. Children are owned; in read mode a consumed child leaves a null slot so that
// the positions recorded in the name index stay valid and nothing is shifted.
class ZrBarnXmlRack {
 public:
  ZrBarnXmlRack() = default;
  virtual ~ZrBarnXmlRack();  // iterative, so deep documents do not exhaust the stack
  ZrBarnXmlRack(const ZrBarnXmlRack&) = delete;
  ZrBarnXmlRack& operator=(const ZrBarnXmlRack&) = delete;

  // Element name; in read mode derived from tagText on first use.
  const std::string& Name();
  const std::string& AttributeText();

  std::vector<std::unique_ptr<ZrBarnXmlRack>> children;
  size_t liveChildren = 0;
  ZrBarnXmlRack* parent = nullptr;
  size_t indexInParent = 0;

  // Positions in the document text; -1 while unset.
  int64_t openStart = -1;
  int64_t openEnd = -1;
  int64_t closeStart = -1;
  int64_t closeEnd = -1;

  std::string tagText;
  std::string name;
  std::string attributes;
  std::string value;  // write mode: escaped character data

  // Read mode: for each child name, the child positions in document order and how many of
  // them are known to be consumed; built on the first search so that repeated reads of the
  // same name never rescan consumed children.
  struct NameQueue {
    std::vector<size_t> positions;
    size_t next = 0;
  };
  std::unique_ptr<std::unordered_map<std::string, NameQueue>> nameIndex;

 private:
  void SplitTag();
};

struct ZrBarnXml::Impl {
  std::unique_ptr<ZrBarnXmlRack> root = std::make_unique<ZrBarnXmlRack>();
  std::string text;
  ZrBarnXmlRack* cursor = root.get();
  std::string statusText;
  int32_t status = 0;
  int64_t scanPos = 0;
  int64_t textLength = 0;
  int32_t vectorCount = 0;

  void Tag();
  // Read mode: the raw (still escaped) character data of a rack.
  std::string_view RawValue(const ZrBarnXmlRack& rack) const;
  // Appends the written form of the root's first child.
  void Write(std::string& out) const;
};
