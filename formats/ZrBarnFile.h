// The XML tree bound to a file through stdio streams.
#pragma once

#include <cstdio>
#include <string>

#include "formats/ZrBarnXml.h"

// Read mode loads and tags the whole file at construction. Write mode creates (truncates)
// the file at construction and writes the tree when Write() is called or, failing that, when
// the object is destroyed.
class ZrBarnFile : public ZrBarnXml {
 public:
  ZrBarnFile(const std::string& path, const std::string& mode);
  // Read mode first requires "<" + rootName + ">" within the first 4096 bytes of the file,
  // else throws `message`.
  ZrBarnFile(const std::string& path, const std::string& mode, const std::string& rootName,
             const std::string& message);
  ~ZrBarnFile() override;

  // Write mode: writes the tree now and closes the file (once; later calls do nothing).
  // Throws "Cannot File Write " + path when the data cannot be written.
  void Write();
  void Flush() { Write(); }

 private:
  void Open();

  FILE* file_ = nullptr;
  std::string path_;
};
