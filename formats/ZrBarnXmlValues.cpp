// The value accessors of the XML tree and the text forms of values: numbers, booleans, dates,
// string lists, attributes and the escaping of character data.
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

#include "formats/ZrADateTime.h"
#include "formats/ZrBarnXml.h"
#include "formats/ZrBarnXmlRack.h"

namespace {

const char kEndOfList[] = "ThisIsEndString[]";

template <class T>
std::string NumberText(T v) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << v;
  return out.str();
}

}  // namespace

template <class T>
T ZrParseNumber(const std::string& text, bool* whole) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  T v{};
  const bool read = static_cast<bool>(in >> v);
  if (!read) v = T{};
  if (whole != nullptr) *whole = read && in.peek() == std::char_traits<char>::eof();
  return v;
}

template int32_t ZrParseNumber<int32_t>(const std::string&, bool*);
template int64_t ZrParseNumber<int64_t>(const std::string&, bool*);
template uint32_t ZrParseNumber<uint32_t>(const std::string&, bool*);
template float ZrParseNumber<float>(const std::string&, bool*);
template double ZrParseNumber<double>(const std::string&, bool*);
template long double ZrParseNumber<long double>(const std::string&, bool*);

template <class T>
std::string ZrExactNumberText(T value) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(std::numeric_limits<T>::max_digits10);
  out << value;
  return out.str();
}

template std::string ZrExactNumberText<float>(float);
template std::string ZrExactNumberText<double>(double);

bool ZrBarnXml::Value(const std::string& name, std::string& value, const std::string& def) {
  if (mode_) {
    OpenRack(name);
    impl_->cursor->value = Escape(value);
    CloseRack();
    return true;
  }
  if (!OpenRack(name)) {
    value = def;
    return false;
  }
  value = Unescape(std::string(impl_->RawValue(*impl_->cursor)));
  CloseRack();
  return true;
}

namespace {

template <class T>
bool NumberValue(ZrBarnXml& xml, const std::string& name, T& value, T def) {
  if (xml.IsWriteMode()) {
    std::string text = NumberText(value);
    return xml.Value(name, text, std::string());
  }
  std::string text;
  if (!xml.Value(name, text, std::string())) {
    value = def;
    return false;
  }
  value = ZrParseNumber<T>(text);
  return true;
}

}  // namespace

bool ZrBarnXml::Value(const std::string& name, int32_t& value, int32_t def) {
  return NumberValue(*this, name, value, def);
}
bool ZrBarnXml::Value(const std::string& name, int64_t& value, int64_t def) {
  return NumberValue(*this, name, value, def);
}
bool ZrBarnXml::Value(const std::string& name, uint32_t& value, uint32_t def) {
  return NumberValue(*this, name, value, def);
}
bool ZrBarnXml::Value(const std::string& name, float& value, float def) {
  return NumberValue(*this, name, value, def);
}
bool ZrBarnXml::Value(const std::string& name, double& value, double def) {
  return NumberValue(*this, name, value, def);
}
bool ZrBarnXml::Value(const std::string& name, long double& value, long double def) {
  return NumberValue(*this, name, value, def);
}

bool ZrBarnXml::Value(const std::string& name, bool& value, bool def) {
  std::string text = value ? "true" : "false";
  if (mode_) return Value(name, text, std::string());
  value = def;
  if (!Value(name, text, std::string())) return false;
  if (text == "true") value = true;
  if (text == "false") value = false;
  return true;
}

bool ZrBarnXml::Value(const std::string& name, ZrADateTime& value, const ZrADateTime& def) {
  std::string text = value.DateTimeString();
  if (mode_) return Value(name, text, std::string());
  if (!Value(name, text, std::string())) {
    value = def;
    return false;
  }
  value.ParseDateTime(text);
  return true;
}

bool ZrBarnXml::Value(const std::string& name, std::vector<std::string>& value) {
  if (mode_) {
    OpenRack(name);
    for (const std::string& item : value) {
      std::string once = Escape(item);
      Value("r", once, std::string());
    }
    CloseRack();
    return true;
  }
  if (!OpenRack(name)) return false;
  value.clear();
  const int32_t statusBefore = impl_->status;
  impl_->status = 3;
  for (;;) {
    std::string item;
    Value("r", item, kEndOfList);
    if (item == kEndOfList) break;
    value.push_back(Unescape(item));
    impl_->vectorCount = static_cast<int32_t>(value.size());
  }
  impl_->status = statusBefore;
  CloseRack();
  return true;
}

bool ZrBarnXml::Attributes(const std::string& name,
                           std::vector<std::pair<std::string, std::string>>& attributes) {
  if (!OpenRack(name)) return false;
  ZrBarnXmlRack* rack = impl_->cursor;
  if (mode_) {
    for (const auto& [key, v] : attributes) {
      rack->attributes += ' ' + key + "=\"" + v + '"';
    }
    return true;
  }
  const std::string& text = rack->AttributeText();
  size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && text[i] == ' ') ++i;
    if (i >= text.size()) break;
    const size_t eq = text.find('=', i);
    if (eq == std::string::npos) {
      attributes.emplace_back(text.substr(i), std::string());
      break;
    }
    std::string key = text.substr(i, eq - i);
    size_t end = text.find(' ', eq + 1);
    if (end == std::string::npos) end = text.size();
    std::string v = text.substr(eq + 1, end - eq - 1);
    if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
    attributes.emplace_back(std::move(key), std::move(v));
    i = end;
  }
  return true;
}

std::string ZrBarnXml::Escape(const std::string& text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

namespace {

// One left-to-right pass replacing `entity` by `c`. The replacement character is not part of
// any entity, so no new occurrence can form and the pass equals "repeat until none is left".
std::string ReplaceAll(const std::string& text, std::string_view entity, char c) {
  std::string::size_type at = text.find(entity);
  if (at == std::string::npos) return text;
  std::string out;
  out.reserve(text.size());
  std::string::size_type from = 0;
  while (at != std::string::npos) {
    out.append(text, from, at - from);
    out += c;
    from = at + entity.size();
    at = text.find(entity, from);
  }
  out.append(text, from, std::string::npos);
  return out;
}

}  // namespace

std::string ZrBarnXml::Unescape(const std::string& text) {
  if (text.find('&') == std::string::npos) return text;
  std::string s = ReplaceAll(text, "&lt;", '<');
  s = ReplaceAll(s, "&gt;", '>');
  s = ReplaceAll(s, "&quot;", '"');
  // "&amp;" -> "&" can form a new "&amp;" that starts at the produced "&" (never earlier), so
  // reducing at the end of the output as it grows gives the same result as restarting the
  // search from the beginning after every replacement, in one pass.
  std::string out;
  out.reserve(s.size());
  for (const char c : s) {
    out += c;
    const size_t n = out.size();
    if (c == ';' && n >= 5 && out.compare(n - 5, 5, "&amp;") == 0) out.resize(n - 4);
  }
  return out;
}
