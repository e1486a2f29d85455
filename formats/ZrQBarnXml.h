// The XML tree bound to a file through Qt file and text-stream I/O in UTF-8.
#pragma once

#include <QString>
#include <string>

#include "formats/ZrBarnXml.h"

// Read mode loads the file line by line at construction, dropping every line terminator (so
// values that spanned lines come back joined), and tags it. Write mode writes the tree once:
// on Write() or, failing that, when the object is destroyed.
class ZrQBarnXml : public ZrBarnXml {
 public:
  ZrQBarnXml(const QString& path, const std::string& mode);
  ZrQBarnXml(const std::string& path, const std::string& mode);
  ZrQBarnXml(const char* path, const std::string& mode);
  ~ZrQBarnXml() override;

  // Write mode: writes the file now unless already written; "FILE CANNOT WRITE:" + path.
  void Write();
  void Flush() { Write(); }

 private:
  void Load();

  QString path_;
  bool written_ = false;
};

class ZrQBarnFile : public ZrQBarnXml {
 public:
  using ZrQBarnXml::ZrQBarnXml;
  ~ZrQBarnFile() override;
};
