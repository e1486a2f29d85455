// The program's own small XML reader and writer: a cursor over a tree of element racks.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "numerics/ZrError.h"
#include "numerics/ZrMatrix.h"

class ZrADateTime;
class ZrBarnXmlRack;

// A number as documents store it, read by the extraction of a standard stream in the classic
// locale: leading blanks skipped, the longest number at the start taken, 0 when none is there
// or it does not fit the type. whole, when given, tells whether the text was exactly one
// number that fits. Defined for int32_t, int64_t, uint32_t, float, double and long double.
template <class T>
T ZrParseNumber(const std::string& text, bool* whole = nullptr);

// A floating value with as many digits as it takes to read it back exactly (17 significant
// digits for double, 9 for float, fewer when they suffice: 0.5 stays "0.5"), in the classic
// locale. Where a value must survive a trip through a document unchanged (host messages, key
// lists, key records); the value accessors below keep the stream's default six digits.
template <class T>
std::string ZrExactNumberText(T value);

// Read mode: the whole text is tagged once; OpenRack/CloseRack walk it and reading an
// element consumes it, so asking again for the same name yields the next sibling.
// Write mode: OpenRack appends children, values are stored escaped, and the text is produced
// on request (GetText) or by the file variants when they are destroyed.
class ZrBarnXml {
 public:
  explicit ZrBarnXml(const std::string& mode);  // "r" read, "w" write
  virtual ~ZrBarnXml();
  ZrBarnXml(const ZrBarnXml&) = delete;
  ZrBarnXml& operator=(const ZrBarnXml&) = delete;

  bool IsWriteMode() const { return mode_; }
  std::string GetMode() const { return mode_ ? "w" : "r"; }

  void SetText(const std::string& text);  // read mode only: "mode is illigal" otherwise
  void GetText(std::string& text) const;  // the written form, from the root's first child

  bool OpenRack(const std::string& name);
  void CloseRack();
  void CloseRack(const std::string& name);
  // The names of the current element's children in document order; in read mode only those not
  // read yet. Opening them in this order visits each child once, whatever it is called.
  std::vector<std::string> ChildNames() const;

  bool Value(const std::string& name, std::string& value, const std::string& def);
  bool Value(const std::string& name, int32_t& value, int32_t def);
  bool Value(const std::string& name, int64_t& value, int64_t def);
  bool Value(const std::string& name, uint32_t& value, uint32_t def);
  bool Value(const std::string& name, float& value, float def);
  bool Value(const std::string& name, double& value, double def);
  bool Value(const std::string& name, long double& value, long double def);
  bool Value(const std::string& name, bool& value, bool def);
  bool Value(const std::string& name, ZrADateTime& value,
             const ZrADateTime& def);  // y/mm/dd hh:mm:ss
  // Items are children "r", escaped twice; an item "ThisIsEndString[]" ends the list.
  bool Value(const std::string& name, std::vector<std::string>& value);

  // Matrix values (matrix XML): format "t" text, "b" binary with "base64", "bb" binary with
  // "base64b". On reading the format is ignored and the form is recognised; data that does not
  // fit the stored shape fails ("Data is short", "Too manay data") before the matrix is
  // allocated, and a failed read leaves the cursor where the call found it.
  bool Value(const std::string& name, ZrFloatMatrix& value, const std::string& format);
  bool Value(const std::string& name, ZrDoubleMatrix& value, const std::string& format);
  bool Value(const std::string& name, ZrLongMatrix& value, const std::string& format);
  bool Value(const std::string& name, ZrInt32Matrix& value, const std::string& format);
  bool Value(const std::string& name, ZrLDoubleMatrix& value, const std::string& format);
  bool Value(const std::string& name, ZrLComplexMatrix& value, const std::string& format);

  // Opens the child `name` like OpenRack and leaves the cursor on it (close it with CloseRack,
  // which consumes it in read mode). Write: appends each pair as ` key="value"`. Read: appends
  // the pairs parsed from the start tag; returns false (cursor unchanged) if it is missing.
  bool Attributes(const std::string& name,
                  std::vector<std::pair<std::string, std::string>>& attributes);

  // Progress text for a dialog while a large document is tagged or a vector read.
  std::string StatusMessage() const;

  // "&" "<" ">" and the double quote become entities; apostrophes stay.
  static std::string Escape(const std::string& text);
  // Each of "&lt;" "&gt;" "&quot;" "&amp;" in turn is replaced until none is left, so
  // "&amp;amp;" collapses to "&" and "&amp;lt;" gives "&lt;".
  static std::string Unescape(const std::string& text);

 protected:
  // Implementation state (racks, text, cursor, progress fields), formats/ZrBarnXmlRack.h.
  bool mode_ = false;  // false read, true write
  // Read mode: replaces the tree by the tagging of `text`; progress shows `statusText`.
  void TagText(std::string&& text, const std::string& statusText);

  struct Impl;
  std::unique_ptr<Impl> impl_;

 private:
  struct MatrixAccess;  // the matrix value accessors, formats/ZrMatrixXml.cpp
};
