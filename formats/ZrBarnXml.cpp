// The XML tree: the racks, the tagging of a read text, the cursor and the written form.
#include "formats/ZrBarnXml.h"

#include <cmath>
#include <cstring>
#include <sstream>

#include "formats/ZrBarnXmlRack.h"

ZrBarnXmlRack::~ZrBarnXmlRack() {
  std::vector<std::unique_ptr<ZrBarnXmlRack>> pending;
  for (auto& c : children) {
    if (c) pending.push_back(std::move(c));
  }
  children.clear();
  while (!pending.empty()) {
    std::unique_ptr<ZrBarnXmlRack> rack = std::move(pending.back());
    pending.pop_back();
    for (auto& c : rack->children) {
      if (c) pending.push_back(std::move(c));
    }
    rack->children.clear();
  }
}

void ZrBarnXmlRack::SplitTag() {
  if (!name.empty()) return;
  const std::string::size_type blank = tagText.find(' ');
  if (blank == std::string::npos) {
    name = tagText;
  } else {
    name = tagText.substr(0, blank);
    attributes = tagText.substr(blank + 1);
  }
}

const std::string& ZrBarnXmlRack::Name() {
  if (name.empty() && !tagText.empty()) SplitTag();
  return name;
}

const std::string& ZrBarnXmlRack::AttributeText() {
  Name();
  return attributes;
}

void ZrBarnXml::Impl::Tag() {
  ZrBarnXmlRack* at = root.get();
  textLength = static_cast<int64_t>(text.size());
  const char* t = text.data();
  const size_t size = text.size();
  size_t i = 0;
  for (;;) {
    const void* lt = i < size ? std::memchr(t + i, '<', size - i) : nullptr;
    if (lt == nullptr) break;
    i = static_cast<size_t>(static_cast<const char*>(lt) - t);
    const size_t j = i + 1;
    if (j >= size) throw ZrError("Illigal Tag Structure");
    size_t gt = j;
    if (t[j] != '>') {
      const void* found = std::memchr(t + j, '>', size - j);
      if (found == nullptr) throw ZrError("Illigal Tag Structure");
      gt = static_cast<size_t>(static_cast<const char*>(found) - t);
    }
    if (t[j] == '/') {
      // An end tag closes the current element whatever name it carries. One at the top
      // level has nothing to close and is ignored.
      if (at->parent != nullptr) {
        at->closeStart = static_cast<int64_t>(i);
        at->closeEnd = static_cast<int64_t>(gt);
        at = at->parent;
      }
    } else if (t[j] != '?') {
      auto rack = std::make_unique<ZrBarnXmlRack>();
      rack->parent = at;
      rack->indexInParent = at->children.size();
      rack->openStart = static_cast<int64_t>(i);
      rack->openEnd = static_cast<int64_t>(gt);
      rack->tagText.assign(t + j, gt - j);
      ZrBarnXmlRack* opened = rack.get();
      at->children.push_back(std::move(rack));
      ++at->liveChildren;
      if (t[gt - 1] == '/' && gt - 1 >= j) {
        opened->closeStart = opened->closeEnd = opened->openEnd;
      } else {
        at = opened;
      }
    }
    i = gt + 1;
    scanPos = static_cast<int64_t>(i);
  }
  cursor = root.get();
}

std::string_view ZrBarnXml::Impl::RawValue(const ZrBarnXmlRack& rack) const {
  const int64_t begin = rack.openEnd + 1;
  const int64_t count = rack.closeStart - rack.openEnd - 1;
  if (rack.openEnd < 0 || count <= 0 || begin + count > static_cast<int64_t>(text.size())) {
    return {};
  }
  return std::string_view(text).substr(static_cast<size_t>(begin), static_cast<size_t>(count));
}

void ZrBarnXml::Impl::Write(std::string& out) const {
  if (root->children.empty() || !root->children.front()) return;
  // Depth-first without recursion: each stack entry is a rack and the next child to visit.
  std::vector<std::pair<ZrBarnXmlRack*, size_t>> stack;
  auto open = [&](ZrBarnXmlRack* rack) {
    out += '<';
    out += rack->Name();
    out += rack->AttributeText();
    out += '>';
    out += rack->value;
    stack.emplace_back(rack, 0);
  };
  // Sized once: a first walk adds up the lengths, so large values are copied only once.
  size_t total = out.size();
  std::vector<ZrBarnXmlRack*> pending = {root->children.front().get()};
  while (!pending.empty()) {
    ZrBarnXmlRack* rack = pending.back();
    pending.pop_back();
    total += 2 * rack->Name().size() + rack->AttributeText().size() + rack->value.size() + 6;
    for (const auto& child : rack->children) {
      if (child) pending.push_back(child.get());
    }
  }
  out.reserve(total);
  open(root->children.front().get());
  while (!stack.empty()) {
    auto& [rack, next] = stack.back();
    while (next < rack->children.size() && !rack->children[next]) ++next;
    if (next < rack->children.size()) {
      ZrBarnXmlRack* child = rack->children[next++].get();
      open(child);
      continue;
    }
    out += "</";
    out += rack->Name();
    out += ">\n";
    stack.pop_back();
  }
}

ZrBarnXml::ZrBarnXml(const std::string& mode)
    : mode_(mode == "w"), impl_(std::make_unique<Impl>()) {}

ZrBarnXml::~ZrBarnXml() = default;

void ZrBarnXml::SetText(const std::string& text) {
  if (mode_) throw ZrError("mode is illigal");
  TagText(std::string(text), impl_->statusText);
}

void ZrBarnXml::TagText(std::string&& text, const std::string& statusText) {
  impl_->root = std::make_unique<ZrBarnXmlRack>();
  impl_->cursor = impl_->root.get();
  impl_->text = std::move(text);
  impl_->statusText = statusText;
  impl_->scanPos = 0;
  impl_->status = 1;
  impl_->Tag();
  impl_->status = 2;
}

void ZrBarnXml::GetText(std::string& text) const {
  text.clear();
  impl_->Write(text);
}

bool ZrBarnXml::OpenRack(const std::string& name) {
  ZrBarnXmlRack* at = impl_->cursor;
  if (mode_) {
    auto rack = std::make_unique<ZrBarnXmlRack>();
    rack->name = name;
    rack->parent = at;
    rack->indexInParent = at->children.size();
    impl_->cursor = rack.get();
    at->children.push_back(std::move(rack));
    ++at->liveChildren;
    return true;
  }
  if (at->liveChildren == 0) return false;
  if (!at->nameIndex) {
    at->nameIndex = std::make_unique<std::unordered_map<std::string, ZrBarnXmlRack::NameQueue>>();
    for (size_t k = 0; k < at->children.size(); ++k) {
      if (at->children[k]) (*at->nameIndex)[at->children[k]->Name()].positions.push_back(k);
    }
  }
  const auto found = at->nameIndex->find(name);
  if (found == at->nameIndex->end()) return false;
  ZrBarnXmlRack::NameQueue& queue = found->second;
  while (queue.next < queue.positions.size() && !at->children[queue.positions[queue.next]]) {
    ++queue.next;
  }
  if (queue.next == queue.positions.size()) return false;
  impl_->cursor = at->children[queue.positions[queue.next]].get();
  return true;
}

void ZrBarnXml::CloseRack(const std::string& name) {
  const std::string& current = impl_->cursor->Name();
  if (current != name) throw ZrError("Invalid Tag Name:" + current + " <> " + name);
  CloseRack();
}

void ZrBarnXml::CloseRack() {
  ZrBarnXmlRack* left = impl_->cursor;
  ZrBarnXmlRack* parent = left->parent;
  if (parent == nullptr) throw ZrError("Over CloseRack");
  impl_->cursor = parent;
  if (!mode_) {
    parent->children[left->indexInParent].reset();
    --parent->liveChildren;
  }
}

std::vector<std::string> ZrBarnXml::ChildNames() const {
  std::vector<std::string> names;
  names.reserve(impl_->cursor->liveChildren);
  for (const auto& child : impl_->cursor->children) {
    if (child) names.push_back(child->Name());
  }
  return names;
}

std::string ZrBarnXml::StatusMessage() const {
  switch (impl_->status) {
    case 1: {
      const int64_t length = impl_->textLength;
      const double ratio = length > 0 ? static_cast<double>(impl_->scanPos) / length : 0.0;
      std::ostringstream out;
      out.imbue(std::locale::classic());
      out << impl_->statusText << impl_->scanPos << "/" << length << " :"
          << std::floor(ratio * 10000) / 100 << "% " << length / (1024 * 1024) << "MBytes";
      return out.str();
    }
    case 2:
      return "Taging is finished. Analysing";
    case 3:
      return "Analysing Vector:" + std::to_string(impl_->vectorCount);
    default:
      return impl_->statusText;
  }
}
