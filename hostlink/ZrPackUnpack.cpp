// The message packer over ZrBarnXml, with a tag index that mirrors the document's reading
// cursor so that key lists can be enumerated by position instead of by entry name.
#include "hostlink/ZrPackUnpack.h"

#include <limits>
#include <locale>
#include <sstream>
#include <utility>

namespace ZrPackUnpack {

// Element tags of a read document, found with the document's own tagging rules (a name is
// the start tag's text up to its first blank; end tags close whatever is open). Mirrors
// consumption: an element left by the cursor or read as a value is gone for later lookups.
struct ZrPackUnpackXml::TagIndex {
  struct Node {
    std::string name;
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> children;
    bool consumed = false;
  };
  Node root;
  Node* cursor = &root;

  void Build(const std::string& text) {
    root.children.clear();
    cursor = &root;
    Node* open = &root;
    size_t i = 0;
    while (true) {
      const size_t lt = text.find('<', i);
      if (lt == std::string::npos) break;
      const size_t j = lt + 1;
      if (j >= text.size()) break;  // the document reports the structure error
      const size_t gt = text[j] == '>' ? j : text.find('>', j + 1);
      if (gt == std::string::npos) break;
      i = gt + 1;
      if (text[j] == '?') continue;
      if (text[j] == '/') {
        if (open->parent != nullptr) open = open->parent;
        continue;
      }
      const std::string tag = text.substr(j, gt - j);
      auto node = std::make_unique<Node>();
      const size_t blank = tag.find(' ');
      node->name = blank == std::string::npos ? tag : tag.substr(0, blank);
      node->parent = open;
      Node* raw = node.get();
      open->children.push_back(std::move(node));
      const bool selfClosing = gt > j && text[gt - 1] == '/';
      if (!selfClosing) open = raw;
    }
  }

  Node* Find(const std::string& name) {
    for (auto& child : cursor->children) {
      if (!child->consumed && child->name == name) return child.get();
    }
    return nullptr;
  }
};

ZrPackUnpackXml::ZrPackUnpackXml(boost::shared_ptr<ZrBarnXml> document)
    : document_(std::move(document)), index_(std::make_unique<TagIndex>()) {}

ZrPackUnpackXml::~ZrPackUnpackXml() = default;

std::string ZrPackUnpackXml::GetMode() {
  return document_->GetMode();
}

void ZrPackUnpackXml::GetText(std::string& text) {
  text.clear();
  document_->GetText(text);
}

void ZrPackUnpackXml::SetText(const std::string& text) {
  SetTextWithRoot(text, "air");
}

void ZrPackUnpackXml::SetTextWithRoot(const std::string& text, const std::string& rootName) {
  if (document_->IsWriteMode()) throw ZrError("mode is illigal");
  document_->SetText(text);
  index_->Build(text);
  OpenRack(rootName);
}

bool ZrPackUnpackXml::OpenRack(const std::string& key) {
  if (!document_->OpenRack(key)) return false;
  if (!document_->IsWriteMode()) {
    TagIndex::Node* node = index_->Find(key);
    if (node == nullptr) {
      // Index and document disagree; keep the index on a placeholder so closing stays paired.
      auto placeholder = std::make_unique<TagIndex::Node>();
      placeholder->name = key;
      placeholder->parent = index_->cursor;
      node = placeholder.get();
      index_->cursor->children.push_back(std::move(placeholder));
    }
    index_->cursor = node;
  }
  return true;
}

void ZrPackUnpackXml::CloseRack(const std::string& /*key*/) {
  document_->CloseRack();
  if (!document_->IsWriteMode() && index_->cursor->parent != nullptr) {
    index_->cursor->consumed = true;
    index_->cursor = index_->cursor->parent;
  }
}

void ZrPackUnpackXml::ConsumeChild(const std::string& name) {
  if (document_->IsWriteMode()) return;
  if (TagIndex::Node* node = index_->Find(name)) node->consumed = true;
}

// Read mode: the caller's variable is its own default, so a missing key leaves it as it was.
int32_t ZrPackUnpackXml::Value(const std::string& key, std::string& value) {
  const std::string def = value;
  const bool found = document_->Value(key, value, def);
  if (found) ConsumeChild(key);
  return found ? 1 : 0;
}

int32_t ZrPackUnpackXml::Value(const std::string& key, int32_t& value) {
  const bool found = document_->Value(key, value, value);
  if (found) ConsumeChild(key);
  return found ? 1 : 0;
}

// Floating values are written with as many digits as it takes to read them back exactly
// (0.5 stays "0.5"); the stream's default six digits would move region geometry and key
// values on every trip through the host.
template <class T>
static std::string ExactText(T value) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(std::numeric_limits<T>::max_digits10);
  out << value;
  return out.str();
}

template <class T>
int32_t ZrPackUnpackXml::FloatingValue(const std::string& key, T& value) {
  if (document_->IsWriteMode()) {
    std::string text = ExactText(value);
    document_->Value(key, text, text);
    return 1;
  }
  const bool found = document_->Value(key, value, value);
  if (found) ConsumeChild(key);
  return found ? 1 : 0;
}

int32_t ZrPackUnpackXml::Value(const std::string& key, double& value) {
  return FloatingValue(key, value);
}

int32_t ZrPackUnpackXml::Value(const std::string& key, float& value) {
  return FloatingValue(key, value);
}

int32_t ZrPackUnpackXml::Value(const std::string& key, bool& value) {
  const bool found = document_->Value(key, value, value);
  if (found) ConsumeChild(key);
  return found ? 1 : 0;
}

bool ZrPackUnpackXml::Matrix(const std::string& key, ZrFloatMatrix& value,
                             const std::string& encoding) {
  const bool found = document_->Value(key, value, encoding);
  if (found) ConsumeChild(key);
  return found;
}

bool ZrPackUnpackXml::Matrix(const std::string& key, ZrLongMatrix& value,
                             const std::string& encoding) {
  const bool found = document_->Value(key, value, encoding);
  if (found) ConsumeChild(key);
  return found;
}

template <class Map>
bool ZrPackUnpackXml::KeyList(const std::string& key, Map& value) {
  if (document_->IsWriteMode()) {
    OpenRack(key);
    int32_t n = 0;
    for (const auto& entry : value) {
      OpenRack("i" + std::to_string(n++));
      std::string name = entry.first;
      typename Map::mapped_type val = entry.second;
      Value("key", name);
      Value("val", val);
      CloseRack("");
    }
    CloseRack(key);
    return true;
  }
  if (!OpenRack(key)) return false;
  value.clear();
  // Entries are taken in document order whatever they are called; the one being visited is
  // always the first unread element of its name, so the document finds the same element.
  for (size_t k = 0; k < index_->cursor->children.size(); ++k) {
    TagIndex::Node* child = index_->cursor->children[k].get();
    if (child->consumed) continue;
    const std::string name = child->name;
    if (!OpenRack(name)) {
      child->consumed = true;
      continue;
    }
    std::string entryKey;
    typename Map::mapped_type val{};
    const bool hasKey = Value("key", entryKey) != 0;
    Value("val", val);
    CloseRack(name);
    if (hasKey) value[entryKey] = val;
  }
  CloseRack(key);
  return true;
}

bool ZrPackUnpackXml::KeyDoubleList(const std::string& key, std::map<std::string, double>& value) {
  return KeyList(key, value);
}

bool ZrPackUnpackXml::KeyStringList(const std::string& key,
                                    std::map<std::string, std::string>& value) {
  return KeyList(key, value);
}

bool ZrPackUnpackXml::StringList(const std::string& key, std::vector<std::string>& value) {
  const bool found = document_->Value(key, value);
  if (found) ConsumeChild(key);
  return found;
}

}  // namespace ZrPackUnpack
