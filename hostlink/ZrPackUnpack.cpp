// The message packer over ZrBarnXml.
#include "hostlink/ZrPackUnpack.h"

#include <utility>

#include "formats/ZrKeyList.h"

namespace ZrPackUnpack {

ZrPackUnpackXml::ZrPackUnpackXml(boost::shared_ptr<ZrBarnXml> document)
    : document_(std::move(document)) {}

ZrPackUnpackXml::~ZrPackUnpackXml() = default;

std::string ZrPackUnpackXml::GetMode() {
  return document_->GetMode();
}

void ZrPackUnpackXml::GetText(std::string& text) {
  text.clear();
  document_->GetText(text);
}

void ZrPackUnpackXml::SetText(const std::string& text) {
  if (document_->IsWriteMode()) throw ZrError("mode is illigal");
  document_->SetText(text);
  document_->OpenRack("air");
}

bool ZrPackUnpackXml::OpenRack(const std::string& key) {
  return document_->OpenRack(key);
}

void ZrPackUnpackXml::CloseRack(const std::string& /*key*/) {
  document_->CloseRack();
}

// Read mode: the caller's variable is its own default, so a missing key leaves it as it was.
int32_t ZrPackUnpackXml::Value(const std::string& key, std::string& value) {
  return document_->Value(key, value, value) ? 1 : 0;
}

int32_t ZrPackUnpackXml::Value(const std::string& key, int32_t& value) {
  return document_->Value(key, value, value) ? 1 : 0;
}

// Floating values are written with as many digits as it takes to read them back exactly
// (0.5 stays "0.5"); the stream's default six digits would move region geometry and key
// values on every trip through the host.
template <class T>
int32_t ZrPackUnpackXml::FloatingValue(const std::string& key, T& value) {
  if (document_->IsWriteMode()) {
    std::string text = ZrExactNumberText(value);
    document_->Value(key, text, text);
    return 1;
  }
  return document_->Value(key, value, value) ? 1 : 0;
}

int32_t ZrPackUnpackXml::Value(const std::string& key, double& value) {
  return FloatingValue(key, value);
}

int32_t ZrPackUnpackXml::Value(const std::string& key, float& value) {
  return FloatingValue(key, value);
}

int32_t ZrPackUnpackXml::Value(const std::string& key, bool& value) {
  return document_->Value(key, value, value) ? 1 : 0;
}

bool ZrPackUnpackXml::Matrix(const std::string& key, ZrFloatMatrix& value,
                             const std::string& encoding) {
  return document_->Value(key, value, encoding);
}

bool ZrPackUnpackXml::Matrix(const std::string& key, ZrLongMatrix& value,
                             const std::string& encoding) {
  return document_->Value(key, value, encoding);
}

bool ZrPackUnpackXml::KeyDoubleList(const std::string& key, std::map<std::string, double>& value) {
  return ZrKeyList(*document_, key, value);
}

bool ZrPackUnpackXml::KeyStringList(const std::string& key,
                                    std::map<std::string, std::string>& value) {
  return ZrKeyList(*document_, key, value);
}

bool ZrPackUnpackXml::StringList(const std::string& key, std::vector<std::string>& value) {
  return document_->Value(key, value);
}

}  // namespace ZrPackUnpack
