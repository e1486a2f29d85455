// Matrix values inside XML trees: the text form "zr_matrix" (and the older "LDoubleMatrix"),
// the binary forms carried by "base64"/"base64b" (read also "binary"), complex matrices.
#include <locale.h>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "formats/ZrBarnXml.h"
#include "formats/ZrBarnXmlRack.h"
#include "formats/ZrBinaryDataToText.h"

namespace {

// Binary element names by matrix type; the irregular names are kept for compatibility.
template <class M>
struct MatrixNames;
template <>
struct MatrixNames<ZrLDoubleMatrix> {
  static constexpr const char* binary[] = {"LDoubleMatrixBinary"};
  static constexpr const char* textFormat = "%Le";
};
template <>
struct MatrixNames<ZrDoubleMatrix> {
  static constexpr const char* binary[] = {"ZrDoubleMatrixBinary", "TDoubleMatrixBinary"};
  static constexpr const char* textFormat = "%Le";
};
template <>
struct MatrixNames<ZrFloatMatrix> {
  static constexpr const char* binary[] = {"ZrFloatMatrixBinary"};
  static constexpr const char* textFormat = "%Le";
};
template <>
struct MatrixNames<ZrLongMatrix> {
  static constexpr const char* binary[] = {"ZrLongMatrixBinary"};
  static constexpr const char* textFormat = "%Lg";
};
template <>
struct MatrixNames<ZrInt32Matrix> {
  static constexpr const char* binary[] = {"ZrLongMatrixBinary"};
  static constexpr const char* textFormat = "%Lg";
};

// Numbers in the matrix text are written and read in the C locale whatever the process
// locale is (a comma as decimal separator would break the comma-separated list).
locale_t CLocale() {
  static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return c;
}

class CLocaleScope {
 public:
  CLocaleScope() : previous_(uselocale(CLocale())) {}
  ~CLocaleScope() { uselocale(previous_); }
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
  locale_t previous_;
};

template <class T>
T FromLongDouble(long double v) {
  if constexpr (std::is_integral_v<T>) {
    // Truncation toward zero, saturated; NaN gives 0.
    if (std::isnan(v)) return 0;
    if (v >= static_cast<long double>(std::numeric_limits<T>::max())) {
      return std::numeric_limits<T>::max();
    }
    if (v <= static_cast<long double>(std::numeric_limits<T>::min())) {
      return std::numeric_limits<T>::min();
    }
    return static_cast<T>(v);
  } else {
    return static_cast<T>(v);
  }
}

// Calls f(token) for each comma-terminated value of a matrix text, and for a final value
// that has no comma; characters with codes 0 to 31 are skipped.
template <class F>
void ForEachToken(std::string_view text, F&& f) {
  std::string token;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 32) continue;
    if (c == ',') {
      f(token);
      token.clear();
    } else {
      token += c;
    }
  }
  if (!token.empty()) f(token);
}

const ZrBinaryDataToText& Coder() {
  static const ZrBinaryDataToText coder;
  return coder;
}

void CheckFormat(const std::string& format) {
  if (format != "t" && format != "b" && format != "bb") throw ZrError("Write format error");
}

}  // namespace

struct ZrBarnXml::MatrixAccess {
  // Raw character data of the current rack, unescaped only when it holds an entity.
  static std::string_view CurrentText(ZrBarnXml& xml, std::string& storage) {
    std::string_view raw = xml.impl_->RawValue(*xml.impl_->cursor);
    if (raw.find('&') == std::string_view::npos) return raw;
    storage = Unescape(std::string(raw));
    return storage;
  }

  static void SetCurrentText(ZrBarnXml& xml, std::string&& text) {
    xml.impl_->cursor->value = std::move(text);
  }

  static void WriteShape(ZrBarnXml& xml, int32_t cols, int32_t colBegin, int32_t rows,
                         int32_t rowBegin) {
    xml.Value("ColSize", cols, 0);
    xml.Value("ColBegin", colBegin, 0);
    xml.Value("RowSize", rows, 0);
    xml.Value("RowBegin", rowBegin, 0);
  }

  struct Shape {
    int32_t Cols = 0, ColBegin = 0, Rows = 0, RowBegin = 0;
  };

  static Shape ReadShape(ZrBarnXml& xml) {
    Shape s;
    xml.Value("ColSize", s.Cols, 0);
    xml.Value("ColBegin", s.ColBegin, 0);
    xml.Value("RowSize", s.Rows, 0);
    xml.Value("RowBegin", s.RowBegin, 0);
    return s;
  }

  // A fresh matrix of the given shape; negative sizes give the matrix creation error.
  template <class M>
  static M Create(const Shape& s) {
    M m(s.Cols, s.Rows);
    m.SetBegin(s.ColBegin, s.RowBegin);
    return m;
  }

  template <class M>
  static void WriteText(ZrBarnXml& xml, const M& m) {
    xml.OpenRack("zr_matrix");
    WriteShape(xml, m.ColSize, m.ColBegin, m.RowSize, m.RowBegin);
    std::string text = "\n";
    text.reserve(static_cast<size_t>(m.Count()) * 14 + static_cast<size_t>(m.RowSize) + 1);
    {
      CLocaleScope c;
      char buffer[64];
      for (int64_t y = 0; y < m.RowSize; ++y) {
        for (int64_t x = 0; x < m.ColSize; ++x) {
          const long double v = static_cast<long double>(m.Data[x + y * m.ColSize]);
          const int len = std::snprintf(buffer, sizeof(buffer), MatrixNames<M>::textFormat, v);
          text.append(buffer, static_cast<size_t>(len));
          text += ',';
        }
        text += '\n';
      }
    }
    xml.OpenRack("elements");
    SetCurrentText(xml, std::move(text));
    xml.CloseRack();
    xml.CloseRack();
  }

  template <class M>
  static void WriteBinary(ZrBarnXml& xml, const M& m, bool standard) {
    using T = typename M::value_type;
    xml.OpenRack(MatrixNames<M>::binary[0]);
    WriteShape(xml, m.ColSize, m.ColBegin, m.RowSize, m.RowBegin);
    const uint64_t bytes = static_cast<uint64_t>(m.Count()) * sizeof(T);
    if (bytes > 0xffffffffULL) throw ZrError("Matrix is too large for the binary form");
    const void* data = m.Data;
    std::vector<unsigned char> clean;
    if constexpr (std::is_same_v<T, long double>) {
      // Only the 10 value bytes of an x87 long double are meaningful; the padding is zeroed
      // so that equal matrices give equal text.
      clean.assign(static_cast<const unsigned char*>(data),
                   static_cast<const unsigned char*>(data) + bytes);
      for (uint64_t k = 0; k < bytes; k += sizeof(T)) {
        std::memset(clean.data() + k + 10, 0, sizeof(T) - 10);
      }
      data = clean.data();
    }
    std::string text;
    Coder().Encode(data, static_cast<uint32_t>(bytes), text, true, standard);
    xml.OpenRack(standard ? "base64b" : "base64");
    SetCurrentText(xml, std::move(text));
    xml.CloseRack();
    xml.CloseRack();
  }

  template <class M>
  static void ReadText(ZrBarnXml& xml, M& m) {
    const Shape s = ReadShape(xml);
    if (s.Cols < 0 || s.Rows < 0) Create<M>(s);  // throws the creation error
    std::string storage;
    std::string_view text;
    const bool hasElements = xml.OpenRack("elements");
    if (hasElements) text = CurrentText(xml, storage);
    // Count first, so that a header claiming a huge size allocates nothing.
    int64_t values = 0;
    ForEachToken(text, [&](const std::string&) { ++values; });
    const int64_t count = static_cast<int64_t>(s.Cols) * s.Rows;
    if (values > count) throw ZrError("Too manay data");
    if (values < count) throw ZrError("Data is short");
    M result = Create<M>(s);
    int64_t k = 0;
    ForEachToken(text, [&](const std::string& token) {
      char* end = nullptr;
      long double v = strtold_l(token.c_str(), &end, CLocale());
      if (end == token.c_str()) v = 0;
      result.Data[k++] = FromLongDouble<typename M::value_type>(v);
    });
    if (hasElements) xml.CloseRack();
    m = std::move(result);
  }

  template <class M>
  static void ReadBinary(ZrBarnXml& xml, M& m) {
    using T = typename M::value_type;
    const Shape s = ReadShape(xml);
    if (s.Cols < 0 || s.Rows < 0) Create<M>(s);  // throws the creation error
    static const struct {
      const char* Name;
      bool UseBase64Alphabet;
      bool Standard;
    } kForms[] = {{"binary", false, false}, {"base64", true, false}, {"base64b", true, true}};
    std::string storage;
    std::string_view text;
    bool useBase64Alphabet = true;
    bool standard = false;
    bool found = false;
    for (const auto& form : kForms) {
      if (xml.OpenRack(form.Name)) {
        text = CurrentText(xml, storage);
        useBase64Alphabet = form.UseBase64Alphabet;
        standard = form.Standard;
        found = true;
        break;
      }
    }
    // The data length is checked against the shape before the matrix is allocated.
    const uint64_t needed =
        static_cast<uint64_t>(static_cast<int64_t>(s.Cols) * s.Rows) * sizeof(T);
    const uint64_t available = found ? Coder().DecodedSize(text, standard) : 0;
    if (available < needed) throw ZrError("Data is short");
    if (available > needed && needed > 0) throw ZrError("Too manay data");
    M result = Create<M>(s);
    if (needed > 0) {
      Coder().DecodeInto(text, reinterpret_cast<unsigned char*>(result.Data), needed,
                         useBase64Alphabet, standard);
    }
    if (found) xml.CloseRack();
    m = std::move(result);
  }

  template <class M>
  static bool Value(ZrBarnXml& xml, const std::string& name, M& m, const std::string& format) {
    if (xml.mode_) {
      CheckFormat(format);
      xml.OpenRack(name);
      if (format == "t") {
        WriteText(xml, m);
      } else {
        WriteBinary(xml, m, format == "bb");
      }
      xml.CloseRack();
      return true;
    }
    if (!xml.OpenRack(name)) return false;
    if (xml.OpenRack("zr_matrix") || xml.OpenRack("LDoubleMatrix")) {
      ReadText(xml, m);
      xml.CloseRack();
    } else {
      for (const char* binaryName : MatrixNames<M>::binary) {
        if (xml.OpenRack(binaryName)) {
          ReadBinary(xml, m);
          xml.CloseRack();
          break;
        }
      }
    }
    xml.CloseRack();
    return true;
  }

  static bool Complex(ZrBarnXml& xml, const std::string& name, ZrLComplexMatrix& m,
                      const std::string& format) {
    if (xml.mode_) {
      CheckFormat(format);
      ZrLDoubleMatrix re(m.ColSize, m.RowSize);
      ZrLDoubleMatrix im(m.ColSize, m.RowSize);
      re.SetBegin(m.ColBegin, m.RowBegin);
      im.SetBegin(m.ColBegin, m.RowBegin);
      for (int64_t k = 0; k < m.Count(); ++k) {
        re.Data[k] = m.Data[k].real();
        im.Data[k] = m.Data[k].imag();
      }
      xml.OpenRack(name);
      xml.OpenRack("complex_matrix");
      Value(xml, "real", re, format);
      Value(xml, "imag", im, format);
      xml.CloseRack();
      xml.CloseRack();
      return true;
    }
    if (!xml.OpenRack(name)) return false;
    if (xml.OpenRack("complex_matrix")) {
      ZrLDoubleMatrix re;
      ZrLDoubleMatrix im;
      Value(xml, "real", re, format);
      Value(xml, "imag", im, format);
      if (re.ColSize != im.ColSize || re.RowSize != im.RowSize) {
        throw ZrError("Matrix size is not same");
      }
      ZrLComplexMatrix result(re.ColSize, re.RowSize);
      result.SetBegin(re.ColBegin, re.RowBegin);
      for (int64_t k = 0; k < result.Count(); ++k) {
        result.Data[k] = std::complex<long double>(re.Data[k], im.Data[k]);
      }
      m = std::move(result);
      xml.CloseRack();
    }
    xml.CloseRack();
    return true;
  }

  // A failed read leaves the cursor where the call found it.
  template <class F>
  static bool KeepingCursor(ZrBarnXml& xml, F&& f) {
    ZrBarnXmlRack* const at = xml.impl_->cursor;
    try {
      return f();
    } catch (...) {
      xml.impl_->cursor = at;
      throw;
    }
  }
};

bool ZrBarnXml::Value(const std::string& name, ZrFloatMatrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Value(*this, name, value, format); });
}
bool ZrBarnXml::Value(const std::string& name, ZrDoubleMatrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Value(*this, name, value, format); });
}
bool ZrBarnXml::Value(const std::string& name, ZrLongMatrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Value(*this, name, value, format); });
}
bool ZrBarnXml::Value(const std::string& name, ZrInt32Matrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Value(*this, name, value, format); });
}
bool ZrBarnXml::Value(const std::string& name, ZrLDoubleMatrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Value(*this, name, value, format); });
}
bool ZrBarnXml::Value(const std::string& name, ZrLComplexMatrix& value, const std::string& format) {
  return MatrixAccess::KeepingCursor(
      *this, [&] { return MatrixAccess::Complex(*this, name, value, format); });
}
