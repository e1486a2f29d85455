// The message packer: one operation per value type that writes or reads, the document's
// mode deciding, so a request and the code reading its response look alike.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "formats/ZrBarnXml.h"
#include "numerics/ZrMatrix.h"

namespace ZrPackUnpack {

class ZrPackUnpackCustom {
 public:
  virtual ~ZrPackUnpackCustom() = default;

  virtual std::string GetMode() = 0;
  virtual void GetText(std::string& text) = 0;
  virtual void SetText(const std::string& text) = 0;
  virtual bool OpenRack(const std::string& key) = 0;
  virtual void CloseRack(const std::string& key) = 0;
  virtual int32_t Value(const std::string& key, std::string& value) = 0;
  virtual int32_t Value(const std::string& key, int32_t& value) = 0;
  virtual int32_t Value(const std::string& key, double& value) = 0;
  virtual int32_t Value(const std::string& key, float& value) = 0;
  virtual int32_t Value(const std::string& key, bool& value) = 0;
  virtual bool Matrix(const std::string& key, ZrFloatMatrix& value,
                      const std::string& encoding) = 0;
  virtual bool Matrix(const std::string& key, ZrLongMatrix& value, const std::string& encoding) = 0;
  virtual bool KeyDoubleList(const std::string& key, std::map<std::string, double>& value) = 0;
  virtual bool KeyStringList(const std::string& key, std::map<std::string, std::string>& value) = 0;
  virtual bool StringList(const std::string& key, std::vector<std::string>& value) = 0;
};

// Packer over one ZrBarnXml document.
class ZrPackUnpackXml : public ZrPackUnpackCustom {
 public:
  explicit ZrPackUnpackXml(boost::shared_ptr<ZrBarnXml> document);
  ~ZrPackUnpackXml() override;

  std::string GetMode() override;
  void GetText(std::string& text) override;
  // Parses the text and enters the root element "air" (read mode only).
  void SetText(const std::string& text) override;
  bool OpenRack(const std::string& key) override;
  void CloseRack(const std::string& key) override;
  int32_t Value(const std::string& key, std::string& value) override;
  int32_t Value(const std::string& key, int32_t& value) override;
  int32_t Value(const std::string& key, double& value) override;
  int32_t Value(const std::string& key, float& value) override;
  int32_t Value(const std::string& key, bool& value) override;
  bool Matrix(const std::string& key, ZrFloatMatrix& value, const std::string& encoding) override;
  bool Matrix(const std::string& key, ZrLongMatrix& value, const std::string& encoding) override;
  // Key lists (formats/ZrKeyList.h): entries "i0", "i1", ... each holding "key" and "val"; on
  // reading any child name is accepted and the map is replaced by what was found.
  bool KeyDoubleList(const std::string& key, std::map<std::string, double>& value) override;
  bool KeyStringList(const std::string& key, std::map<std::string, std::string>& value) override;
  bool StringList(const std::string& key, std::vector<std::string>& value) override;

  boost::shared_ptr<ZrBarnXml> Document() const { return document_; }

 private:
  template <class T>
  int32_t FloatingValue(const std::string& key, T& value);

  boost::shared_ptr<ZrBarnXml> document_;
};

}  // namespace ZrPackUnpack
